// Trees that could keep a walk for ever, or lead it round.
#include "grundlage/belegdatei.h"
#include "hilfen.h"
#include "ordner/dateisuche.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

using namespace quillmate;
namespace fs = std::filesystem;

namespace {

std::vector<Ordner::Fund> suche(std::string const& ordner) {
    return Ordner::durchsuchen(ordner, {.hoechstens = 25'000});
}

} // namespace

TEST(Rundwege, AFolderMountedIntoItselfIsWalkedOnceMoreAndNoFurther) {
    werkzeug::OrdnerAufZeit const heim;
    heim.datei("a/x.pdf", "1");
    auto const innen = heim.ordner("a/b");
    // A mount of this test's own, which nobody else sees and which ends with it.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount(heim.pfad("a").c_str(), innen.c_str(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "no right to mount";
    auto const funde = suche(heim.pfad("a"));
    EXPECT_EQ(::umount2(innen.c_str(), MNT_DETACH), 0);
    ASSERT_EQ(funde.size(), 2U);
    EXPECT_EQ(funde[0].inode, funde[1].inode);
}

TEST(Rundwege, LinksToFoldersLeadNowhere) {
    werkzeug::OrdnerAufZeit const heim;
    heim.datei("a/x.pdf", "1");
    fs::create_directory_symlink("..", heim.pfad("a/hinauf"));
    fs::create_directory_symlink(".", heim.pfad("a/selbst"));
    EXPECT_EQ(suche(heim.pfad()).size(), 1U);
}

TEST(Rundwege, NamesOf255BytesOn4000LevelsAreSearchedToTheEnd) {
    constexpr std::size_t ebenen = 4000;
    werkzeug::OrdnerAufZeit const heim;
    auto const datei = std::string(251, 'd') + ".pdf";
    test::TieferBaum const baum{heim.pfad(), std::string(255, 'n'), ebenen, [&](int hier, std::size_t ebene) {
                                    if (ebene == ebenen)
                                        test::leereDatei(hier, datei.c_str());
                                }};
    auto const funde = suche(heim.pfad());
    ASSERT_EQ(funde.size(), 1U);
    EXPECT_GT(funde[0].pfad.size(), ebenen * 256);
    EXPECT_TRUE(Belegdatei::oeffnen(funde[0].pfad).has_value());
}

TEST(Rundwege, AFolderThatGrowsWhileItIsWalkedDoesNotKeepTheWalk) {
    werkzeug::OrdnerAufZeit const heim;
    std::atomic<bool> genug{false};
    std::atomic<int> angelegt{0};
    std::jthread const schreiber{[&] {
        for (int i = 0; !genug; ++i, ++angelegt)
            std::ofstream{heim.pfad("x" + std::to_string(i) + ".pdf")} << 'x';
    }};
    while (angelegt < 1000)
        std::this_thread::yield();
    auto const beginn = std::chrono::steady_clock::now();
    auto const funde = suche(heim.pfad());
    bool const nochAmWachsen = !genug;
    genug = true;
    EXPECT_TRUE(nochAmWachsen);
    EXPECT_GE(funde.size(), 1000U);
    EXPECT_LT(std::chrono::steady_clock::now() - beginn, std::chrono::seconds{20});
}
