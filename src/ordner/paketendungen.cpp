#include "paketendungen.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quillmate::Ordner {

namespace {

// The suffixes are those of the types that a Mac declares as conforming to com.apple.package or
// com.apple.bundle: the system's own (listed in Apple's "System-Declared Uniform Type Identifiers" and
// "Bundle Programming Guide"), those that the programs delivered with it declare for their documents and
// libraries, and those of some widespread programs that save a document as a folder. A folder is recognised
// by its name alone; the bundle bit that a Mac can set besides does not survive on other file systems. Some
// of these names also exist as plain files (.pages, .numbers, .key, .pkg); the list is only asked about
// folders. Asset catalogues (.xcassets) and icon sets (.iconset) are missing on purpose: a Mac shows them as
// plain folders.
// Lower case, without the dot, in byte order: istPaket() searches by halving.
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

constexpr std::size_t laengste = std::ranges::max(pakete, {}, &std::string_view::size).size();

constexpr char klein(char zeichen) noexcept {
    return zeichen >= 'A' && zeichen <= 'Z' ? static_cast<char>(zeichen + ('a' - 'A')) : zeichen;
}

} // namespace

bool istPaket(std::string_view ordnername) {
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

} // namespace quillmate::Ordner
