#include "ergebnis.h"

#include <fmt/format.h>

#include <cstring>

namespace quillmate {

namespace {

/// "(EIO: Input/output error)", or nothing.
std::string ursachentext(Ursache const& ursache) {
    switch (ursache.herkunft) {
    case Ursache::Herkunft::keine:
        return {};
    case Ursache::Herkunft::errnoWert: {
        char const* const name = strerrorname_np(ursache.nummer);
        char const* const beschreibung = strerrordesc_np(ursache.nummer);
        if (name == nullptr || beschreibung == nullptr)
            return fmt::format(" (errno {})", ursache.nummer);
        return fmt::format(" ({}: {})", name, beschreibung);
    }
    case Ursache::Herkunft::curl:
        return fmt::format(" (curl {})", ursache.nummer);
    case Ursache::Herkunft::http:
        return fmt::format(" (HTTP {})", ursache.nummer);
    case Ursache::Herkunft::gerror:
        return fmt::format(" (GError {})", ursache.nummer);
    case Ursache::Herkunft::prozessende:
        if (ursache.nummer < 0)
            return fmt::format(" (Signal {})", -ursache.nummer);
        return fmt::format(" (Status {})", ursache.nummer);
    }
    return {};
}

} // namespace

bool Fehler::sagtEtwasUeberDieSache() const noexcept {
    switch (art) {
    case Fehlerart::keineMittel:
    case Fehlerart::keineVerbindung:
    case Fehlerart::zeitAbgelaufen:
    case Fehlerart::gestoppt:
    case Fehlerart::gestoert:
        return false;
    case Fehlerart::nichtGefunden:
    case Fehlerart::nichtErlaubt:
    case Fehlerart::falscheForm:
    case Fehlerart::zuGross:
    case Fehlerart::keinPlatz:
    case Fehlerart::abgelehnt:
    case Fehlerart::helferGestorben:
        return true;
    }
    return false;
}

std::string Fehler::text() const {
    std::string const ursache_ = ursachentext(ursache);
    return wo.empty() ? satz + ursache_ : fmt::format("{}: {}{}", satz, wo, ursache_);
}

std::unexpected<Fehler> fehler(Fehlerart art, std::string_view wo, std::string_view satz) {
    return std::unexpected(Fehler{art, {}, std::string(wo), std::string(satz)});
}

std::unexpected<Fehler> errnoFehler(std::string_view wo, std::string_view satz, int nummer) {
    return std::unexpected(Fehler{
        artVonErrno(nummer), {Ursache::Herkunft::errnoWert, nummer}, std::string(wo), std::string(satz)});
}

std::unexpected<Fehler> httpFehler(int status, std::string_view wo, std::string_view satz) {
    // RFC 9110, 15.5.9 and 15.6; RFC 8470, 5.2; RFC 6585, 4: what another attempt may find mended.
    Fehlerart art = Fehlerart::abgelehnt;
    if (status == 408 || status == 504)
        art = Fehlerart::zeitAbgelaufen;
    else if (status == 425 || status == 429 || (status >= 500 && status <= 599))
        art = Fehlerart::gestoert;
    else if (status == 404 || status == 410)
        art = Fehlerart::nichtGefunden;
    else if (status == 413)
        art = Fehlerart::zuGross;
    return std::unexpected(
        Fehler{art, {Ursache::Herkunft::http, status}, std::string(wo), std::string(satz)});
}

Fehlerart artVonErrno(int nummer) noexcept {
    switch (nummer) {
    case ENOENT:
    case ENOTDIR:
    case ENXIO:
    case ENODEV:
        return Fehlerart::nichtGefunden;
    case EACCES:
    case EPERM:
    case EROFS:
        return Fehlerart::nichtErlaubt;
    case ENAMETOOLONG:
    case EINVAL:
    case EILSEQ:
    case ELOOP:
    case EISDIR:
    case ENOEXEC:
        return Fehlerart::falscheForm;
    case EFBIG:
    case EOVERFLOW:
    case E2BIG:
        return Fehlerart::zuGross;
    case ENOSPC:
    case EDQUOT:
        return Fehlerart::keinPlatz;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
    case EAGAIN:
        return Fehlerart::keineMittel;
    case ECONNREFUSED:
    case ECONNRESET:
    case ECONNABORTED:
    case ENETUNREACH:
    case ENETDOWN:
    case EHOSTUNREACH:
    case EHOSTDOWN:
    case ENOTCONN:
    case EPIPE:
        return Fehlerart::keineVerbindung;
    case ETIMEDOUT:
        return Fehlerart::zeitAbgelaufen;
    case ECANCELED:
        return Fehlerart::gestoppt;
    default: // EIO, ESTALE, EINTR and whatever else says nothing about the file itself.
        return Fehlerart::gestoert;
    }
}

} // namespace quillmate
