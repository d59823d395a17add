// pixWriteMem of Leptonica. The engine packs each text line that it cuts out as PNG and unpacks it at once, which is an
// eighth of its processor time. Here it gets Leptonica's own raw format instead, which carries every kind of picture
// and is recognised when read back. The engine's call ends up here, because the symbols of a program come before those
// of a library that it is linked with. Were a later engine to stop packing, this would not be called for PNG any more.
#include <dlfcn.h>
#include <leptonica/allheaders.h>

l_ok pixWriteMem(l_uint8** daten, size_t* groesse, PIX* bild, l_int32 format) {
    using Eigentliche = l_ok (*)(l_uint8**, size_t*, PIX*, l_int32);
    if (format == IFF_PNG && pixWriteMemSpix(daten, groesse, bild) == 0)
        return 0;
    static auto const eigentliche = reinterpret_cast<Eigentliche>(::dlsym(RTLD_NEXT, "pixWriteMem"));
    return eigentliche != nullptr ? eigentliche(daten, groesse, bild, format) : 1;
}
