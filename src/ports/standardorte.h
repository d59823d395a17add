#pragma once

#include <string>

namespace quillmate::ports {

/// Port: where the user's well-known folders are. They need not exist.
/// Threads: any.
class Standardorte {
public:
    struct Pfade {
        std::string schreibtisch;
        std::string dokumente;
        std::string downloads;
        std::string wolke; ///< iCloud Drive's folder
    };

    virtual ~Standardorte() = default;
    [[nodiscard]] virtual Pfade pfade() = 0;
};

} // namespace quillmate::ports
