#include "paketendungen.h"

#include "grundlage/datei.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

namespace quillmate::Ordner {

namespace {

// The suffixes are those of the types that a Mac declares as conforming to com.apple.package or
// com.apple.bundle: the system's own (listed in Apple's "System-Declared Uniform Type Identifiers" and
// "Bundle Programming Guide"), those that the programs delivered with it declare for their documents and
// libraries, and those of some widespread programs that save a document as a folder. The bundle
// bit that a Mac can set besides does not survive on other file systems, and the name alone would hide a folder of the
// user's own: besides the name, what lies inside at the top must be what such packages hold. Some
// of these names also exist as plain files (.pages, .numbers, .key, .pkg); the list is only asked about
// folders. Asset catalogues (.xcassets) and icon sets (.iconset) are missing on purpose: a Mac shows them as
// plain folders.
// Lower case, without the dot, in byte order: heisstWiePaket() searches by halving.
constexpr auto pakete = std::to_array<std::string_view>({
    "abbu",                 // exported address book
    "action",               // Automator action
    "aplibrary",            // Aperture library
    "app",                  // program
    "appex",                // extension of a program
    "backupbundle",         // Time Machine image on a share
    "band",                 // GarageBand project
    "bundle",               // loadable bundle
    "caction",              // Automator converter
    "cmproj",               // Camtasia project
    "colorpicker",          // module of the colour panel
    "component",            // audio component
    "dictionary",           // dictionary of the Dictionary program
    "docset",               // documentation set
    "download",             // unfinished download of Safari
    "dsym",                 // debugging symbols
    "dtbase2",              // DEVONthink database
    "dvdproj",              // iDVD project
    "fcarch",               // Final Cut camera archive
    "fcpbundle",            // Final Cut library
    "fcpcache",             // Final Cut cache
    "graffle",              // OmniGraffle document
    "imovielibrary",        // iMovie library
    "imoviemobile",         // iMovie project from a telephone
    "imovietheater",        // iMovie theatre
    "kext",                 // kernel extension
    "key",                  // Keynote document
    "kth",                  // Keynote theme
    "logic",                // Logic project, old
    "logicx",               // Logic project
    "mdimporter",           // Spotlight importer
    "menu",                 // menu extra
    "migratedaplibrary",    // Aperture library after its migration
    "migratedphotolibrary", // iPhoto library after its migration
    "mpkg",                 // installer package of packages
    "musiclibrary",         // Music library
    "nib",                  // window of a program
    "nmbtemplate",          // Numbers template
    "numbers",              // Numbers document
    "oo3",                  // OmniOutliner document
    "pages",                // Pages document
    "photolibrary",         // iPhoto library
    "photoslibrary",        // Photos library
    "pkg",                  // installer package
    "playground",           // Swift playground
    "playgroundbook",       // Swift playground book
    "plugin",               // plug-in
    "prefpane",             // preference pane
    "pvm",                  // virtual machine of Parallels
    "qlgenerator",          // Quick Look generator
    "rtfd",                 // text with pictures
    "saver",                // screen saver
    "scptd",                // script bundle
    "scriv",                // Scrivener project
    "service",              // system service
    "slidesaver",           // screen saver of pictures
    "sparsebundle",         // growing disk image
    "swiftpm",              // Swift playground program
    "systemextension",      // system extension
    "template",             // Pages template
    "tvlibrary",            // TV library
    "utm",                  // virtual machine of UTM
    "vmwarevm",             // virtual machine of VMware
    "wdgt",                 // widget
    "webplugin",            // browser plug-in
    "workflow",             // Automator workflow
    "xcarchive",            // Xcode archive
    "xcodeproj",            // Xcode project
    "xcworkspace",          // Xcode workspace
    "xpc",                  // service of a program
});
static_assert(std::ranges::is_sorted(pakete));

/// Entries of a folder that are looked at.
constexpr int hoechstensAngesehen = 1000;

constexpr std::size_t laengste = std::ranges::max(pakete, {}, &std::string_view::size).size();

// What lies at the top of packages and next to never in a folder that somebody named with one of the suffixes. In byte
// order.
constexpr auto merkmale = std::to_array<std::string_view>({
    "AlbumData.xml",                // photo libraries, old
    "Alternatives",                 // Logic, GarageBand
    "ApertureData.xml",             // Aperture
    "Archive.plist",                // camera archives
    "Contents",                     // programs, plug-ins, Automator, installer packages, documentation sets
    "CurrentVersion.flexolibrary",  // Final Cut
    "CurrentVersion.imovielibrary", // iMovie
    "CurrentVersion.plist",         // iMovie, Final Cut
    "Index.zip",                    // Keynote, Pages, Numbers
    "Info.plist",                   // nearly all that is a bundle
    "Library.musicdb",              // Music
    "Library.tvdb",                 // TV
    "LogicData",                    // Logic, old
    "Package.swift",                // Swift playgrounds
    "TXT.rtf",                      // text with pictures
    "bands",                        // disk images
    "classes.nib",                  // windows
    "config.plist",                 // UTM
    "config.pvs",                   // Parallels
    "contents.xcplayground",        // playgrounds
    "contents.xcworkspacedata",     // Xcode workspace
    "contents.xml",                 // OmniOutliner
    "data.plist",                   // OmniGraffle
    "designable.nib",               // windows
    "documentData",                 // Logic, old
    "iPhotoMain.db",                // iPhoto
    "index.apxl",                   // Keynote, old
    "index.apxl.gz",                // the same, packed
    "index.xml",                    // Pages, Numbers, old
    "index.xml.gz",                 // the same, packed
    "keyedobjects.nib",             // windows
    "project.pbxproj",              // Xcode project
    "project.tscproj",              // Camtasia
    "projectData",                  // GarageBand
});
static_assert(std::ranges::is_sorted(merkmale));

// The same for files that carry the package's own name.
constexpr auto merkmalsendungen =
    std::to_array<std::string_view>({".abcddb", ".dtMeta", ".photosdb", ".scrivx", ".vmx"});

constexpr char klein(char zeichen) noexcept {
    return zeichen >= 'A' && zeichen <= 'Z' ? static_cast<char>(zeichen + ('a' - 'A')) : zeichen;
}

} // namespace

bool heisstWiePaket(std::string_view ordnername) {
    auto const punkt = ordnername.rfind('.');
    if (punkt == std::string_view::npos || punkt == 0)
        return false;
    auto const endung = ordnername.substr(punkt + 1);
    if (endung.size() > laengste)
        return false;
    std::array<char, laengste> puffer{};
    std::ranges::transform(endung, puffer.begin(), klein);
    return std::ranges::binary_search(pakete, std::string_view{puffer.data(), endung.size()});
}

bool istPaketVonInnen(int eltern, std::string_view name) {
    Deskriptor deskriptor{::openat(eltern, name.data(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!deskriptor)
        return false;
    std::unique_ptr<DIR, int (*)(DIR*)> const ordner{::fdopendir(deskriptor.get()), &::closedir};
    if (!ordner)
        return false;
    (void)deskriptor.abgeben(); // closedir() closes it
    // A package has few entries at its top. A folder of thousands of receipts is none, and is read once more anyway.
    for (int i = 0; i < hoechstensAngesehen; ++i) {
        auto const* const eintrag = ::readdir(ordner.get());
        if (eintrag == nullptr)
            return false;
        std::string_view const innen = eintrag->d_name;
        if (std::ranges::binary_search(merkmale, innen) ||
            std::ranges::any_of(merkmalsendungen, [innen](auto endung) { return innen.ends_with(endung); }))
            return true;
    }
    return false;
}

} // namespace quillmate::Ordner
