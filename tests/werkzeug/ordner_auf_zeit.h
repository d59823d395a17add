#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quillmate::werkzeug {

/// An empty folder that is removed with all its contents at the end of the test.
class OrdnerAufZeit {
public:
    OrdnerAufZeit() {
        auto vorlage = (std::filesystem::temp_directory_path() / "quillmate-test-XXXXXX").string();
        if (!::mkdtemp(vorlage.data()))
            throw std::runtime_error("mkdtemp");
        pfad_ = vorlage;
    }
    ~OrdnerAufZeit() {
        std::error_code fehler;
        std::filesystem::remove_all(pfad_, fehler);
    }
    OrdnerAufZeit(OrdnerAufZeit const&) = delete;
    OrdnerAufZeit& operator=(OrdnerAufZeit const&) = delete;

    [[nodiscard]] std::string pfad(std::string_view teil = {}) const {
        return teil.empty() ? pfad_.string() : (pfad_ / teil).string();
    }
    /// Creates the file with all folders above it; returns its path.
    std::string datei(std::string_view teil, std::string_view inhalt = {}) const {
        auto const ziel = pfad_ / teil;
        std::filesystem::create_directories(ziel.parent_path());
        std::ofstream{ziel, std::ios::binary} << inhalt;
        return ziel.string();
    }
    std::string ordner(std::string_view teil) const {
        std::filesystem::create_directories(pfad_ / teil);
        return pfad(teil);
    }

private:
    std::filesystem::path pfad_;
};

inline std::string inhaltVon(std::string const& pfad) {
    std::ifstream datei{pfad, std::ios::binary};
    std::ostringstream inhalt;
    inhalt << datei.rdbuf();
    return inhalt.str();
}

} // namespace quillmate::werkzeug
