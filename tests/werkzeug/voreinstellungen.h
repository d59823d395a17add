#pragma once

#include "ports/lesezeichen.h"
#include "ports/ordnertafel.h"
#include "ports/standardorte.h"
#include "ports/voreinstellungen.h"

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace quillmate::werkzeug {

/// User defaults in memory that count how often they are written.
class SpeicherVoreinstellungen final : public ports::Voreinstellungen {
public:
    struct Text {
        std::string text;
    };
    struct Textliste {
        std::vector<std::string> texte;
    };
    using Wert = std::variant<ports::Bytes, std::vector<ports::Bytes>, bool, Text, Textliste>;

    bool lesbar() override { return !unlesbar; }
    std::optional<std::vector<ports::Bytes>> datenliste(std::string const& schluessel) override {
        if (unlesbar)
            return std::nullopt;
        auto const wert = werte.find(schluessel);
        if (wert == werte.end() || !std::holds_alternative<std::vector<ports::Bytes>>(wert->second))
            return std::nullopt;
        return std::get<std::vector<ports::Bytes>>(wert->second);
    }
    std::optional<ports::Bytes> daten(std::string const& schluessel) override {
        auto const wert = werte.find(schluessel);
        if (wert == werte.end() || !std::holds_alternative<ports::Bytes>(wert->second))
            return std::nullopt;
        return std::get<ports::Bytes>(wert->second);
    }
    std::optional<bool> wahrheitswert(std::string const& schluessel) override {
        auto const wert = werte.find(schluessel);
        if (wert == werte.end() || !std::holds_alternative<bool>(wert->second))
            return std::nullopt;
        return std::get<bool>(wert->second);
    }
    std::optional<std::string> text(std::string const& schluessel) override {
        auto const wert = werte.find(schluessel);
        if (wert == werte.end() || !std::holds_alternative<Text>(wert->second))
            return std::nullopt;
        return std::get<Text>(wert->second).text;
    }
    std::optional<std::vector<std::string>> textliste(std::string const& schluessel) override {
        auto const wert = werte.find(schluessel);
        if (unlesbar || wert == werte.end() || !std::holds_alternative<Textliste>(wert->second))
            return std::nullopt;
        return std::get<Textliste>(wert->second).texte;
    }
    void setzeDatenliste(std::string const& schluessel, std::vector<ports::Bytes> const& liste) override {
        werte[schluessel] = liste;
        ++geschrieben;
    }
    void setzeDaten(std::string const& schluessel, ports::Bytes const& wert) override {
        werte[schluessel] = wert;
        ++geschrieben;
    }
    void setzeWahrheitswert(std::string const& schluessel, bool wert) override {
        werte[schluessel] = wert;
        ++geschrieben;
    }
    void setzeText(std::string const& schluessel, std::string const& wert) override {
        werte[schluessel] = Text{wert};
        ++geschrieben;
    }
    void setzeTextliste(std::string const& schluessel, std::vector<std::string> const& texte) override {
        werte[schluessel] = Textliste{texte};
        ++geschrieben;
    }
    void entferne(std::string const& schluessel) override {
        werte.erase(schluessel);
        ++geschrieben;
    }

    std::map<std::string, Wert> werte;
    int geschrieben{0};
    bool unlesbar{false};
};

/// Bookmarks whose bytes are "NUMBER:PATH"; a test says which folders exist, where they moved, and what
/// fails.
class SpeicherLesezeichen final : public ports::Lesezeichen {
public:
    std::optional<ports::Bytes> anlegen(std::string const& pfad) override {
        if (anlegenScheitert || !ordner.contains(pfad))
            return std::nullopt;
        return std::to_string(++zaehler) + ':' + pfad;
    }
    std::optional<Aufgeloest> aufloesen(ports::Bytes const& lesezeichen) override {
        auto pfad = lesezeichen.substr(lesezeichen.find(':') + 1);
        bool veraltet = false;
        if (auto const neu = umgezogen.find(pfad); neu != umgezogen.end()) {
            pfad = neu->second;
            veraltet = true;
        }
        if (abwesend.contains(pfad))
            return Aufgeloest{.pfad = pfad, .abwesend = true};
        if (!ordner.contains(pfad))
            return std::nullopt;
        return Aufgeloest{.pfad = pfad, .veraltet = veraltet};
    }
    bool zugriffBeginnen(std::string const& pfad) override {
        if (verschlossen.contains(pfad))
            return false;
        offen.insert(pfad);
        return true;
    }
    void zugriffBeenden(std::string const& pfad) override {
        if (auto const eintrag = offen.find(pfad); eintrag != offen.end())
            offen.erase(eintrag);
        else
            ++zuOftBeendet;
    }

    std::set<std::string> ordner;
    std::map<std::string, std::string> umgezogen;
    std::set<std::string> verschlossen;
    std::set<std::string> abwesend; ///< On a drive that is not plugged in.
    std::multiset<std::string> offen;
    bool anlegenScheitert{false};
    int zaehler{0};
    int zuOftBeendet{0};
};

/// Standard places below a folder of the test.
class FesteStandardorte final : public ports::Standardorte {
public:
    explicit FesteStandardorte(std::string const& heim)
        : pfade_{
              .schreibtisch = heim + "/Desktop",
              .dokumente = heim + "/Documents",
              .downloads = heim + "/Downloads",
              .wolke = heim + "/Library/Mobile Documents/com~apple~CloudDocs"} {}
    Pfade pfade() override { return pfade_; }

private:
    Pfade pfade_;
};

} // namespace quillmate::werkzeug
