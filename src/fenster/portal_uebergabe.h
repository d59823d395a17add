#pragma once

#include "grundlage/adresse.h"
#include "grundlage/json.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// How the main window and the windows of vendors' portals meet, so that neither has to know the other.
/// Threads: main thread.
namespace quillmate::fenster {

/// One portal.
struct Portaleintrag {
    std::string kennung;
    std::string name;
    std::string adresse;
};

/// A portal's window as the main window sees it.
class Portalansicht {
public:
    virtual ~Portalansicht() = default;
    virtual void zeigen() = 0;
    /// False once it was closed.
    [[nodiscard]] virtual bool sichtbar() const = 0;
};

/// What a portal's window is opened for.
struct Portalauftrag {
    Portaleintrag portal;
    std::int64_t clientId{0};
    std::string token;
    Adresse basis; ///< The service.
    std::optional<std::int64_t> transactionId;
    /// Takes what happens in the window: a JSON object for the page.
    std::function<void(Json const&)> ereignis;
};

/// Where portals come from. Without `fenster` there are none.
struct Portalanschluss {
    /// The catalogue's first entry of this identifier.
    std::function<std::optional<Portaleintrag>(std::string_view kennung)> nachschlagen;
    /// Asks the user for an address; runs the main loop meanwhile. Nothing when cancelled.
    std::function<std::optional<Portaleintrag>(std::optional<std::string> const& name)> erfragen;
    std::function<std::unique_ptr<Portalansicht>(Portalauftrag)> fenster;
};

} // namespace quillmate::fenster
