#pragma once

#include "merkliste.h"
#include "ports/standardorte.h"

#include <string>
#include <string_view>
#include <vector>

namespace quillmate::Ordner {

/// State of access to one standard place, as page and service are told.
struct Zugriffslage {
    std::string ort;     ///< Full path.
    std::string name;    ///< Display name.
    std::string zustand; ///< "ok", "permission_denied", "permission_missing" or "nicht_vorhanden".
};

/// "iCloud Drive" for that drive's folder, otherwise the last path component.
[[nodiscard]] std::string ortName(std::string_view url);

/// The standard places that exist, in fixed order: Desktop, Documents, Downloads, iCloud Drive. One that cannot be
/// looked at now, or does not answer within two seconds, counts as one that exists.
[[nodiscard]] std::vector<std::string> belegOrte(ports::Standardorte& standardorte);

/// belegOrte(), then the remembered folders in their order. Duplicates stay.
[[nodiscard]] std::vector<std::string> alleOrte(
    ports::Standardorte& standardorte, std::vector<Gemerkt> const& gemerkte);

/// What listing each standard place gives, also those that do not exist.
[[nodiscard]] std::vector<Zugriffslage> zugriffsLage(ports::Standardorte& standardorte);

} // namespace quillmate::Ordner
