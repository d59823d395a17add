#pragma once

#include "glib_halter.h"
#include "ports/webansicht.h"

#include <webkit/webkit.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quillmate::adapter::gtk {

/// The one exception from "only certificates that the system trusts", for trying the portals without an account anywhere:
/// the demo service's portal has a certificate that it made itself. The PEM file that is trusted, or nothing. There is one
/// only in the program that runs as `kennung` "de.tandemwerk.quillmate.demo", and only when the environment variable
/// QUILLMATE_DEMO_ZERTIFIKAT names it; every other program, the installed one before all, ignores the variable. The
/// exception is good for this one certificate, on 127.0.0.1 and localhost, in the portals' session.
[[nodiscard]] std::optional<std::string> demozertifikat(std::string_view kennung);

/// The one web context and the long-lived network sessions of the program, one per kind of data.
/// Cookies and storage lie below the given folders, each kind in a folder of its own that only the user may enter.
/// Threads: main thread. A session is opened when the first view asks for it.
class WebSitzungen {
public:
    /// Absolute folders; they need not exist.
    struct Ordner {
        std::string daten;
        std::string zwischenspeicher;
    };

    /// `demozertifikat`: as of the function of this name. A file that cannot be read is logged and trusted by nobody.
    explicit WebSitzungen(Ordner ordner, std::optional<std::string> demozertifikat = {});
    /// Ends the downloads that are under way, as failed.
    ~WebSitzungen();
    WebSitzungen(WebSitzungen const&) = delete;
    WebSitzungen& operator=(WebSitzungen const&) = delete;

    /// Borrowed; lives as long as this object.
    [[nodiscard]] WebKitNetworkSession* sitzung(ports::Webansicht::Einrichtung::Datenhaltung art);
    [[nodiscard]] WebKitWebContext* kontext() const noexcept { return kontext_.get(); }

private:
    Ordner const ordner_;
    std::optional<std::string> const demozertifikat_;
    Objekt<WebKitWebContext> kontext_;
    std::map<ports::Webansicht::Einrichtung::Datenhaltung, Objekt<WebKitNetworkSession>> sitzungen_;
};

} // namespace quillmate::adapter::gtk
