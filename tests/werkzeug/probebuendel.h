#pragma once

#include "ordner_auf_zeit.h"

#include <filesystem>
#include <map>
#include <string>

namespace quillmate::werkzeug {

inline std::string infoPlist(
    std::string const& nummer, std::string const& kennung = "de.tandemwerk.quillmate",
    std::string const& weiteres = {}) {
    return R"(<?xml version="1.0"?><plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>)" +
           kennung + R"(</string>
<key>CFBundleName</key><string>Quillmate</string>
<key>CFBundleExecutable</key><string>quillmate</string>
<key>CFBundleShortVersionString</key><string>0.)" +
           nummer + R"(</string>
<key>CFBundleVersion</key><string>)" +
           nummer + "</string>\n" + weiteres + "</dict></plist>\n";
}

/// Makes a bundle with everything that copying could lose: modes, links, empty folders, odd names, large files.
/// `programm` is the executable, a shell script.
inline void probebuendel(
    std::string const& pfad, std::string const& nummer, std::string const& programm = "#!/bin/sh\n",
    std::string const& weiteresInfo = {}) {
    namespace fs = std::filesystem;
    auto const datei = [&](std::string const& teil, std::string const& inhalt, fs::perms rechte) {
        fs::create_directories(fs::path{pfad + '/' + teil}.parent_path());
        std::ofstream{pfad + '/' + teil, std::ios::binary} << inhalt;
        fs::permissions(pfad + '/' + teil, rechte);
    };
    using enum fs::perms;
    auto const lesbar = owner_read | owner_write | group_read | others_read;
    datei("Contents/Info.plist", infoPlist(nummer, "de.tandemwerk.quillmate", weiteresInfo), lesbar);
    datei("Contents/Linux/quillmate", programm, lesbar | owner_exec | group_exec | others_exec);
    datei("Contents/Resources/Größe und Maß.txt", "Fassung " + nummer, owner_read);
    datei(
        "Contents/Resources/gross.bin", std::string(150'000, static_cast<char>('a' + nummer.size())), lesbar);
    fs::create_directories(pfad + "/Contents/Resources/leer");
    fs::create_symlink("gross.bin", pfad + "/Contents/Resources/verweis");
    fs::create_symlink("/gibt/es/nicht", pfad + "/Contents/Resources/ins Leere");
}

/// Everything below a folder, by relative path: kind, permissions and content. Two trees are the same if these are.
inline std::map<std::string, std::string> abbild(std::string const& pfad) {
    namespace fs = std::filesystem;
    std::map<std::string, std::string> ergebnis;
    if (!fs::is_directory(fs::symlink_status(pfad)))
        return ergebnis;
    for (auto const& eintrag : fs::recursive_directory_iterator{pfad}) {
        auto const status = eintrag.symlink_status();
        std::string wert = fs::is_symlink(status)     ? "-> " + fs::read_symlink(eintrag.path()).string()
                           : fs::is_directory(status) ? "ordner"
                                                      : inhaltVon(eintrag.path().string());
        if (!fs::is_symlink(status))
            wert += " " + std::to_string(static_cast<unsigned>(status.permissions()));
        ergebnis[fs::relative(eintrag.path(), pfad).string()] = std::move(wert);
    }
    return ergebnis;
}

} // namespace quillmate::werkzeug
