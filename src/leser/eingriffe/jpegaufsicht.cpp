#include "jpegaufsicht.h"

#include <cstdio>
#include <utility>
// Needs cstdio first.
#include <jpeglib.h>
// Needs jpeglib.h first.
#include <jerror.h>

// The linker leads all calls in this program, MuPDF's among them, to the __wrap_ function (see CMakeLists.txt): MuPDF keeps
// its decoders to itself. Errors leave libjpeg by a jump: nothing here may need a destructor.
extern "C" {
boolean __real_jpeg_start_decompress(j_decompress_ptr);
boolean __wrap_jpeg_start_decompress(j_decompress_ptr);
}

namespace quillmate::leser::eingriffe {

namespace {

thread_local Jpegaufseher* zustaendig = nullptr;

void nachfragen(j_common_ptr jpeg) {
    // After its end there is nobody left to ask; the picture's owner then tidies up, which decodes nothing.
    if (zustaendig != nullptr && !zustaendig->weiter())
        ERREXIT(jpeg, JERR_CANT_SUSPEND);
}

thread_local jpeg_progress_mgr fortschritt{.progress_monitor = nachfragen};

} // namespace

JpegUnterAufsicht::JpegUnterAufsicht(Jpegaufseher& aufseher) noexcept
    : vorher_(std::exchange(zustaendig, &aufseher)) {}

JpegUnterAufsicht::~JpegUnterAufsicht() {
    zustaendig = vorher_;
}

std::int64_t koeffizientenBytes(jpeg_decompress_struct const& jpeg) {
    std::int64_t bytes = 0;
    for (int i = 0; i < jpeg.num_components; ++i)
        bytes += static_cast<std::int64_t>(jpeg.comp_info[i].width_in_blocks) *
                 jpeg.comp_info[i].height_in_blocks * std::int64_t{sizeof(JBLOCK)};
    return bytes;
}

} // namespace quillmate::leser::eingriffe

boolean __wrap_jpeg_start_decompress(j_decompress_ptr jpeg) {
    using namespace quillmate::leser::eingriffe;
    if (zustaendig != nullptr && jpeg->progress == nullptr) {
        if (jpeg_has_multiple_scans(jpeg) != FALSE &&
            !zustaendig->nimm(static_cast<std::size_t>(koeffizientenBytes(*jpeg))))
            ERREXIT1(jpeg, JERR_OUT_OF_MEMORY, 0);
        jpeg->progress = &fortschritt;
    }
    return __real_jpeg_start_decompress(jpeg);
}
