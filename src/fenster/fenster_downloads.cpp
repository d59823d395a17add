// The main window's downloads and those of its child windows: where they go, what is said of them.
#include "fenster.h"
#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "zieldatei.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace quillmate::fenster {

namespace {

/// Characters of foreign texts in log lines and notices.
constexpr std::size_t hoechstensInZeile = 1000;

std::string fuerZeile(std::string_view text) {
    return einzeilig(text, hoechstensInZeile);
}

} // namespace

/// One download on its way: its claimed file, until it is complete.
struct Fenster::Herunterladung {
    ports::Webansicht const* web{nullptr}; ///< Whose it is. Child windows stay until the end.
    std::uint64_t nummer{0};
    std::optional<Zieldatei> ziel;
};

void Fenster::heruntergeladen(ports::Webansicht& web, std::shared_ptr<ports::Download> const& download) {
    if (istVerlassen(web))
        return; // without anybody to hear of it, it ends
    auto const herunterladung = std::make_shared<Herunterladung>();
    herunterladung->web = &web;
    herunterladung->nummer = ++downloadzahl_;
    std::weak_ptr const lebt{lebt_};
    std::weak_ptr const schwach{download};
    download->empfaenger(
        {.ziel = [this, lebt, herunterladung,
                  schwach](std::string const& vorschlag) -> std::optional<std::string> {
             if (lebt.expired())
                 return std::nullopt;
             auto ziel = zielWaehlen(*herunterladung, vorschlag);
             if (ziel)
                 zeileVon(*herunterladung->web)
                     .begonnen(herunterladung->nummer, herunterladung->ziel->name(), [schwach] {
                         if (auto const laufender = schwach.lock())
                             laufender->abbrechen();
                     });
             return ziel;
         },
         .fortschritt = [this, lebt, herunterladung](
                            std::uint64_t bytes, std::uint64_t gesamt) -> std::optional<std::string> {
             if (!lebt.expired())
                 zeileVon(*herunterladung->web).fortschritt(herunterladung->nummer, bytes, gesamt);
             return std::nullopt;
         },
         .fertig =
             [this, lebt, herunterladung] {
                 auto& ziel = herunterladung->ziel;
                 if (!ziel)
                     return;
                 if (!lebt.expired())
                     downloadMelden(
                         *herunterladung,
                         fmt::format("Gespeichert: „{}“ im Ordner „Downloads“.", ziel->name()), true);
                 protokoll("Download fertig: " + ziel->pfad());
             },
         .fehlgeschlagen =
             [this, lebt, herunterladung](std::string const& beschreibung) {
                 herunterladung->ziel.reset(); // gives the name back
                 protokoll("Download fehlgeschlagen: " + fuerZeile(beschreibung));
                 if (!lebt.expired())
                     downloadMelden(
                         *herunterladung, "Das Herunterladen hat nicht geklappt: " + fuerZeile(beschreibung),
                         false);
             }});
}

Downloadzeile& Fenster::zeileVon(ports::Webansicht const& web) {
    for (auto const& neben : nebenfenster_)
        if (neben->web.get() == &web)
            return *neben->downloads;
    return downloads_;
}

void Fenster::downloadMelden(Herunterladung const& herunterladung, std::string const& text, bool knopf) {
    meldeImFenster(text, knopf);
    // Who has clicked in a child window looks there; the notice of the main page may be behind it.
    zeileVon(*herunterladung.web)
        .beendet(
            herunterladung.nummer, herunterladung.web == web_.get() ? std::nullopt : std::optional{text});
}

std::optional<std::string> Fenster::zielWaehlen(
    Herunterladung& herunterladung, std::string const& vorschlag) {
    auto const name = sichererDateiname(vorschlag);
    auto const downloads = umgebung_.standardorte.pfade().downloads;
    // The temporary folder is for systems that name none: elsewhere a file would be told to be in "Downloads" and be gone
    // with the session.
    bool const genannt = !downloads.empty();
    if (!genannt)
        herunterladung.ziel = Zieldatei::belegen(umgebung_.temporaererOrdner, name);
    else if (ordnerAnlegen(downloads))
        herunterladung.ziel = Zieldatei::belegen(downloads, name);
    if (!herunterladung.ziel) {
        auto const nummer = errno;
        auto const grund =
            genannt
                ? fmt::format("Der Ordner „Downloads“ ist nicht beschreibbar ({}).", std::strerror(nummer))
                : fmt::format("Es gibt keinen Ordner dafür ({}).", std::strerror(nummer));
        protokoll("Download fehlgeschlagen: " + grund);
        meldeImFenster("Das Herunterladen hat nicht geklappt: " + grund, false);
        return std::nullopt;
    }
    letzterDownload_ = herunterladung.ziel->pfad();
    protokoll("Download nach " + herunterladung.ziel->name());
    return letzterDownload_;
}

} // namespace quillmate::fenster
