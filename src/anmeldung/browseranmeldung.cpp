#include "browseranmeldung.h"

#include "grundlage/adresse.h"
#include "grundlage/protokoll.h"

#include <fmt/format.h>

#include <utility>

namespace quillmate::anmeldung {

class Browseranmeldung::Sitzung final : public ports::Anmeldesitzung,
                                        public std::enable_shared_from_this<Sitzung> {
public:
    Sitzung(
        Browseranmeldung& werk, ports::Anmeldeauftrag auftrag,
        std::function<void(ports::Anmeldeausgang const&)> fertig)
        : werk_(werk)
        , werkLebt_(werk.lebt_)
        , auftrag_(std::move(auftrag))
        , fertig_(std::move(fertig)) {}

    bool starten() override {
        if (werkLebt_.expired() || !fertig_)
            return false;
        // A page names this address: nothing but a web page may be opened for it.
        if (auto const adresse = Adresse::lesen(auftrag_.adresse); !adresse || !adresse->istWeb())
            return false;
        if (!werk_.umgebung_.rueckwegEinrichten())
            return false;
        blatt_ = werk_.umgebung_.warteblaetter.zeigen(
            {.meldung = auftrag_.meldung,
             .erklaerung = auftrag_.erklaerung,
             .kopieren = "Adresse kopieren",
             .kopiertext = auftrag_.adresse,
             .abbrechen = "Abbrechen"},
            [selbst = weak_from_this()] {
                if (auto const hier = selbst.lock())
                    hier->beenden(
                        {.rueckweg = {},
                         .fehler = ports::Anmeldeausgang::Fehler{
                             .nummer = ports::Anmeldeausgang::Fehler::abgebrochen,
                             .beschreibung = "Vom Nutzer abgebrochen"}});
            });
        if (!blatt_)
            return false; // without the sheet nobody could end it
        werk_.laufend_ = weak_from_this();
        werk_.umgebung_.standardprogramm.oeffnen(auftrag_.adresse, [selbst = weak_from_this()] {
            if (auto const hier = selbst.lock(); hier && hier->blatt_)
                hier->blatt_->stocken("Auf diesem Rechner ist kein Browser eingerichtet, oder er ließ sich "
                                      "nicht starten. Kopiere "
                                      "die Adresse und öffne sie selbst in einem Browser.");
        });
        return true;
    }

    void beenden(ports::Anmeldeausgang const& ausgang) {
        auto const fertig = std::exchange(fertig_, nullptr);
        if (!fertig)
            return;
        blatt_.reset();
        fertig(ausgang);
    }

    [[nodiscard]] bool laeuft() const { return blatt_ && fertig_; }
    [[nodiscard]] std::string const& schema() const { return auftrag_.rueckwegschema; }

private:
    Browseranmeldung& werk_;
    std::weak_ptr<bool> werkLebt_;
    ports::Anmeldeauftrag const auftrag_;
    std::function<void(ports::Anmeldeausgang const&)> fertig_; ///< Empty once it was called.
    std::unique_ptr<ports::Warteblatt> blatt_;
};

Browseranmeldung::Browseranmeldung(Umgebung umgebung)
    : umgebung_(std::move(umgebung)) {}

Browseranmeldung::~Browseranmeldung() = default;

std::shared_ptr<ports::Anmeldesitzung> Browseranmeldung::sitzung(
    ports::Anmeldeauftrag auftrag, std::function<void(ports::Anmeldeausgang const&)> fertig) {
    return std::make_shared<Sitzung>(*this, std::move(auftrag), std::move(fertig));
}

bool Browseranmeldung::rueckweg(std::string const& adresse) {
    auto const verworfen = [](std::string const& warum) {
        protokoll("Rückweg verworfen: " + warum);
        return false;
    };
    auto const sitzung = laufend_.lock();
    if (!sitzung || !sitzung->laeuft())
        return verworfen("es läuft keine Anmeldung");
    if (adresse.size() > hoechsterRueckweg)
        return verworfen(fmt::format("{} Byte sind zu lang", adresse.size()));
    // Services and browsers leave characters in callbacks that no address may hold ("|", "{").
    auto const gelesen = Adresse::vomMotor(adresse);
    if (!gelesen)
        return verworfen("keine Adresse");
    if (gelesen->schema() != sitzung->schema())
        return verworfen("ein anderes Schema");
    laufend_.reset();
    sitzung->beenden({.rueckweg = adresse, .fehler = {}});
    return true;
}

} // namespace quillmate::anmeldung
