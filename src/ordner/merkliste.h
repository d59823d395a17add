#pragma once

#include "ports/lesezeichen.h"
#include "ports/ordnertafel.h"
#include "ports/voreinstellungen.h"

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::Ordner {

/// One remembered folder, with open access where that succeeded.
struct Gemerkt {
    std::string url;          ///< Path of the folder as its bookmark resolves now.
    std::string kennung;      ///< 16 lower-case hexadecimal digits, see kennung().
    bool zugriffOffen{false}; ///< Then Merkliste::beenden() must be called for it.

    [[nodiscard]] std::string name() const; ///< Last path component.
};

/// Identifier of a folder: the first 8 bytes of SHA-256 over its standardised path, hexadecimal. Two
/// spellings of one path give one identifier.
[[nodiscard]] std::string kennung(std::string_view url);

/// Shows the folder panel and returns the chosen folder. Main thread only.
[[nodiscard]] std::optional<std::string> auswaehlen(
    ports::Ordnertafel& tafel, std::string const& titel = "Ordner mit Belegen auswählen");

/// The folders that the user chose, kept as bookmarks in the user defaults.
/// Errors: none reach the caller; a folder that cannot be bookmarked is not remembered, one that is gone
/// drops out of the list the next time it is written. Threads: any.
/// Ownership: borrows both ports, which must
/// outlive this object.
class Merkliste {
public:
    Merkliste(ports::Voreinstellungen& voreinstellungen, ports::Lesezeichen& lesezeichen) noexcept
        : voreinstellungen_(voreinstellungen)
        , lesezeichen_(lesezeichen) {}

    /// Puts the folder at the end of the list; one that is already there moves and gets a fresh bookmark.
    void merken(std::string const& url);
    /// All remembered folders with access opened. The caller calls beenden() for each when done with it.
    [[nodiscard]] std::vector<Gemerkt> gemerkte();
    void beenden(Gemerkt const& gemerkt);
    void vergessen(std::string_view kennung);
    void vergessen(); ///< All of them.

private:
    /// Nothing while the user defaults cannot be read; then nothing may be written either.
    [[nodiscard]] std::optional<std::vector<ports::Bytes>> gespeicherteLesezeichen();
    /// The stored bookmarks without those that lead nowhere or to the folder of this identifier.
    [[nodiscard]] std::optional<std::vector<ports::Bytes>> ohne(std::string_view kennung);

    ports::Voreinstellungen& voreinstellungen_;
    ports::Lesezeichen& lesezeichen_;
    std::mutex sperre_; ///< One reader-modifier of the stored list at a time.
};

/// All remembered folders with access opened, for the length of a scope.
/// Ownership: borrows the list.
class OffeneOrdner {
public:
    explicit OffeneOrdner(Merkliste& merkliste)
        : merkliste_(merkliste)
        , alle_(merkliste.gemerkte()) {}
    ~OffeneOrdner() {
        for (auto const& gemerkt : alle_)
            merkliste_.beenden(gemerkt);
    }
    OffeneOrdner(OffeneOrdner const&) = delete;
    OffeneOrdner& operator=(OffeneOrdner const&) = delete;

    [[nodiscard]] std::vector<Gemerkt> const& alle() const noexcept { return alle_; }

private:
    Merkliste& merkliste_;
    std::vector<Gemerkt> const alle_;
};

} // namespace quillmate::Ordner
