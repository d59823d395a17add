#include "buendel.h"

#include "grundlage/datei.h"
#include "plist.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>

namespace quillmate::adapter::linux {

namespace {

constexpr std::uint64_t hoechstgroesse = std::uint64_t{1024} * 1024; ///< Of a property list.

ports::Updatewerte updatewerte(plist_t wurzel) {
    ports::Updatewerte werte{
        .feed = plistText(wurzel, "SUFeedURL"),
        .schluessel = plistTexte(wurzel, "SUPublicEDKey"),
        .automatisch = plistWahrheitswert(wurzel, "SUEnableAutomaticChecks")};
    if (auto const sekunden = plistZahl(wurzel, "SUScheduledCheckInterval"))
        werte.abstand = std::chrono::seconds{*sekunden};
    return werte;
}

} // namespace

std::optional<ports::Buendel> buendelAn(std::string const& ordner) {
    auto const inhalt = leseDatei(ordner + "/Contents/Info.plist", hoechstgroesse);
    auto const plist = inhalt ? plistLesen(*inhalt) : nullptr;
    if (!plist)
        return std::nullopt;
    ports::Buendel buendel{
        .pfad = ordner,
        .kennung = plistText(plist.get(), "CFBundleIdentifier"),
        .name = plistText(plist.get(), "CFBundleName"),
        .kurzfassung = plistText(plist.get(), "CFBundleShortVersionString"),
        .buildnummer = plistText(plist.get(), "CFBundleVersion")};
    auto const programm = plistText(plist.get(), "CFBundleExecutable");
    buendel.updates = updatewerte(plist.get());
    // A bare file name only: nothing outside of the bundle may be started for it.
    if (programm && !programm->empty() && programm->find('/') == std::string::npos)
        buendel.programm = ordner + "/Contents/Linux/" + *programm;
    return buendel;
}

std::optional<ports::Buendel> buendelVon(std::string const& programmdatei) {
    std::error_code fehler;
    auto const programm = std::filesystem::canonical(programmdatei, fehler);
    if (fehler)
        return std::nullopt;
    for (auto ordner = programm.parent_path(); ordner != ordner.root_path(); ordner = ordner.parent_path())
        if (ordner.extension() == ".app")
            if (auto buendel = buendelAn(ordner.string()))
                return buendel;
    return std::nullopt;
}

Ergebnis<void> buendellage(std::string const& programmdatei) {
    std::error_code grund;
    auto const programm = std::filesystem::canonical(programmdatei, grund);
    if (grund)
        return errnoFehler(programmdatei, "Das Programm ist nicht zu finden", grund.value());
    for (auto ordner = programm.parent_path(); ordner != ordner.root_path(); ordner = ordner.parent_path()) {
        if (ordner.extension() != ".app")
            continue;
        auto const liste = ordner.string() + "/Contents/Info.plist";
        if (leseDatei(liste, hoechstgroesse))
            return {};
        auto const nummer = errno;
        if (nummer != ENOENT && nummer != ENOTDIR)
            return errnoFehler(liste, "Die Angaben über das Programm sind nicht zu lesen", nummer);
    }
    return {};
}

std::optional<ports::Buendel> eigenesBuendel() {
    return buendelVon("/proc/self/exe");
}

std::string eigeneKennung() {
    auto const buendel = eigenesBuendel();
    return buendel && buendel->kennung ? *buendel->kennung : hauptkennung;
}

std::string BuendelkundeLinux::laufend() {
    if (auto const buendel = eigenesBuendel())
        return buendel->pfad;
    std::error_code fehler;
    return std::filesystem::canonical("/proc/self/exe", fehler).parent_path().string();
}

} // namespace quillmate::adapter::linux
