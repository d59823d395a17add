#include "wayland.h"

#include "warten.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

namespace quillmate::fenster_echt {
namespace {

constexpr int breite = 1600;
constexpr int hoehe = 1200;

/// The number behind "NAME@" or "NAME#" (newer releases) at or after `ab`.
std::optional<unsigned long> nummerVon(std::string_view text, std::string_view name, std::size_t ab = 0) {
    auto stelle = text.find(name, ab);
    if (stelle == std::string_view::npos)
        return std::nullopt;
    stelle += name.size();
    if (stelle >= text.size() || (text[stelle] != '@' && text[stelle] != '#'))
        return std::nullopt;
    unsigned long nummer = 0;
    auto const* const ende = text.data() + text.size();
    return std::from_chars(text.data() + stelle + 1, ende, nummer).ec == std::errc{} ? std::optional{nummer}
                                                                                     : std::nullopt;
}

} // namespace

Weston::Weston(std::string const& xname, std::string const& laufordner, Programm::Umgebung umgebung) {
    umgebung["DISPLAY"] = xname;
    umgebung["XDG_RUNTIME_DIR"] = laufordner;
    weston_ = std::make_unique<Programm>(
        QUILLMATE_WESTON,
        std::vector<std::string>{
            "--backend=x11-backend.so", "--use-pixman", "--shell=kiosk-shell.so", "--no-config",
            "--idle-time=0", "--width=" + std::to_string(breite), "--height=" + std::to_string(hoehe),
            "--socket=" + std::string{buchse}},
        umgebung);
    if (!werkzeug::wartenBis(
            [&] { return !weston_->laeuft() || std::filesystem::exists(laufordner + "/" + buchse); },
            std::chrono::seconds{30}) ||
        !weston_->laeuft())
        throw std::runtime_error{"Weston startet nicht: " + weston_->fehlerausgabe()};
}

std::vector<XFenster> Waylandfenster::alle() {
    lesen();
    std::vector<XFenster> fenster;
    for (auto const& [nummer, rolle] : rollen_)
        fenster.push_back(
            {.nummer = rolle.flaeche,
             .titel = rolle.titel,
             .x = 0,
             .y = 0,
             .breite = breite,
             .hoehe = hoehe});
    return fenster;
}

unsigned long Waylandfenster::tastaturBei() {
    lesen();
    return tastatur_;
}

void Waylandfenster::lesen() {
    auto const alles = protokoll_();
    if (alles.size() < gelesen_) { // Another program.
        gelesen_ = 0;
        flaechen_.clear();
        rollen_.clear();
        tastatur_ = 0;
    }
    for (auto ende = alles.find('\n', gelesen_); ende != std::string::npos;
         ende = alles.find('\n', gelesen_)) {
        zeile(std::string_view{alles}.substr(gelesen_, ende - gelesen_));
        gelesen_ = ende + 1;
    }
}

void Waylandfenster::zeile(std::string_view text) {
    if (auto const stelle = text.find(".get_xdg_surface("); stelle != std::string_view::npos) {
        auto const rahmen = nummerVon(text, "xdg_surface", stelle + 17);
        auto const flaeche = nummerVon(text, "wl_surface", stelle);
        if (rahmen && flaeche)
            flaechen_[*rahmen] = *flaeche;
    } else if (auto const stelle2 = text.find(".get_toplevel("); stelle2 != std::string_view::npos) {
        auto const rahmen = nummerVon(text, "xdg_surface");
        auto const rolle = nummerVon(text, "xdg_toplevel", stelle2);
        if (rahmen && rolle)
            rollen_.push_back({*rolle, {.flaeche = flaechen_[*rahmen], .titel = {}}});
    } else if (auto const stelle3 = text.find(".set_title(\""); stelle3 != std::string_view::npos) {
        auto const rolle = nummerVon(text, "xdg_toplevel");
        auto const fund =
            std::ranges::find(rollen_, rolle.value_or(0), &decltype(rollen_)::value_type::first);
        if (fund != rollen_.end() && text.ends_with("\")"))
            fund->second.titel = text.substr(stelle3 + 12, text.size() - stelle3 - 14);
    } else if (text.contains("-> xdg_toplevel") && text.contains(".destroy(")) {
        auto const rolle = nummerVon(text, "xdg_toplevel").value_or(0);
        std::erase_if(rollen_, [&](auto const& einer) { return einer.first == rolle; });
    } else if (text.contains("wl_keyboard") && text.contains(".enter(")) {
        tastatur_ = nummerVon(text, "wl_surface").value_or(0);
    } else if (text.contains("wl_keyboard") && text.contains(".leave(")) {
        tastatur_ = 0;
    }
}

} // namespace quillmate::fenster_echt
