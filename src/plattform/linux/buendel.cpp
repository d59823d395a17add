#include "buendel.h"

#include "grundlage/datei.h"
#include "plist.h"

#include <filesystem>

namespace quillmate::plattform {

std::optional<Buendel> buendelVon(std::string const& programmdatei) {
    std::error_code fehler;
    auto const programm = std::filesystem::canonical(programmdatei, fehler);
    if (fehler)
        return std::nullopt;
    for (auto ordner = programm.parent_path(); ordner != ordner.root_path(); ordner = ordner.parent_path()) {
        if (ordner.extension() != ".app")
            continue;
        constexpr std::uint64_t hoechstgroesse = std::uint64_t{1024} * 1024;
        auto const inhalt = leseDatei((ordner / "Contents" / "Info.plist").string(), hoechstgroesse);
        auto const plist = inhalt ? plistLesen(*inhalt) : nullptr;
        if (!plist)
            continue;
        return Buendel{
            .pfad = ordner.string(),
            .kennung = plistText(plist.get(), "CFBundleIdentifier"),
            .kurzfassung = plistText(plist.get(), "CFBundleShortVersionString"),
            .buildnummer = plistText(plist.get(), "CFBundleVersion")};
    }
    return std::nullopt;
}

std::optional<Buendel> eigenesBuendel() {
    return buendelVon("/proc/self/exe");
}

std::string eigeneKennung() {
    auto const buendel = eigenesBuendel();
    return buendel && buendel->kennung ? *buendel->kennung : hauptkennung;
}

} // namespace quillmate::plattform
