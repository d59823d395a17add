#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::Texterkennung {

/// Files over which every reader dies, by no fault of their bytes as far as can be told: in how many scans that was so.
/// Apart from the text cache, because it is no finding. At most hoechstensEintraege; the oldest go first.
/// Errors: none; what cannot be read or written is forgotten, and costs readers.
/// Threads: any number at once. Of several processes the last writer wins.
class Fehlversuche {
public:
    static constexpr unsigned genug = 5; ///< Scans, after which a file is left alone until its bytes change.
    static constexpr std::size_t hoechstensEintraege = 1000;

    /// `datei` need not exist.
    explicit Fehlversuche(std::string datei);

    [[nodiscard]] bool aufgegeben(std::string_view schluessel);
    void zaehle(std::string_view schluessel);
    void vergiss(std::string_view schluessel);

private:
    void laden();
    void sichern() const;
    [[nodiscard]] std::vector<std::pair<std::string, unsigned>>::iterator finde(std::string_view schluessel);

    std::string const datei_;
    std::mutex sperre_;
    // Guarded by sperre_.
    bool geladen_{false};
    std::vector<std::pair<std::string, unsigned>> eintraege_; ///< The oldest first.
};

} // namespace quillmate::Texterkennung
