#pragma once

#include "anfrage.h"
#include "antwortweg.h"
#include "brueckenumgebung.h"
#include "hintergrund.h"

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The one table of what pages may ask for. The bridge's allow-list and dispatch, the keys that decoding keeps, the
/// checks before an action runs and the functions of the page's script come from it; a new action is one row and one
/// function in aktionen.cpp.
namespace quillmate::bruecke {

/// What an argument must be to count as given. A value of another kind counts as absent.
enum class Wertart {
    text,
    nichtleererText,
    ganzzahl,
    positiveZahl, ///< An integer above 0.
    wahrheit,     ///< Absent is false.
    liste,        ///< Texts; absent is none. Too long a list spoils the call, needed or not.
};

/// One argument of an action: a key of the page's `daten`.
struct Angabe {
    std::string_view schluessel;
    Wertart art;
    bool noetig{false}; ///< Without it the call is refused.
};

/// What the actions work with and what they remember from call to call. One per bridge, and with its life.
struct Brueckenstand {
    Brueckenumgebung umgebung;
    PortalOeffnen portalOeffnen;                          ///< May be empty: there are no portals.
    std::shared_ptr<void> lebt{std::make_shared<char>()}; ///< Watched by what outlives the bridge.
    bool tafelOffen{false};                               ///< A folder panel is open.
    /// Calls that wait for the count of a folder's images, by its identifier. They share one count.
    std::map<std::string, std::vector<Antwortweg>> zaehlungen{};
    Hintergrund hintergrund{umgebung.arbeitsfaden}; ///< Last member: its thread ends first.
};

/// One call of a page whose arguments hold what its action needs.
struct Aufruf {
    Brueckenstand& stand;
    Brueckenumgebung const& umgebung; ///< The one in `stand`.
    Argumente const& argumente;
    Antwortweg const& weg;
    std::string_view ablehnung; ///< The action's; for what only the action itself can judge.
};

struct Aktion {
    std::string_view name;
    void (*handlung)(Aufruf const&);
    std::vector<Angabe> angaben{};
    std::string_view ablehnung{};       ///< The German answer to a call that lacks something.
    unsigned skriptstelle{0};           ///< Its place among the functions of `window.quillmateApp`, from 1.
    std::string_view skriptkommentar{}; ///< Lines before that function. Pages get them too.
};

/// In the order in which the dispatcher compares names.
[[nodiscard]] std::span<Aktion const> aktionen();

/// Nothing for a name that pages may not call. Compares exactly.
[[nodiscard]] Aktion const* aktionNamens(std::string_view name);

/// Whether some action reads the key.
[[nodiscard]] bool istAngabe(std::string_view schluessel);

/// Whether everything that the action needs is there and no list is too long.
[[nodiscard]] bool vollstaendig(Aktion const& aktion, Argumente const& argumente);

} // namespace quillmate::bruecke
