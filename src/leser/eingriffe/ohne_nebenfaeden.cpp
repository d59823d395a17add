// The decoders of HEIC and AVIF start threads that libheif offers no switch for, and the lock-up denies threads:
// they would wait for ever, or refuse the picture. libheif's calls end up here, because the program's symbols
// come before those of a library it is linked with.
#include <dav1d/dav1d.h>
#include <dlfcn.h>
#include <libde265/de265.h>

/// Without workers the decoder does all the work in the call.
de265_error de265_start_worker_threads(de265_decoder_context* /*decoder*/, int /*anzahl*/) {
    return DE265_OK;
}

void dav1d_default_settings(Dav1dSettings* vorgaben) {
    auto* const eigentliche =
        reinterpret_cast<void (*)(Dav1dSettings*)>(::dlsym(RTLD_NEXT, "dav1d_default_settings"));
    if (eigentliche == nullptr)
        return;
    eigentliche(vorgaben);
    vorgaben->n_threads = 1;
}
