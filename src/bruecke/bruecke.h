#pragma once

#include "aktionen.h"
#include "brueckenumgebung.h"
#include "einspielung.h"
#include "ports/webansicht.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

namespace quillmate::bruecke {

/// The web page's way to the native side: judges who speaks, decodes the message, obeys, and answers by a call of
/// `window.__quillmateAntwort` in the main web view, as long as that shows the document that called.
/// Threads: main thread. Replies may come from any thread inside; they are delivered on the main thread, later.
/// Errors: none reach the caller. What is not understood or not allowed is logged. Who may not speak gets no answer.
/// Ownership: holds the web view weakly; without it replies are dropped. Destroying stops a count of images that
/// is under way.
class Bruecke {
public:
    /// Name of the message handler.
    static constexpr std::string_view name = "quillmate";

    /// Without `portalOeffnen` pages are told that there are no portals.
    Bruecke(std::weak_ptr<ports::Webansicht> web, PortalOeffnen portalOeffnen, Brueckenumgebung umgebung);
    ~Bruecke();
    Bruecke(Bruecke const&) = delete;
    Bruecke& operator=(Bruecke const&) = delete;

    /// The script for every page, made afresh.
    [[nodiscard]] static ports::Nutzerskript einspielung(Programmangaben const& angaben);

    /// Takes one message from a page: `json` as Webansicht::Nachrichtenempfaenger gets it.
    void empfangen(std::string_view json, ports::Absender const& absender);

private:
    /// Logs an origin that may not speak, once for as long as the view shows the same document. It gets no answer: an
    /// answer to a number that it guessed would settle the page's own call of that number.
    void fremdeMelden(ports::Absender const& absender);

    std::weak_ptr<ports::Webansicht> const web_;
    std::set<std::string, std::less<>> fremde_; ///< Origins that were logged.
    std::uint64_t fremdeVon_{0};                ///< Number of the document that was shown then.
    Brueckenstand stand_;                       ///< Last member: its thread ends first.
};

} // namespace quillmate::bruecke
