#pragma once

#include "grundlage/belegdatei.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

namespace quillmate::Texterkennung {

/// Key of one version of a file: SHA-256 over "path|size|mtime|lesart2" as 64 lower-case hexadecimal digits.
/// Path: standardised. Size: bytes, -1 if unknown. Mtime: seconds since 1970 in the shortest decimal form that
/// gives the same double, with at least one decimal; -1.0 if unknown.
[[nodiscard]] std::string zwischenspeicherSchluessel(std::string_view pfad);
/// The same for an open file, in the state that it was opened in.
[[nodiscard]] std::string zwischenspeicherSchluessel(Belegdatei const& datei);

/// What, besides this program's own steps, decides how a file is read: the reader's executable, the recognition engine's
/// library and its language data, each by size and time. For Zwischenspeicher's `methode`. Without `leserprogramm`:
/// "quillmate-leser" beside the running program.
[[nodiscard]] std::string lesemethode(std::string leserprogramm = {});

/// The texts of files that were read before, one file per key: "KEY.txt", UTF-8; empty for "no text".
/// Beneath them, in the folder "inhalt", the same texts by the digest of the file's bytes, so that what was moved,
/// renamed or copied is not read again. Both levels are bounded: beyond `hoechstens` entries or bytes those that were
/// used longest ago are removed, in the background, once in the life of an object and after every tenth of the bound.
/// Folders have mode 0700, entries 0600.
/// Errors: none; every failure costs a new reading.
/// Threads and processes: any number at once. Entries are written atomically, the last writer wins. Removing them at
/// any moment harms nothing.
class Zwischenspeicher {
public:
    /// Bounds of one level. A text takes a block of the disk, so 50,000 are some 200 MB; twice the receipts of a long
    /// life.
    struct Grenzen {
        std::size_t hoechstensEintraege{50'000};
        std::uint64_t hoechstensBytes{std::uint64_t{256} * 1024 * 1024};
    };

    /// `ordner` need not exist; it is created by the first entry. `methode` names everything outside of this program
    /// that changes a reading (engine, language data); texts of another method are not found by content.
    explicit Zwischenspeicher(std::string ordner, std::string methode = {});
    Zwischenspeicher(std::string ordner, std::string methode, Grenzen grenzen);
    ~Zwischenspeicher();
    Zwischenspeicher(Zwischenspeicher const&) = delete;
    Zwischenspeicher& operator=(Zwischenspeicher const&) = delete;

    struct Eintrag {
        std::optional<std::string> text; ///< Nothing: the file was read and has no text.
    };

    /// Nothing when there is no entry. Broken UTF-8 is repaired.
    [[nodiscard]] std::optional<Eintrag> ausZwischenspeicher(std::string_view schluessel) const;
    void inZwischenspeicher(std::string_view schluessel, std::optional<std::string> const& text) const;

    /// Key of a content: its digest, what kind of file it is read as, and the reading method.
    [[nodiscard]] std::string inhaltsschluessel(std::string_view pruefsumme, std::string_view art) const;
    /// As the two above, by content. An entry that is damaged counts as none.
    [[nodiscard]] std::optional<Eintrag> nachInhalt(std::string_view schluessel) const;
    void inhaltMerken(std::string_view schluessel, std::optional<std::string> const& text) const;

    /// Removes what is beyond the bounds, down to nine tenths of them, and what broken-off writes left behind. Called in
    /// the background; ends early when `ende` is requested.
    void aufraeumen(std::stop_token const& ende = {}) const;

    [[nodiscard]] std::string const& zwischenspeicherOrdner() const noexcept { return ordner_; }

private:
    [[nodiscard]] std::string eintrag(std::string_view schluessel) const;
    [[nodiscard]] std::string inhaltseintrag(std::string_view schluessel) const;
    void geschrieben() const;

    std::string ordner_;
    std::string methode_;
    Grenzen grenzen_;
    mutable std::mutex sperre_;             ///< Guards what follows.
    mutable std::size_t seitAufraeumen_{0}; ///< Entries written.
    mutable bool schonAufgeraeumt_{false};
    mutable std::jthread aufraeumer_; ///< Last member: it uses all others.
};

} // namespace quillmate::Texterkennung
