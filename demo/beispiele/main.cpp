// quillmate-beispiele: makes sample folders with generated receipts and other files, to try the program on.
//
//   sammlung    which files there are, and where
//   zeichnung   what stands on them
//   bild        pixels and picture files

#include "sammlung.h"

#include <fmt/format.h>

#ifdef __SANITIZE_ADDRESS__
/// The libraries that draw and encode keep some memory to the end of the process; that is no leak of ours.
extern "C" char const* __lsan_default_suppressions();
extern "C" char const* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libpango\nleak:libcairo\nleak:libglib\nleak:libx265\n";
}
#endif
#ifdef __SANITIZE_THREAD__
/// This program has one thread. Those of the libraries use locks that the sanitizer does not see.
extern "C" char const* __tsan_default_options();
extern "C" char const* __tsan_default_options() {
    return "report_bugs=0";
}
#endif

int main(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-' || argv[1][0] == '\0') {
        fmt::print(stderr, "Aufruf: quillmate-beispiele ORDNER\n");
        return 2;
    }
    std::string grund;
    auto const anzahl = quillmate::demo::legeSammlungAn(argv[1], grund);
    if (anzahl == 0) {
        fmt::print(stderr, "{}\n", grund);
        return 1;
    }
    fmt::print("{} Dateien in {}\n", anzahl, argv[1]);
    return 0;
}
