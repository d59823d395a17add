#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::demo {

/// An invoice in the portal.
struct Portalrechnung {
    std::string nummer; ///< Names its files; ASCII letters, digits and "-".
    std::string aussteller;
    std::string zweck;
    std::string pdf; ///< The file's bytes, with a text layer.
};

/// The invoices for those of the service's bookings that no sample receipt belongs to.
[[nodiscard]] std::vector<Portalrechnung> portalrechnungen();

/// The invented portal of a vendor, over https: what a person can take invoices from without having an account anywhere.
/// One signs in with customer number and password "demo"; then each invoice is there to be looked at, as an attachment,
/// as a file that the page's script puts together, with a wrong content type, and as a download that breaks off.
/// Without its cookie nothing is there but the sign-in.
/// Threads: serves on threads of its own; the object itself is used by one.
class Portal {
public:
    static constexpr char const* zertifikatsdatei = "portal.pem";

    /// Listens on any free loopback port and leaves the certificate to trust in `ordner`. Null, and the reason, when
    /// that cannot be done.
    [[nodiscard]] static std::unique_ptr<Portal> oeffnen(std::string const& ordner, std::string& grund);
    /// Waits for answers under way.
    ~Portal();
    Portal(Portal const&) = delete;
    Portal& operator=(Portal const&) = delete;

    /// "https://127.0.0.1:40124/"
    [[nodiscard]] std::string adresse() const;
    /// Accepts nothing more. Whether all answers had left by `schluss`; the destructor would wait for the rest.
    [[nodiscard]] bool beenden(std::chrono::steady_clock::time_point schluss);

private:
    class Server;
    explicit Portal(std::unique_ptr<Server> server);

    std::unique_ptr<Server> server_;
};

} // namespace quillmate::demo
