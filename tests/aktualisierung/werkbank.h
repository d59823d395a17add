#pragma once

#include "aktualisierung/bezug.h"
#include "veroeffentlichen/werkzeug.h"
#include "werkzeug/probebuendel.h"

#include <archive.h>
#include <archive_entry.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quillmate::werkzeug {

/// An archive entry as a test wants it, however hostile.
struct Eintrag {
    std::string name;
    std::string inhalt;
    unsigned art{AE_IFREG};
    unsigned rechte{0644};
    std::string verweis; ///< Target of a link.
    bool hart{false};    ///< A hard link instead of a symbolic one.
};

enum class Packart { pax, gnu, zip };

inline std::string archivAus(std::vector<Eintrag> const& eintraege, Packart art = Packart::gnu) {
    std::size_t hoechstens = std::size_t{16} << 20U;
    for (auto const& e : eintraege)
        hoechstens += e.inhalt.size();
    std::string puffer(hoechstens, '\0');
    std::size_t laenge = 0;
    std::unique_ptr<archive, decltype(&archive_write_free)> const schreiber{
        archive_write_new(), &archive_write_free};
    switch (art) {
    case Packart::pax:
        archive_write_set_format_pax(schreiber.get());
        break;
    case Packart::gnu:
        archive_write_set_format_gnutar(schreiber.get());
        break;
    case Packart::zip:
        archive_write_set_format_zip(schreiber.get());
        break;
    }
    if (art != Packart::zip)
        archive_write_add_filter_zstd(schreiber.get());
    archive_write_set_bytes_in_last_block(schreiber.get(), 1);
    archive_write_open_memory(schreiber.get(), puffer.data(), puffer.size(), &laenge);
    for (auto const& e : eintraege) {
        std::unique_ptr<archive_entry, decltype(&archive_entry_free)> const eintrag{
            archive_entry_new(), &archive_entry_free};
        archive_entry_set_pathname(eintrag.get(), e.name.c_str());
        archive_entry_set_filetype(eintrag.get(), e.art);
        archive_entry_set_perm(eintrag.get(), e.rechte);
        archive_entry_set_size(
            eintrag.get(), e.art == AE_IFREG ? static_cast<la_int64_t>(e.inhalt.size()) : 0);
        if (e.hart)
            archive_entry_set_hardlink(eintrag.get(), e.verweis.c_str());
        else if (!e.verweis.empty())
            archive_entry_set_symlink(eintrag.get(), e.verweis.c_str());
        archive_write_header(schreiber.get(), eintrag.get());
        if (e.art == AE_IFREG && !e.hart)
            archive_write_data(schreiber.get(), e.inhalt.data(), e.inhalt.size());
    }
    archive_write_close(schreiber.get());
    puffer.resize(laenge);
    return puffer;
}

/// The archive of a bundle that could have been released.
inline std::vector<Eintrag> buendeleintraege(
    std::string const& nummer, std::string const& kennung = "de.tandemwerk.quillmate",
    std::string const& programm = "#!/bin/sh\nexit 0\n") {
    return {
        {.name = "Quillmate.app/", .art = AE_IFDIR, .rechte = 0755},
        {.name = "Quillmate.app/Contents/Info.plist", .inhalt = infoPlist(nummer, kennung)},
        {.name = "Quillmate.app/Contents/Linux/quillmate", .inhalt = programm, .rechte = 0755},
        {.name = "Quillmate.app/Contents/Resources/Größe.txt", .inhalt = "Fassung " + nummer},
        {.name = "Quillmate.app/Contents/Resources/verweis", .art = AE_IFLNK, .verweis = "Größe.txt"}};
}

/// The net as a table.
class TabellenLader final : public aktualisierung::Lader {
public:
    using Antwort = std::variant<std::string, Fehler>;

    Ergebnis<void> laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) override {
        abgerufen.push_back(auftrag.url);
        ++abrufe;
        if (vorher)
            vorher();
        if (abbruch)
            return fehler(Fehlerart::gestoppt, {}, "Abgebrochen");
        auto const fund = antworten.find(auftrag.url);
        if (fund == antworten.end())
            return fehler(Fehlerart::keineVerbindung, auftrag.url, "Nicht zu erreichen");
        if (auto const* const fehlschlag = std::get_if<Fehler>(&fund->second))
            return std::unexpected(*fehlschlag);
        auto const& bytes = std::get<std::string>(fund->second);
        if (bytes.size() > auftrag.hoechstens)
            return fehler(Fehlerart::zuGross, auftrag.url, "Zu groß");
        auto const haelfte = bytes.size() / 2;
        for (auto const stueck :
             {std::string_view{bytes}.substr(0, haelfte), std::string_view{bytes}.substr(haelfte)})
            if (auto abgelegt = auftrag.ablage(stueck.data(), stueck.size()); !abgelegt)
                return abgelegt;
        if (auftrag.fortschritt)
            auftrag.fortschritt(bytes.size());
        return {};
    }

    std::map<std::string, Antwort> antworten;
    std::vector<std::string> abgerufen; ///< To be looked at once the worker has answered.
    std::atomic<std::size_t> abrufe{0}; ///< At any time.
    std::function<void()> vorher;       ///< Called on the worker, before the answer.
};

/// Whoever releases: two keys, one appcast, one archive.
class Herausgeber {
public:
    static constexpr auto feed = "https://updates.beispiel.de/appcast.xml";
    static constexpr auto archivadresse = "https://updates.beispiel.de/Quillmate-60.tar.zst";

    veroeffentlichen::Geheimnis eins{*veroeffentlichen::Geheimnis::neu()};
    veroeffentlichen::Geheimnis zwei{*veroeffentlichen::Geheimnis::neu()};
    veroeffentlichen::Geheimnis fremd{*veroeffentlichen::Geheimnis::neu()};

    std::string archiv{archivAus(buendeleintraege("60"))};
    veroeffentlichen::Liste liste{
        .kennung = "de.tandemwerk.quillmate",
        .ausgabe = 17,
        .gueltigBis = std::chrono::sys_days{std::chrono::year{2026} / 12 / 31},
        .eintraege = {
            {.fassung = "60",
             .kurzfassung = "0.6.0",
             .architektur = "x86_64",
             .adresse = archivadresse,
             .laenge = archiv.size(),
             .signaturen = eins.signieren(archiv),
             .notizen = "Neu: <schneller> & besser\n„Größe“"}}};

    [[nodiscard]] std::string appcast() const {
        return veroeffentlichen::mitSignatur(veroeffentlichen::alsXml(liste), {eins});
    }
    /// A new archive, properly signed.
    void setzeArchiv(std::string bytes) {
        archiv = std::move(bytes);
        liste.eintraege[0].laenge = archiv.size();
        liste.eintraege[0].signaturen = eins.signieren(archiv);
    }
};

} // namespace quillmate::werkzeug
