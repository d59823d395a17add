#pragma once

#include <string>
#include <string_view>

/// The pages and scripts that the program itself shows in its web view. Pure; any thread.
namespace quillmate::fenster {

/// Shown until the service's application has loaded.
[[nodiscard]] std::string ladeseite();

/// Shown in place of a page that could not be loaded. `beschreibung` is for people, of any origin.
[[nodiscard]] std::string fehlerseite(std::string_view beschreibung);

/// Shown when the process that draws pages has died again and again. `grund` is for people.
[[nodiscard]] std::string absturzseite(std::string_view grund);

/// Script that shows the notice at the bottom of the page, in place of an earlier one, for 12 seconds; with
/// `knopf` also the button "Im Finder zeigen".
[[nodiscard]] std::string meldeskript(std::string_view text, bool knopf);

/// Tells screen readers of the notice that meldeskript() has just put there.
[[nodiscard]] std::string ansageskript();

} // namespace quillmate::fenster
