#include "demo/hilfsordner.h"
#include "demo/speicher.h"
#include "grundlage/pruefsumme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

namespace quillmate::demo {
namespace {

using test::Hilfsordner;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t kunde = 1;

Tag tag(int jahr, unsigned monat, unsigned t) {
    return Tag{std::chrono::year{jahr} / std::chrono::month{monat} / std::chrono::day{t}};
}

std::string hash(std::string_view bytes) {
    return hexadezimal(quillmate::sha256(bytes));
}

class SpeicherTest : public testing::Test {
protected:
    void SetUp() override { oeffne(); }

    void oeffne() {
        std::string grund;
        speicher.reset();
        speicher = Speicher::oeffnen(ordner.pfad("daten"), grund);
        ASSERT_NE(speicher, nullptr) << grund;
        ASSERT_TRUE(speicher->kundeAnlegen(kunde, {{0, tag(2026, 3, 14), -1250, "Händler", "Rechnung"}}));
    }

    Angenommen nimm(
        std::string_view bytes, std::string_view pfad = "/a.pdf", Herkunft herkunft = Herkunft::scan) {
        auto const angenommen = speicher->annehmen(
            {.kunde = kunde,
             .herkunft = herkunft,
             .name = "a.pdf",
             .quellpfad = pfad,
             .typ = "",
             .bytes = bytes});
        EXPECT_TRUE(angenommen.has_value());
        return angenommen.value_or(Angenommen{});
    }

    Hilfsordner ordner;
    std::unique_ptr<Speicher> speicher;
};

TEST_F(SpeicherTest, ReceiptComesBackByteForByteAlsoAfterReopening) {
    std::string const bytes{"a\0b\xFF", 4};
    auto const id = nimm(bytes).id;
    nimm("", "/leer.pdf");
    oeffne();
    auto const beleg = speicher->beleg(id);
    ASSERT_TRUE(beleg.has_value());
    EXPECT_EQ(beleg->hash, hash(bytes));
    EXPECT_EQ(beleg->groesse, 4);
    EXPECT_EQ(speicher->bytes(*beleg), bytes);
    ASSERT_THAT(speicher->belege(kunde), SizeIs(2));
    EXPECT_EQ(speicher->bytes(speicher->belege(kunde)[1]), "");
}

TEST_F(SpeicherTest, SameBytesAreOneReceiptWithManyPaths) {
    auto const erste = nimm("gleich", "/a.pdf");
    auto const zweite = nimm("gleich", "/b.pdf");
    EXPECT_EQ(erste.art, Angenommen::Art::neu);
    EXPECT_EQ(zweite.art, Angenommen::Art::doppelt);
    EXPECT_EQ(erste.id, zweite.id);
    EXPECT_THAT(speicher->belege(kunde), SizeIs(1));
    EXPECT_THAT(speicher->gesehenePfade(kunde), SizeIs(2));
}

TEST_F(SpeicherTest, PathKeepsTheHashOfItsLastUpload) {
    nimm("alt", "/a.pdf");
    nimm("neu", "/a.pdf");
    auto const gesehen = speicher->gesehenePfade(kunde);
    ASSERT_THAT(gesehen, SizeIs(1));
    EXPECT_EQ(gesehen.front().hash, hash("neu"));
}

TEST_F(SpeicherTest, BytesBehindTheLastReceiptAreCutOffWhenOpened) {
    auto const id = nimm("ganz").id;
    speicher.reset();
    std::ofstream{ordner.pfad("daten/belege.daten"), std::ios::app} << "abgerissen";
    oeffne();
    EXPECT_EQ(std::filesystem::file_size(ordner.pfad("daten/belege.daten")), 4U);
    nimm("danach", "/b.pdf");
    EXPECT_EQ(speicher->bytes(*speicher->beleg(id)), "ganz");
    EXPECT_EQ(speicher->bytes(speicher->belege(kunde)[1]), "danach");
}

TEST_F(SpeicherTest, SecondServiceOnTheSameFolderIsTurnedAway) {
    std::string grund;
    EXPECT_EQ(Speicher::oeffnen(ordner.pfad("daten"), grund), nullptr);
    EXPECT_THAT(grund, testing::HasSubstr("schon von einem anderen Dienst"));
}

TEST_F(SpeicherTest, LookingOnlySeesTheDataOfARunningServiceAndChangesNothing) {
    nimm("eins");
    std::string grund;
    auto const sicht = Speicher::nurLesen(ordner.pfad("daten"), grund);
    ASSERT_NE(sicht, nullptr) << grund;
    EXPECT_THAT(sicht->belege(kunde), SizeIs(1));
    EXPECT_EQ(sicht->bytes(sicht->belege(kunde)[0]), "eins");
    EXPECT_FALSE(sicht->annehmen({.kunde = kunde, .name = "", .quellpfad = "", .typ = "", .bytes = "zwei"})
                     .has_value());
    EXPECT_FALSE(sicht->vorgabeSetzen(kunde, "{}"));
    EXPECT_EQ(Speicher::nurLesen(ordner.pfad("nichts"), grund), nullptr);
}

TEST_F(SpeicherTest, ManyThreadsAtOnceLoseAndMixNothing) {
    constexpr int faeden = 8;
    constexpr int jeFaden = 40;
    std::vector<std::thread> laufende;
    for (int f = 0; f < faeden; ++f)
        laufende.emplace_back([this, f] {
            for (int i = 0; i < jeFaden; ++i)
                nimm(
                    std::string(static_cast<std::size_t>(1000 + f * 100 + i), static_cast<char>('a' + f)),
                    "/" + std::to_string(f * jeFaden + i));
        });
    for (auto& faden : laufende)
        faden.join();
    auto const belege = speicher->belege(kunde);
    ASSERT_THAT(belege, SizeIs(faeden * jeFaden));
    for (auto const& beleg : belege)
        EXPECT_EQ(hash(speicher->bytes(beleg).value_or("")), beleg.hash);
}

TEST_F(SpeicherTest, OfManyUploadsOfTheSameBytesExactlyOneIsNew) {
    std::atomic<int> neue{0};
    std::vector<std::thread> laufende;
    for (int f = 0; f < 8; ++f)
        laufende.emplace_back([&] { neue += nimm("gleich").art == Angenommen::Art::neu ? 1 : 0; });
    for (auto& faden : laufende)
        faden.join();
    EXPECT_EQ(neue, 1);
    EXPECT_THAT(speicher->belege(kunde), SizeIs(1));
}

TEST_F(SpeicherTest, BeyondTheQuotaOnlyKnownBytesAreTaken) {
    auto const nimmBegrenzt = [&](std::string_view bytes) {
        return speicher
            ->annehmen(
                {.kunde = kunde,
                 .name = "a",
                 .quellpfad = "/" + std::string{bytes},
                 .typ = "",
                 .bytes = bytes,
                 .kontingent = 1})
            .value()
            .art;
    };
    EXPECT_EQ(nimmBegrenzt("eins"), Angenommen::Art::neu);
    EXPECT_EQ(nimmBegrenzt("zwei"), Angenommen::Art::ueberKontingent);
    EXPECT_EQ(nimmBegrenzt("eins"), Angenommen::Art::doppelt);
    EXPECT_THAT(speicher->belege(kunde), SizeIs(1));
    EXPECT_THAT(speicher->gesehenePfade(kunde), SizeIs(1));
}

TEST_F(SpeicherTest, ReadingDecidesAndMatchesOnce) {
    auto const id = nimm("x").id;
    auto const gelesen = speicher->lesungEintragen(id, "Rechnung vom 12.03.2026 über 12,50 €");
    ASSERT_TRUE(gelesen.has_value());
    EXPECT_EQ(gelesen->zustand, Zustand::beleg);
    ASSERT_THAT(speicher->verknuepfungen(kunde), SizeIs(1));
    EXPECT_EQ(speicher->verknuepfungen(kunde)[0].art, Zuordnung::zugeordnet);

    // A second receipt of the same amount finds the booking taken; a second reading changes nothing.
    auto const zweite = nimm("y").id;
    EXPECT_EQ(
        speicher->lesungEintragen(zweite, "Rechnung vom 12.03.2026 über 12,50 €")->zustand, Zustand::beleg);
    EXPECT_THAT(speicher->verknuepfungen(kunde), SizeIs(1));
    EXPECT_EQ(speicher->lesungEintragen(id, std::nullopt)->zustand, Zustand::beleg);
    EXPECT_THAT(speicher->hashesOhneBeleg(kunde), IsEmpty());
}

TEST_F(SpeicherTest, FilesWithoutReceiptTextAreListedByHash) {
    (void)speicher->lesungEintragen(nimm("brief").id, "Liebe Familien, wir laden ein.");
    (void)speicher->lesungEintragen(nimm("foto").id, std::nullopt);
    nimm("ungelesen");
    EXPECT_THAT(speicher->hashesOhneBeleg(kunde), testing::UnorderedElementsAre(hash("brief"), hash("foto")));
}

TEST_F(SpeicherTest, ReceiptThatSomeonePutToABookingIsNotMatchedWithAnother) {
    auto const andere = speicher->buchungAnlegen(kunde, {0, tag(2026, 1, 1), -1, "", ""});
    ASSERT_TRUE(andere.has_value());
    auto const id = nimm("x").id;
    EXPECT_TRUE(speicher->verknuepfen({.beleg = id, .buchung = *andere, .art = Zuordnung::vorschlag}));
    (void)speicher->lesungEintragen(id, "Rechnung vom 12.03.2026 über 12,50 €");
    ASSERT_THAT(speicher->verknuepfungen(kunde), SizeIs(1));
    EXPECT_EQ(speicher->verknuepfungen(kunde)[0].buchung, *andere);
    EXPECT_TRUE(speicher->verknuepfen({.beleg = id, .buchung = *andere, .art = Zuordnung::zugeordnet}));
    EXPECT_EQ(speicher->verknuepfungen(kunde)[0].art, Zuordnung::zugeordnet);
}

TEST_F(SpeicherTest, UnreadReceiptsOfScansComeInOrderOthersOnlyFromEarlierRuns) {
    auto const portal = nimm("p", "/p", Herkunft::portal).id;
    auto const scan = nimm("s", "/s").id;
    EXPECT_EQ(speicher->naechsterUngelesener(0, 0)->id, scan);
    EXPECT_EQ(speicher->naechsterUngelesener(0, speicher->hoechsteBelegId())->id, portal);
    EXPECT_FALSE(speicher->naechsterUngelesener(scan, scan).has_value());
}

TEST_F(SpeicherTest, KnownClientKeepsItsDataWhenAnnouncedAgain) {
    ASSERT_TRUE(speicher->vorgabeSetzen(kunde, R"({"min_file_date":"2026-01-01"})"));
    ASSERT_TRUE(speicher->kundeAnlegen(kunde, {{0, tag(2026, 1, 1), -1, "", ""}}));
    EXPECT_THAT(speicher->buchungen(kunde), SizeIs(1));
    EXPECT_EQ(speicher->vorgabe(kunde), R"({"min_file_date":"2026-01-01"})");
    EXPECT_THAT(speicher->kunden(), ElementsAre(kunde));
}

TEST_F(SpeicherTest, UnknownClientsHaveNothing) {
    EXPECT_EQ(speicher->vorgabe(99), std::nullopt);
    EXPECT_FALSE(speicher->fortschritt(99).has_value());
    EXPECT_FALSE(speicher->fortschrittAendern(99, [](Fortschritt&) {}));
    EXPECT_FALSE(speicher->berichtSetzen(99, "{}"));
    EXPECT_FALSE(speicher->buchungAnlegen(99, {0, tag(2026, 1, 1), -1, "", ""}).has_value());
    EXPECT_FALSE(speicher->buchung(99, 1).has_value());
    EXPECT_FALSE(
        speicher->annehmen({.kunde = 99, .name = "", .quellpfad = "", .typ = "", .bytes = "x"}).has_value());
    // A refused one in a round must not take others with it for ever.
    EXPECT_EQ(nimm("danach").art, Angenommen::Art::neu);
}

} // namespace
} // namespace quillmate::demo
