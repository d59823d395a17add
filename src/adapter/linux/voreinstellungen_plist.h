#pragma once

#include "ports/voreinstellungen.h"

#include <functional>
#include <mutex>
#include <string>

namespace quillmate::adapter::linux {

/// The user defaults as one property list, written whole and atomically (temporary file, fsync, rename).
/// Every call reads the file anew, so several processes of one user can share it; writers take turns by a
/// lock file beside it. A file that is no property list is set aside as "….beschaedigt" (or with a number behind it)
/// by the next write, one of a newer version as "….neuer"; neither is deleted, and the log says where it is.
/// Threads: any.
class VoreinstellungenPlist final : public ports::Voreinstellungen {
public:
    /// `datei`: full path; its folder need not exist yet.
    explicit VoreinstellungenPlist(std::string datei);

    /// The user's own file for a program of this bundle identifier.
    [[nodiscard]] static std::string dateiFuer(std::string const& buendelkennung);

    [[nodiscard]] bool lesbar() override;
    [[nodiscard]] std::optional<std::vector<ports::Bytes>> datenliste(std::string const& schluessel) override;
    [[nodiscard]] std::optional<ports::Bytes> daten(std::string const& schluessel) override;
    [[nodiscard]] std::optional<bool> wahrheitswert(std::string const& schluessel) override;
    [[nodiscard]] std::optional<std::string> text(std::string const& schluessel) override;
    [[nodiscard]] std::optional<std::vector<std::string>> textliste(std::string const& schluessel) override;
    void setzeDatenliste(std::string const& schluessel, std::vector<ports::Bytes> const& werte) override;
    void setzeDaten(std::string const& schluessel, ports::Bytes const& wert) override;
    void setzeWahrheitswert(std::string const& schluessel, bool wert) override;
    void setzeText(std::string const& schluessel, std::string const& wert) override;
    void setzeTextliste(std::string const& schluessel, std::vector<std::string> const& werte) override;
    void entferne(std::string const& schluessel) override;

private:
    /// Reads, lets `aenderung` change the tree (a plist_t of a dictionary) and writes, all under both locks.
    void aendere(std::function<void(void*)> const& aenderung);

    std::string const datei_;
    std::mutex sperre_; ///< flock() does not tell threads of one process apart when they share a descriptor.
};

} // namespace quillmate::adapter::linux
