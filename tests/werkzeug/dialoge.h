#pragma once

#include "ports/dialoge.h"
#include "ports/ordnertafel.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::werkzeug {

/// Dialogs that nobody sees: a test looks at what was asked and answers when it likes.
class DialogeAttrappe final : public ports::Dialoge {
public:
    struct Gefragt {
        ports::Programmfenster* fenster{nullptr}; ///< Null for a dialog of its own.
        ports::Frage frage;
        std::string vorgabe;
        std::function<void(ports::Antwort)> antwort;             ///< fragen()
        std::function<void(std::optional<std::string>)> eingabe; ///< eingeben()
    };
    struct Dateifrage {
        ports::Dateiwahl wahl;
        std::function<void(std::optional<std::vector<std::string>>)> antwort;
    };

    void fragen(
        ports::Programmfenster& fenster, ports::Frage const& frage,
        std::function<void(ports::Antwort)> antwort) override {
        gefragt.push_back(
            {.fenster = &fenster,
             .frage = frage,
             .vorgabe = {},
             .antwort = std::move(antwort),
             .eingabe = {}});
    }
    [[nodiscard]] ports::Antwort fragenUndWarten(ports::Frage const& frage) override {
        gefragt.push_back({.fenster = nullptr, .frage = frage, .vorgabe = {}, .antwort = {}, .eingabe = {}});
        if (antworten.empty())
            return {.knopf = frage.knoepfe.size() - 1, .haken = false};
        auto const antwort = antworten.front();
        antworten.pop_front();
        return antwort;
    }
    void eingeben(
        ports::Programmfenster& fenster, ports::Frage const& frage, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) override {
        gefragt.push_back(
            {.fenster = &fenster,
             .frage = frage,
             .vorgabe = vorgabe,
             .antwort = {},
             .eingabe = std::move(antwort)});
    }
    void zugang(
        ports::Programmfenster& fenster, ports::Frage const& frage,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override {
        zugangsfragen.push_back({&fenster, frage, std::move(antwort)});
    }
    struct Zugang {
        ports::Programmfenster* fenster{nullptr};
        ports::Frage frage;
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort;
    };
    std::vector<Zugang> zugangsfragen;
    void dateienWaehlen(
        ports::Dateiwahl const& wahl,
        std::function<void(std::optional<std::vector<std::string>>)> antwort) override {
        dateifragen.push_back({wahl, std::move(antwort)});
    }

    std::vector<Gefragt> gefragt;
    std::vector<Dateifrage> dateifragen;
    std::deque<ports::Antwort>
        antworten; ///< For fragenUndWarten(); with none left the last button is pressed.
};

/// A folder panel that answers at once with the next of its answers.
class OrdnertafelAttrappe final : public ports::Ordnertafel {
public:
    [[nodiscard]] std::optional<std::string> waehlen(Texte const& texte) override {
        gezeigt.push_back(texte);
        if (waehrenddessen)
            waehrenddessen();
        if (antworten.empty())
            return std::nullopt;
        auto antwort = antworten.front();
        antworten.pop_front();
        return antwort;
    }

    std::vector<Texte> gezeigt;
    std::deque<std::optional<std::string>> antworten;
    std::function<void()> waehrenddessen; ///< What happens in the main loop while the panel is open.
};

} // namespace quillmate::werkzeug
