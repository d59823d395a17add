#pragma once

#include "bytes.h"

#include <optional>
#include <string>
#include <vector>

namespace quillmate::ports {

/// Port: the user defaults, a small typed store that survives restarts. A value of another type than asked for counts
/// as missing. Writing keeps all other keys, whatever they hold.
/// Errors: in a store that cannot be read everything is missing, and lesbar() tells so; one that cannot be read or
/// written is not changed, which is logged.
/// Threads: any. Each call is atomic, also against other processes.
class Voreinstellungen {
public:
    virtual ~Voreinstellungen() = default;
    /// False while the store exists but cannot be read (no descriptor left, no permission). Nothing may be
    /// concluded from missing values then.
    [[nodiscard]] virtual bool lesbar() = 0;
    /// An array in which every element is binary data.
    [[nodiscard]] virtual std::optional<std::vector<Bytes>> datenliste(std::string const& schluessel) = 0;
    [[nodiscard]] virtual std::optional<Bytes> daten(std::string const& schluessel) = 0;
    [[nodiscard]] virtual std::optional<bool> wahrheitswert(std::string const& schluessel) = 0;
    /// UTF-8.
    [[nodiscard]] virtual std::optional<std::string> text(std::string const& schluessel) = 0;
    /// An array in which every element is a text.
    [[nodiscard]] virtual std::optional<std::vector<std::string>> textliste(
        std::string const& schluessel) = 0;
    virtual void setzeDatenliste(std::string const& schluessel, std::vector<Bytes> const& werte) = 0;
    virtual void setzeDaten(std::string const& schluessel, Bytes const& wert) = 0;
    virtual void setzeWahrheitswert(std::string const& schluessel, bool wert) = 0;
    virtual void setzeText(std::string const& schluessel, std::string const& wert) = 0;
    virtual void setzeTextliste(std::string const& schluessel, std::vector<std::string> const& werte) = 0;
    virtual void entferne(std::string const& schluessel) = 0;
};

} // namespace quillmate::ports
