#pragma once

#include "zufall.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::dauer {

/// What is known of a file of the user.
struct Datei {
    std::string hash;
    std::string
        entscheidung; ///< A full scan's: hochladen, keinBeleg, keinBelegtext; nichtGefunden for no candidates.
    std::int64_t geaendert_ns{0};
    std::uint64_t groesse{0};
    std::string betrag; ///< Of a receipt: "1.234,56"; else empty.
    std::string haendler;
};

/// The user's files as they must be: whoever changes them says so here, and only the driver does.
class Bestand {
public:
    explicit Bestand(std::string heim)
        : heim_(std::move(heim)) {}

    /// Takes over the samples that lie in the home folder, from their list.
    void uebernehmen(std::string const& beispielliste);
    /// Makes `anzahl` files in `ordner` that are like samples but have bytes of their own: mostly text PDFs, of which
    /// `prozentBelege` are receipts, and `bilder` pictures.
    void dazu(std::string const& ordner, int anzahl, unsigned prozentBelege, int bilder, Zufall& zufall);
    /// A file that somebody else made there, with this known content. False when it has another.
    bool angekommen(std::string const& pfad, std::string const& hash);
    void entferne(std::string const& pfad);
    /// Other bytes of the same kind under the same name.
    void aendere(std::string const& pfad, Zufall& zufall);
    void benenneUm(std::string const& von, std::string const& nach);
    /// What lies below this folder is not there, and comes back as it was.
    void fort(std::string const& ordner) { fort_.insert(ordner); }
    void wiederDa(std::string const& ordner) { fort_.erase(ordner); }
    [[nodiscard]] bool istFort(std::string const& pfad) const;

    [[nodiscard]] std::map<std::string, Datei> const& dateien() const noexcept { return dateien_; }
    /// Every content that ever was a receipt here, or must never be one: by hash.
    [[nodiscard]] std::map<std::string, Datei> const& jemals() const noexcept { return jemals_; }
    [[nodiscard]] std::string const& heim() const noexcept { return heim_; }
    /// Folders below which all files are the user's.
    void achteAuf(std::string const& ordner) { ordner_.insert(ordner); }
    /// Everything in these folders that is not as it must be; each a sentence.
    [[nodiscard]] std::vector<std::string> abweichungen() const;
    /// Files there that are unknown.
    [[nodiscard]] std::vector<std::string> fremde() const;

private:
    void trageEin(std::string const& pfad, Datei datei);

    std::string heim_;
    std::set<std::string> ordner_;
    std::set<std::string> fort_;
    std::map<std::string, Datei> dateien_;
    std::map<std::string, Datei> jemals_;
    std::vector<std::string> vorlagenBeleg_; ///< Paths of text PDFs.
    std::vector<std::string> vorlagenBrief_;
    std::vector<std::string> vorlagenBild_;
    std::map<std::string, std::string> vorlagen_; ///< Their bytes.
    int zaehler_{0};
};

} // namespace quillmate::dauer
