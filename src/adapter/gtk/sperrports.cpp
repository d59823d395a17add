#include "sperrports.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace quillmate::adapter::gtk {
namespace {

/// The "bad ports" of the Fetch standard, in order.
constexpr std::array gesperrt{
    0,    1,    7,    9,    11,   13,   15,   17,   19,   20,   21,   22,   23,   25,   37,   42,   43,
    53,   69,   77,   79,   87,   95,   101,  102,  103,  104,  109,  110,  111,  113,  115,  117,  119,
    123,  135,  137,  139,  143,  161,  179,  389,  427,  465,  512,  513,  514,  515,  526,  530,  531,
    532,  540,  548,  554,  556,  563,  587,  601,  636,  989,  990,  993,  995,  1719, 1720, 1723, 2049,
    3659, 4045, 4190, 5060, 5061, 6000, 6566, 6665, 6666, 6667, 6668, 6669, 6679, 6697, 10080};

} // namespace

bool hatGesperrtenPort(std::string const& adresse) {
    std::unique_ptr<GUri, decltype(&g_uri_unref)> const uri{
        g_uri_parse(adresse.c_str(), G_URI_FLAGS_PARSE_RELAXED, nullptr), &g_uri_unref};
    if (!uri)
        return false;
    std::string_view const schema{g_uri_get_scheme(uri.get())};
    return (schema == "https" || schema == "http") &&
           std::ranges::binary_search(gesperrt, g_uri_get_port(uri.get()));
}

} // namespace quillmate::adapter::gtk
