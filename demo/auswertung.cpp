#include "auswertung.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "texterkennung/heuristik.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace quillmate::demo {

using Texterkennung::Dateiart;
using Texterkennung::Lesung;

namespace {

/// The bytes as an open regular file that has no name: the readers take nothing else.
Deskriptor alsDatei(std::string_view bytes) {
    Deskriptor datei{::memfd_create("beleg", MFD_CLOEXEC)};
    while (datei && !bytes.empty()) {
        auto const n = ::write(datei.get(), bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return {};
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    if (datei && ::lseek(datei.get(), 0, SEEK_SET) != 0)
        return {};
    return datei;
}

} // namespace

std::optional<Dateiart> dateiart(std::string_view bytes, std::string_view name) {
    constexpr std::size_t pdfSuchraum = 1024; // Some writers put other lines before the mark.
    if (bytes.substr(0, pdfSuchraum).find("%PDF-") != std::string_view::npos)
        return Dateiart::pdf;
    if (bytes.starts_with("\xFF\xD8\xFF") || bytes.starts_with("\x89PNG\r\n"))
        return Dateiart::bild;
    constexpr std::array heifMarken{"heic", "heix", "hevc", "mif1", "msf1"};
    if (bytes.size() >= 12 && bytes.substr(4, 4) == "ftyp" &&
        std::ranges::count(heifMarken, bytes.substr(8, 4)) > 0)
        return Dateiart::bild;
    auto const endung = dateiendung(letzteKomponente(name));
    if (endung == "pdf")
        return Dateiart::pdf;
    if (Texterkennung::bildEndungen.contains(endung))
        return Dateiart::bild;
    return std::nullopt;
}

Auswertung::Auswertung(Speicher& speicher, Texterkennung::Leser* leser)
    : speicher_(speicher)
    , leser_(leser) {
    if (leser_ == nullptr)
        return;
    altbestand_ = speicher_.hoechsteBelegId();
    faden_ = std::thread{[this] {
        leseReihum();
    }};
}

Auswertung::~Auswertung() {
    (void)anhalten();
    if (faden_.joinable())
        faden_.join();
}

void Auswertung::anstossen() {
    {
        std::scoped_lock const sperre{sperre_};
        neues_ = true;
    }
    bereit_.notify_one();
}

bool Auswertung::anhalten() {
    std::scoped_lock const sperre{sperre_};
    anhalten_ = true;
    bereit_.notify_one();
    return ruht_;
}

std::optional<Beleg> Auswertung::sofort(std::int64_t id) {
    auto const beleg = speicher_.beleg(id);
    if (!beleg || beleg->zustand != Zustand::ungelesen || leser_ == nullptr)
        return beleg;
    (void)lies(*beleg);
    return speicher_.beleg(id);
}

bool Auswertung::lies(Beleg const& beleg) {
    auto const bytes = speicher_.bytes(beleg);
    if (!bytes)
        return false;
    std::optional<std::string> text;
    if (auto const art = dateiart(*bytes, beleg.name)) {
        auto const datei = alsDatei(*bytes);
        if (!datei)
            return false;
        auto lesung = leser_->lesen(datei.get(), *art);
        if (lesung.art != Lesung::Art::gelesen) // says nothing about the file; asked again later
            return false;
        if (lesung.text)
            text = ersteZeichen(*lesung.text, Texterkennung::hoechstensZeichen);
    }
    return speicher_.lesungEintragen(beleg.id, text).has_value();
}

void Auswertung::leseReihum() {
    // On Linux nice is a property of the thread; 19 is the lowest rank there is.
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 19);
    std::int64_t zuletzt = 0; // Each receipt is tried once per run, also when it could not be read.
    for (;;) {
        {
            std::unique_lock sperre{sperre_};
            ruht_ = true;
            bereit_.wait(sperre, [this] { return neues_ || anhalten_; });
            if (anhalten_)
                return;
            neues_ = false;
            ruht_ = false;
        }
        while (auto const beleg = speicher_.naechsterUngelesener(zuletzt, altbestand_)) {
            zuletzt = beleg->id;
            if (!lies(*beleg))
                protokoll("Demodienst: ein Beleg konnte nicht gelesen werden");
            std::scoped_lock const sperre{sperre_};
            if (anhalten_) {
                ruht_ = true;
                return;
            }
        }
    }
}

} // namespace quillmate::demo
