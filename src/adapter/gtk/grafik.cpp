#include "grafik.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace quillmate::adapter::gtk {

bool hatGrafikprozessor() {
    char const* const nurSoftware = std::getenv("LIBGL_ALWAYS_SOFTWARE");
    if (nurSoftware && *nurSoftware && std::string_view{nurSoftware} != "0")
        return false;
    std::error_code fehler;
    for (auto const& geraet : std::filesystem::directory_iterator{"/dev/dri", fehler})
        if (geraet.path().filename().string().starts_with("renderD") &&
            ::access(geraet.path().c_str(), R_OK | W_OK) == 0)
            return true;
    return false;
}

} // namespace quillmate::adapter::gtk
