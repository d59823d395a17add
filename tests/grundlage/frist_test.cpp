#include "grundlage/frist.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

using namespace quillmate;
using namespace std::chrono_literals;

namespace {

/// A look that hangs until it is let go.
struct Klemme {
    std::mutex sperre;
    std::condition_variable geaendert;
    bool offen{false};
    void warten() {
        std::unique_lock schutz{sperre};
        geaendert.wait(schutz, [this] { return offen; });
    }
    void loesen() {
        std::lock_guard const schutz{sperre};
        offen = true;
        geaendert.notify_all();
    }
};

} // namespace

TEST(Frist, ALookInTimeGivesItsResult) {
    EXPECT_EQ(mitFrist("/a", 10s, [] { return 7; }), 7);
    EXPECT_FALSE(haengt("/a"));
}

TEST(Frist, ALookThatHangsIsLeftBehindAndNoSecondOneIsStarted) {
    auto const klemme = std::make_shared<Klemme>();
    std::atomic<int> blicke{0};
    auto const blick = [klemme, &blicke] {
        ++blicke;
        klemme->warten();
        return 1;
    };
    EXPECT_FALSE(mitFrist("/haengt", 20ms, blick));
    EXPECT_TRUE(haengt("/haengt"));
    EXPECT_FALSE(haengt("/anderes"));
    EXPECT_FALSE(mitFrist("/haengt", 10s, blick));
    EXPECT_EQ(blicke, 1);
    EXPECT_EQ(mitFrist("/anderes", 10s, [] { return 2; }), 2);
    klemme->loesen();
    EXPECT_TRUE(werkzeug::wartenBis([] { return !haengt("/haengt"); }));
    EXPECT_EQ(mitFrist("/haengt", 10s, blick), 1);
}
