#pragma once

#include "glib_halter.h"
#include "plattform/webansicht.h"

#include <webkit/webkit.h>

#include <map>
#include <string>

namespace quillmate::plattform::gtk {

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

    explicit WebSitzungen(Ordner ordner);
    /// Ends the downloads that are under way, as failed.
    ~WebSitzungen();
    WebSitzungen(WebSitzungen const&) = delete;
    WebSitzungen& operator=(WebSitzungen const&) = delete;

    /// Borrowed; lives as long as this object.
    [[nodiscard]] WebKitNetworkSession* sitzung(Webansicht::Einrichtung::Datenhaltung art);
    [[nodiscard]] WebKitWebContext* kontext() const noexcept { return kontext_.get(); }

private:
    Ordner const ordner_;
    Objekt<WebKitWebContext> kontext_;
    std::map<Webansicht::Einrichtung::Datenhaltung, Objekt<WebKitNetworkSession>> sitzungen_;
};

} // namespace quillmate::plattform::gtk
