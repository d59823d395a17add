#include "voreinstellungen_plist.h"

#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"
#include "grundlage/protokoll.h"
#include "plist.h"
#include "schreibreste.h"
#include "verzeichnisse.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

namespace quillmate::adapter::linux {

namespace {

// Some folders, some addresses: a file beyond this is not ours.
constexpr std::uint64_t hoechstgroesse = std::uint64_t{16} * 1024 * 1024;

std::string ordnerVon(std::string const& datei) {
    return datei.substr(0, datei.rfind('/'));
}

/// A later version that keeps its values in another way says so under this key, with a number above ours.
constexpr char const* formschluessel = "quillmate.voreinstellungen.form";
constexpr std::int32_t form = 1;

bool istNeuer(Plist const& plist) {
    plist_t const knoten = plist ? plist_dict_get_item(plist.get(), formschluessel) : nullptr;
    return knoten && plistZahl(plist.get(), formschluessel).value_or(form + 1) > form;
}

/// The file's tree; an empty dictionary where there is none.
Plist gelesen(std::string const& datei) {
    if (auto const inhalt = leseDatei(datei, hoechstgroesse))
        if (auto plist = plistLesen(*inhalt); plist && !istNeuer(plist))
            return plist;
    return Plist{plist_new_dict()};
}

/// Whether the reason for which a file was not read says that there is none that could hold our values.
bool istKeineDatei(int grund) {
    return grund == ENOENT || grund == ENOTDIR || grund == EFBIG;
}

/// Moves the file to the first free name of its kind, which it returns; nothing when that fails.
std::optional<std::string> beiseitelegen(std::string const& datei, std::string const& endung) {
    for (int nummer = 1; nummer < 1000; ++nummer) {
        auto ziel = datei + endung + (nummer > 1 ? "-" + std::to_string(nummer) : "");
        if (umbenennenOhneErsetzen(datei, ziel))
            return ziel;
        if (errno != EEXIST)
            return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

VoreinstellungenPlist::VoreinstellungenPlist(std::string datei)
    : datei_(std::move(datei)) {}

std::string VoreinstellungenPlist::dateiFuer(std::string const& buendelkennung) {
    return konfigurationsordner() + '/' + buendelkennung + "/voreinstellungen.plist";
}

bool VoreinstellungenPlist::lesbar() {
    return leseDatei(datei_, hoechstgroesse) || istKeineDatei(errno);
}

std::optional<std::vector<ports::Bytes>> VoreinstellungenPlist::datenliste(std::string const& schluessel) {
    auto const plist = gelesen(datei_);
    plist_t const liste = plist_dict_get_item(plist.get(), schluessel.c_str());
    if (!liste || plist_get_node_type(liste) != PLIST_ARRAY)
        return std::nullopt;
    std::vector<ports::Bytes> werte;
    auto const anzahl = plist_array_get_size(liste);
    for (std::uint32_t i = 0; i < anzahl; ++i) {
        auto daten = plistDaten(plist_array_get_item(liste, i));
        if (!daten)
            return std::nullopt;
        werte.push_back(*std::move(daten));
    }
    return werte;
}

std::optional<ports::Bytes> VoreinstellungenPlist::daten(std::string const& schluessel) {
    auto const plist = gelesen(datei_);
    return plistDaten(plist_dict_get_item(plist.get(), schluessel.c_str()));
}

std::optional<bool> VoreinstellungenPlist::wahrheitswert(std::string const& schluessel) {
    auto const plist = gelesen(datei_);
    return plistWahrheitswert(plist.get(), schluessel.c_str());
}

std::optional<std::string> VoreinstellungenPlist::text(std::string const& schluessel) {
    auto const plist = gelesen(datei_);
    return plistText(plist.get(), schluessel.c_str());
}

std::optional<std::vector<std::string>> VoreinstellungenPlist::textliste(std::string const& schluessel) {
    auto const plist = gelesen(datei_);
    plist_t const liste = plist_dict_get_item(plist.get(), schluessel.c_str());
    if (!liste || plist_get_node_type(liste) != PLIST_ARRAY)
        return std::nullopt;
    std::vector<std::string> werte;
    auto const anzahl = plist_array_get_size(liste);
    for (std::uint32_t i = 0; i < anzahl; ++i) {
        auto text = plistText(plist_array_get_item(liste, i));
        if (!text)
            return std::nullopt;
        werte.push_back(*std::move(text));
    }
    return werte;
}

void VoreinstellungenPlist::setzeDatenliste(
    std::string const& schluessel, std::vector<ports::Bytes> const& werte) {
    aendere([&](plist_t wurzel) {
        plist_t const liste = plist_new_array();
        for (auto const& wert : werte)
            plist_array_append_item(liste, plist_new_data(wert.data(), wert.size()));
        plist_dict_set_item(wurzel, schluessel.c_str(), liste); // the tree owns it from here on
    });
}

void VoreinstellungenPlist::setzeDaten(std::string const& schluessel, ports::Bytes const& wert) {
    aendere([&](plist_t wurzel) {
        plist_dict_set_item(wurzel, schluessel.c_str(), plist_new_data(wert.data(), wert.size()));
    });
}

void VoreinstellungenPlist::setzeWahrheitswert(std::string const& schluessel, bool wert) {
    aendere([&](plist_t wurzel) {
        plist_dict_set_item(wurzel, schluessel.c_str(), plist_new_bool(wert ? 1 : 0));
    });
}

void VoreinstellungenPlist::setzeText(std::string const& schluessel, std::string const& wert) {
    aendere([&](plist_t wurzel) {
        plist_dict_set_item(wurzel, schluessel.c_str(), plist_new_string(wert.c_str()));
    });
}

void VoreinstellungenPlist::setzeTextliste(
    std::string const& schluessel, std::vector<std::string> const& werte) {
    aendere([&](plist_t wurzel) {
        plist_t const liste = plist_new_array();
        for (auto const& wert : werte)
            plist_array_append_item(liste, plist_new_string(wert.c_str()));
        plist_dict_set_item(wurzel, schluessel.c_str(), liste);
    });
}

void VoreinstellungenPlist::entferne(std::string const& schluessel) {
    // Most removals are of keys that are long gone, at every start; they need not cost a write.
    auto const inhalt = leseDatei(datei_, hoechstgroesse);
    if (!inhalt && errno == ENOENT)
        return;
    auto const plist = inhalt ? plistLesen(*inhalt) : nullptr;
    if (plist && !plist_dict_get_item(plist.get(), schluessel.c_str()))
        return;
    aendere([&](plist_t wurzel) { plist_dict_remove_item(wurzel, schluessel.c_str()); });
}

void VoreinstellungenPlist::aendere(std::function<void(void*)> const& aenderung) {
    std::lock_guard const schutz{sperre_};
    auto const nichtGeschrieben = [&] {
        protokoll(errnoFehler(datei_, "Voreinstellungen konnten nicht geschrieben werden").error().text());
    };
    if (!ordnerAnlegen(ordnerVon(datei_)))
        return nichtGeschrieben();
    // Other processes read, change and write the same file. Without the lock file (a full disk) the change is
    // still worth more than the turn.
    auto const sperrdatei = oeffnen(datei_ + ".sperre", O_RDWR | O_CREAT | O_NOFOLLOW);
    bool allein = false;
    while (sperrdatei && !(allein = ::flock(sperrdatei.get(), LOCK_EX) == 0) && errno == EINTR) {
    }
    if (allein)
        schreibresteEntfernen(datei_); // of processes that were killed while they wrote
    auto const inhalt = leseDatei(datei_, hoechstgroesse);
    auto const grund = inhalt ? 0 : errno;
    if (!inhalt && !istKeineDatei(grund)) {
        // Without knowing what is in it, writing would throw all other keys away.
        protokoll("Voreinstellungen konnten nicht gelesen werden und bleiben, wie sie sind: " + datei_);
        return;
    }
    auto plist = inhalt ? plistLesen(*inhalt) : nullptr;
    bool const neuer = istNeuer(plist);
    if ((inhalt && !plist && !inhalt->empty()) || grund == EFBIG || neuer) {
        auto const wohin = beiseitelegen(datei_, neuer ? ".neuer" : ".beschaedigt");
        if (!wohin)
            return nichtGeschrieben();
        protokoll(
            std::string{"Voreinstellungen sind "} + (neuer ? "von einer neueren Fassung" : "beschädigt") +
            " und liegen jetzt beiseite: " + *wohin);
        plist = nullptr;
    }
    if (!plist)
        plist.reset(plist_new_dict());
    aenderung(plist.get());
    auto const neu = plistSchreiben(plist.get());
    if (!neu || !schreibeAtomar(datei_, *neu, Dauerhaft::ja))
        nichtGeschrieben();
}

} // namespace quillmate::adapter::linux
