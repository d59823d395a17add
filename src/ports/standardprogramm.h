#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quillmate::ports {

/// Port: the user's default program for an address, the default browser for web addresses.
/// Threads: main thread.
class Standardprogramm {
public:
    virtual ~Standardprogramm() = default;
    /// Hands `adresse` over and returns at once. A failure, also a later one, is logged and told to the user, who can then
    /// copy the address.
    virtual void oeffnen(std::string const& adresse) = 0;
    /// The same, but it is `gescheitert` that is told of a failure, not the user; at most once, perhaps within the call.
    virtual void oeffnen(std::string const& adresse, std::function<void()> gescheitert) = 0;
    /// What people call the program that opens addresses of this scheme; nothing when there is none, or nobody knows.
    [[nodiscard]] virtual std::optional<std::string> nameFuer(std::string const& /*schema*/) const {
        return std::nullopt;
    }
};

} // namespace quillmate::ports
