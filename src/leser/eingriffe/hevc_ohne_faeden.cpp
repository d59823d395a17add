// de265_start_worker_threads of libde265, which decodes HEIC. libheif asks for threads and offers no switch; the lock-up
// denies them, and the decoder would wait for ever for workers that never came. Without workers it does all the work in
// the call. libheif's call, or that of its plug-in, ends up here, because the program's symbols come before those of the
// libraries that it loads.
#include <libde265/de265.h>

de265_error de265_start_worker_threads(de265_decoder_context* /*decoder*/, int /*anzahl*/) {
    return DE265_OK;
}
