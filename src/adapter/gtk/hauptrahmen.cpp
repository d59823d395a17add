#include "hauptrahmen.h"

#include "skripte/bote.h"
#include "skripte/klicks.h"
#include "skripte/links.h"
#include "skripte/seitenelemente.h"
#include "skripte/vermittler.h"

#include <glib.h>

#include <memory>

namespace quillmate::adapter::gtk {
namespace {

/// The files hold one function each, behind comments; calls it. `argumente` is source text of ours.
std::string aufruf(std::string_view datei, std::string const& argumente) {
    return "(\n" + std::string{datei} + "\n)(" + argumente + ");";
}

std::string alsText(std::string_view name) {
    return '\'' + std::string{name} + '\'';
}

} // namespace

std::string vermittlerskript(std::string_view nachrichtenname) {
    return aufruf(skripte::vermittler, alsText(nachrichtenname));
}

std::string botenskript(std::string_view nachrichtenname, std::size_t grenze) {
    return aufruf(skripte::bote, alsText(nachrichtenname) + ", " + std::to_string(grenze));
}

std::string zustellrumpf(std::string_view nachrichtenname) {
    return "window.webkit.messageHandlers." + std::string{nachrichtenname} +
           ".zustellen(ursprung, funktion, werte);";
}

std::string linkskript() {
    return aufruf(skripte::links, {});
}

std::string seitenelementeskript() {
    return aufruf(skripte::seitenelemente, {});
}

std::string klickskript() {
    return aufruf(skripte::klicks, {});
}

std::optional<std::string> ursprungVon(std::string_view adresse) {
    std::unique_ptr<GUri, decltype(&g_uri_unref)> const uri{
        g_uri_parse(std::string{adresse}.c_str(), G_URI_FLAGS_PARSE_RELAXED, nullptr), &g_uri_unref};
    if (!uri || !g_uri_get_host(uri.get()))
        return std::nullopt;
    std::string const schema = g_uri_get_scheme(uri.get());
    if (schema != "https" && schema != "http")
        return std::nullopt;
    std::unique_ptr<char, decltype(&g_free)> const wirt{
        g_ascii_strdown(g_uri_get_host(uri.get()), -1), &g_free};
    std::string text = schema + "://";
    std::string const name{wirt.get()};
    text += name.find(':') == std::string::npos ? name : '[' + name + ']';
    int const port = g_uri_get_port(uri.get());
    bool const ueblich = port <= 0 || (schema == "https" && port == 443) || (schema == "http" && port == 80);
    if (!ueblich)
        text += ':' + std::to_string(port);
    return text;
}

} // namespace quillmate::adapter::gtk
