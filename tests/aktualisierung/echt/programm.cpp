// Stands for the program in a bundle: everything that an update touches is real (helper, exchange, start and
// confirmation, downloads), only the window is not: it presses "Installieren und neu starten".
//
// Writes a line into the file named by PROBE_LOG at each start. A file "kaputt" among the bundle's resources makes it
// end with a failure before it has confirmed its start.
#include "adapter/linux/buendel.h"
#include "adapter/linux/einbau_linux.h"
#include "adapter/linux/einbaumarke.h"
#include "adapter/linux/verzeichnisse.h"
#include "adapter/linux/voreinstellungen_plist.h"
#include "aktualisierung/aktualisierung.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace {

using namespace quillmate;

void schreibe(std::string const& zeile) {
    auto const* const pfad = std::getenv("PROBE_LOG");
    int const datei = ::open(pfad ? pfad : "/dev/null", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    auto const text = zeile + '\n';
    if (::write(datei, text.data(), text.size()) < 0)
        std::abort();
    ::close(datei);
}

class Schleife final : public ports::Hauptschleife {
public:
    void spaeter(Arbeit arbeit) override {
        {
            std::lock_guard const schutz{sperre_};
            arbeiten_.push_back(std::move(arbeit));
        }
        neues_.notify_one();
    }
    void nach(std::chrono::milliseconds, Arbeit) override {} // nothing by itself
    void beenden() override {
        spaeter([this] { ende_ = true; });
    }
    void laufen() {
        while (!ende_) {
            Arbeit arbeit;
            {
                std::unique_lock schutz{sperre_};
                neues_.wait(schutz, [this] { return !arbeiten_.empty(); });
                arbeit = std::move(arbeiten_.front());
                arbeiten_.pop_front();
            }
            arbeit();
        }
    }

private:
    std::mutex sperre_;
    std::condition_variable neues_;
    std::deque<Arbeit> arbeiten_;
    bool ende_{false};
};

class Anzeige final : public ports::Aktualisierungsanzeige {
public:
    explicit Anzeige(ports::Hauptschleife& schleife)
        : schleife_(schleife) {}
    void beschaeftigt(std::string const&, std::function<void()>) override {}
    void anbieten(Neues const&, std::function<void(Wahl)> antwort) override {
        schleife_.spaeter([antwort] { antwort(Wahl::installieren); });
    }
    void fortschritt(std::string const&, std::uint64_t, std::uint64_t, std::function<void()>) override {}
    void mitteilen(std::string const& meldung, std::string const&) override {
        schreibe(meldung);
        // After a restart it tells what became of the update, before anybody asks.
        if (meldung != "Quillmate wurde aktualisiert")
            schleife_.beenden();
    }
    void nachVorn() override {}
    void schliessen() override {}

private:
    ports::Hauptschleife& schleife_;
};

/// The program's own lock, held as long as it runs.
Deskriptor programmsperre() {
    Deskriptor datei{
        ::open((adapter::linux::heimordner() + "/sperre").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    return ::flock(datei.get(), LOCK_EX | LOCK_NB) == 0 ? std::move(datei) : Deskriptor{};
}

adapter::linux::Einbauhilfen hilfen() {
    return {
        .marken = adapter::linux::markenordner(adapter::linux::eigeneKennung()),
        .zurueckgenommen =
            [](std::string const& nummer) {
                adapter::linux::VoreinstellungenPlist{
                    adapter::linux::VoreinstellungenPlist::dateiFuer(adapter::linux::hauptkennung)}
                    .setzeText(aktualisierung::schluesselGescheitert, nummer);
            },
        .einzelinstanz = &programmsperre};
}

int laufen() {
    auto const sperre = programmsperre();
    if (!sperre)
        return 0;
    adapter::linux::BuendelkundeLinux kunde;
    auto const eigenes = kunde.lesen(kunde.laufend());
    if (!eigenes)
        return 2;
    bool const kaputt = std::filesystem::exists(eigenes->pfad + "/Contents/Resources/kaputt");
    // As the program does: the language is ours, and nobody else's.
    auto const* const sprache = std::getenv("LANGUAGE");
    adapter::linux::Umgebungswerte const urspruenglich{
        {"LANGUAGE", sprache ? std::optional<std::string>{sprache} : std::nullopt}};
    ::setenv("LANGUAGE", "de", 1);
    auto probe = adapter::linux::selbstprobe(eigenes->pfad, hilfen(), urspruenglich);
    schreibe(
        "start " + eigenes->buildnummer.value_or("?") + (kaputt ? " kaputt" : "") +
        (sprache ? " LANGUAGE=" + std::string{sprache} : ""));
    if (kaputt)
        return 1;
    adapter::linux::EinbauLinux einbau{hilfen().marken, urspruenglich, std::move(probe)};
    adapter::linux::VoreinstellungenPlist voreinstellungen{
        adapter::linux::VoreinstellungenPlist::dateiFuer(adapter::linux::eigeneKennung())};
    Schleife schleife;
    Anzeige anzeige{schleife};
    aktualisierung::NetzLader lader{aktualisierung::NetzLader::Schema::auchHttp};
    aktualisierung::Aktualisierung aktualisierung{
        {.buendelkunde = kunde,
         .einbau = einbau,
         .voreinstellungen = voreinstellungen,
         .schleife = schleife,
         .anzeige = anzeige,
         .lader = lader,
         .jetzt = [] { return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()); },
         .architektur = "x86_64",
         .auchHttp = true}};
    aktualisierung.gestartet();
    aktualisierung.nachUpdatesSuchen();
    schleife.laufen();
    schreibe("ende " + eigenes->buildnummer.value_or("?"));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    auto const ausgang = adapter::linux::alsEinbauhelfer(
        std::span<char const* const>{argv, static_cast<std::size_t>(argc)}, hilfen());
    return ausgang ? *ausgang : laufen();
}
