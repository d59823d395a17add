// dav1d_default_settings of dav1d, which decodes AVIF. libheif takes the settings as they come, with as many threads as
// the machine has processors; the lock-up denies threads, and the decoder would refuse the picture. libheif's call, or
// that of its plug-in, ends up here, because the program's symbols come before those of the libraries that it loads.
#include <dav1d/dav1d.h>
#include <dlfcn.h>

void dav1d_default_settings(Dav1dSettings* vorgaben) {
    // Found because the program is linked with dav1d: a library that only a plug-in brings along would not be.
    static auto const eigentliche =
        reinterpret_cast<void (*)(Dav1dSettings*)>(::dlsym(RTLD_NEXT, "dav1d_default_settings"));
    if (eigentliche == nullptr)
        return;
    eigentliche(vorgaben);
    vorgaben->n_threads = 1;
}
