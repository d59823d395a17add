#pragma once

#include "bestand.h"
#include "buch.h"
#include "demo/dienstprozess.h"
#include "leitung.h"
#include "prozesse.h"
#include "werkzeug/anzeige.h"
#include "werkzeug/bildschirm.h"
#include "werkzeug/programm.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::dauer {

/// Everything around the program: a home folder, a display with a session bus, the demo service behind a line that can
/// be disturbed, and the program itself, which comes and goes. What goes wrong is collected as sentences.
/// Threads: one.
class Welt {
public:
    struct Orte {
        std::string bau;    ///< The build folder.
        std::string arbeit; ///< An empty folder of its own.
    };
    Welt(Orte orte, std::string marke);
    ~Welt();
    Welt(Welt const&) = delete;
    Welt& operator=(Welt const&) = delete;

    // Program
    /// Starts it; whatever its page is.
    void starte();
    /// Starts it and waits for the driver's page. False (and a complaint) when that does not come.
    bool oeffne();
    /// As a person would; the complaint when it takes too long.
    void schliesse();
    /// As the end of a session.
    void beende();
    void toete();
    [[nodiscard]] bool laeuft() { return programm && programm->laeuft(); }
    /// Makes sure that the program runs and its page listens, by any means; counts what was needed.
    void aufDieBeine();
    /// Waits until no process of an earlier program is left.
    void pruefeHinterlassenes();

    // Service
    enum class Texte { ungelesen, gelesen };
    void dienstStarten(Texte texte = Texte::ungelesen);
    void dienstToeten();
    [[nodiscard]] nlohmann::json frage(std::string const& pfad);
    [[nodiscard]] std::vector<Eingang> eingaenge();
    [[nodiscard]] std::map<std::string, std::string> gesehen();
    bool stopp(bool an);
    [[nodiscard]] std::string portal() const;

    // Page
    [[nodiscard]] nlohmann::json suchStand(std::chrono::seconds frist = std::chrono::seconds{30});
    /// Waits for the end of the search that runs; false when it still runs after the limit.
    bool warteAufSuchende(std::chrono::seconds frist);
    [[nodiscard]] std::string zugangJs() const; ///< The fields that every call of the page carries.

    // Screen
    /// The window above the main one that has the keyboard.
    [[nodiscard]] std::optional<fenster_echt::XFenster> dialog();
    /// Waits until the portal's page holds this text and hears keys.
    [[nodiscard]] bool portaltext(fenster_echt::XFenster const& fenster, std::string_view text);

    void klage(std::string satz);
    [[nodiscard]] std::vector<std::string> const& klagen() const noexcept { return klagen_; }
    void sage(std::string const& text) const;

    [[nodiscard]] std::string heim() const { return orte_.arbeit + "/heim"; }
    [[nodiscard]] std::string arbeit() const { return orte_.arbeit; }
    [[nodiscard]] std::string werkzeug(std::string_view name) const {
        return orte_.bau + "/bin/" + std::string{name};
    }
    void merkeOrdner(std::vector<std::string> const& ordner);

    Bestand bestand;
    Buch buch;
    Leitung leitung;
    quillmate::werkzeug::Anzeige anzeige;
    fenster_echt::Bildschirm bildschirm;
    std::unique_ptr<demo::test::Dienstprozess> dienst;
    std::unique_ptr<fenster_echt::Programm> programm;
    std::map<std::string, std::string> umgebungszusatz; ///< Of programs that start from now on.
    std::map<std::string, int> gezaehlt;                ///< What was done, for the table.
    bool portalErreichbar{false}; ///< The service is the same as when the program began.

private:
    [[nodiscard]] fenster_echt::Programm::Umgebung umgebung() const;
    void merkeNachkommen();
    /// The program is over: its log goes to the others'.
    void weg();

    Orte orte_;
    std::string marke_;
    std::vector<std::string> klagen_;
    demo::test::Klient klient_;
    std::vector<std::pair<pid_t, std::string>>
        nachkommen_; ///< Of programs that have ended: number and start.
    std::optional<std::size_t>
        reste_; ///< Entries in the temporary folders after the first program had ended.
};

inline constexpr char const* token = "dauerlauf";

} // namespace quillmate::dauer
