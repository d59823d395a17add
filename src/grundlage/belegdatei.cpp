#include "belegdatei.h"

#include <openssl/evp.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace quillmate {

namespace {

/// Bytes between two questions whether to go on: some milliseconds of a disk, and little enough for a slow share.
constexpr std::size_t stueck = std::size_t{256} * 1024;

std::int64_t nanosekunden(timespec const& zeit) noexcept {
    return static_cast<std::int64_t>(
        static_cast<std::uint64_t>(zeit.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(zeit.tv_nsec));
}

/// Reads from the beginning to the end without moving the offset, which readers in other processes share.
/// `nimm(stelle, bytes)` takes each portion.
template<typename Nimm>
Ergebnis<void> durchlesen(
    int deskriptor, std::string const& pfad, std::uint64_t hoechstens, Abbruchfrage const& abbrechen,
    Nimm&& nimm) {
    std::vector<char> puffer(stueck);
    std::uint64_t gelesen = 0;
    for (;;) {
        if (abbrechen && abbrechen())
            return fehler(Fehlerart::gestoppt, pfad, "Lesen angehalten");
        auto const n = ::pread(deskriptor, puffer.data(), puffer.size(), static_cast<off_t>(gelesen));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errnoFehler(pfad, "Datei nicht lesbar");
        if (n == 0)
            return {};
        gelesen += static_cast<std::uint64_t>(n);
        if (gelesen > hoechstens)
            return fehler(Fehlerart::zuGross, pfad, "Datei zu groß");
        nimm(std::string_view{puffer.data(), static_cast<std::size_t>(n)});
    }
}

} // namespace

Dateistand Dateistand::aus(struct stat const& lage) noexcept {
    return {
        .geraet = lage.st_dev,
        .inode = lage.st_ino,
        .groesse = lage.st_size,
        .geaendert = nanosekunden(lage.st_mtim),
        .zustand = nanosekunden(lage.st_ctim)};
}

Belegdatei::Belegdatei(std::string pfad, Deskriptor deskriptor, Dateistand const& stand) noexcept
    : pfad_(std::move(pfad))
    , deskriptor_(std::move(deskriptor))
    , stand_(stand) {}

Ergebnis<Belegdatei> Belegdatei::oeffnen(std::string pfad) {
    errno = 0;
    auto deskriptor = oeffneDatei(pfad);
    if (!deskriptor) {
        if (errno == EINVAL || errno == ENXIO)
            return fehler(Fehlerart::falscheForm, pfad, "Keine gewöhnliche Datei");
        return errnoFehler(pfad, "Datei nicht zu öffnen");
    }
    struct stat lage {};
    if (::fstat(deskriptor.get(), &lage) != 0)
        return errnoFehler(pfad, "Datei nicht zu öffnen");
    return Belegdatei{std::move(pfad), std::move(deskriptor), Dateistand::aus(lage)};
}

int Belegdatei::deskriptor() const noexcept {
    if (deskriptor_)
        (void)::lseek(deskriptor_.get(), 0, SEEK_SET); // A reader before may have moved it.
    return deskriptor_.get();
}

Ergebnis<bool> Belegdatei::unveraendert() const {
    if (abbild_)
        return true;
    struct stat lage {};
    if (::fstat(deskriptor_.get(), &lage) != 0)
        return errnoFehler(pfad_, "Datei nicht mehr lesbar");
    // A file that was replaced or deleted has no name left; where it has others, its inode's time tells.
    return lage.st_nlink > 0 && Dateistand::aus(lage) == stand_;
}

Ergebnis<void> Belegdatei::standErneuern() {
    struct stat lage {};
    if (::fstat(deskriptor_.get(), &lage) != 0)
        return errnoFehler(pfad_, "Datei nicht mehr lesbar");
    stand_ = Dateistand::aus(lage);
    pruefsumme_.reset();
    return {};
}

Ergebnis<bool> Belegdatei::abbilden(std::uint64_t hoechstens, Abbruchfrage const& abbrechen) {
    Deskriptor abbild{::memfd_create("beleg", MFD_CLOEXEC)};
    if (!abbild)
        return errnoFehler(pfad_, "Kein Speicher für die Datei");
    int fehlschlag = 0;
    auto const gelesen =
        durchlesen(deskriptor_.get(), pfad_, hoechstens, abbrechen, [&](std::string_view bytes) {
            while (!bytes.empty() && fehlschlag == 0) {
                auto const n = ::write(abbild.get(), bytes.data(), bytes.size());
                if (n > 0)
                    bytes.remove_prefix(static_cast<std::size_t>(n));
                else if (errno != EINTR)
                    fehlschlag = errno;
            }
        });
    if (!gelesen)
        return std::unexpected{gelesen.error()};
    if (fehlschlag != 0)
        return fehler(Fehlerart::keineMittel, pfad_, "Kein Speicher für die Datei");
    auto const gleich = unveraendert();
    if (gleich == true) {
        deskriptor_ = std::move(abbild);
        abbild_ = true;
    }
    return gleich;
}

Ergebnis<std::string> Belegdatei::pruefsumme(std::uint64_t hoechstens, Abbruchfrage const& abbrechen) {
    if (pruefsumme_)
        return *pruefsumme_;
    if (stand_.groesse > 0 && static_cast<std::uint64_t>(stand_.groesse) > hoechstens)
        return fehler(Fehlerart::zuGross, pfad_, "Datei zu groß");
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> const rechner{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    if (!rechner || EVP_DigestInit_ex(rechner.get(), EVP_sha256(), nullptr) != 1)
        return fehler(Fehlerart::keineMittel, pfad_, "Prüfsumme nicht zu berechnen");
    bool gut = true;
    auto const gelesen =
        durchlesen(deskriptor_.get(), pfad_, hoechstens, abbrechen, [&](std::string_view bytes) {
            gut = EVP_DigestUpdate(rechner.get(), bytes.data(), bytes.size()) == 1 && gut;
        });
    if (!gelesen)
        return std::unexpected{gelesen.error()};
    Sha256 summe{};
    unsigned int laenge = 0;
    if (!gut || EVP_DigestFinal_ex(rechner.get(), summe.data(), &laenge) != 1)
        return fehler(Fehlerart::keineMittel, pfad_, "Prüfsumme nicht zu berechnen");
    pruefsumme_ = hexadezimal(summe);
    return *pruefsumme_;
}

void Belegdatei::pruefsummeBekannt(Dateistand const& stand, std::string pruefsumme) {
    if (stand == stand_)
        pruefsumme_ = std::move(pruefsumme);
}

Ergebnis<std::string> Belegdatei::inhalt(
    std::uint64_t hoechstens, std::string_view vorspann, std::string_view nachspann,
    Abbruchfrage const& abbrechen) const {
    auto const erwartet = static_cast<std::uint64_t>(std::max<std::int64_t>(stand_.groesse, 0));
    if (erwartet > hoechstens)
        return fehler(Fehlerart::zuGross, pfad_, "Datei zu groß");
    try {
        std::string alles;
        alles.reserve(vorspann.size() + static_cast<std::size_t>(erwartet) + nachspann.size());
        alles = vorspann;
        auto const gelesen = durchlesen(
            deskriptor_.get(), pfad_, hoechstens, abbrechen, [&](std::string_view bytes) { alles += bytes; });
        if (!gelesen)
            return std::unexpected{gelesen.error()};
        alles += nachspann;
        return alles;
    } catch (std::bad_alloc const&) {
        return fehler(Fehlerart::keineMittel, pfad_, "Kein Speicher für die Datei");
    }
}

Ergebnis<void> Belegdatei::wiederOeffnen() {
    if (deskriptor_)
        return {};
    auto neu = oeffnen(pfad_);
    if (!neu)
        return std::unexpected{neu.error()};
    if (neu->stand_ != stand_)
        return fehler(Fehlerart::gestoert, pfad_, "Datei inzwischen eine andere");
    deskriptor_ = std::move(neu->deskriptor_);
    return {};
}

} // namespace quillmate
