// Loaded by the dynamic linker before a program under test (LD_PRELOAD): its libcurl trusts the certificate in the file
// that QUILLMATE_PRUEFZERTIFIKAT names in place of the system's authorities. The program itself has no such way: what it
// trusts can only be changed by who may replace its libraries, and that is its own user.
#include <curl/curl.h>
#include <dlfcn.h>

#include <cstdlib>

extern "C" CURLcode curl_easy_perform(CURL* griff) {
    using Funktion = CURLcode (*)(CURL*);
    static auto const echt = reinterpret_cast<Funktion>(::dlsym(RTLD_NEXT, "curl_easy_perform"));
    if (auto const* const datei = std::getenv("QUILLMATE_PRUEFZERTIFIKAT"))
        curl_easy_setopt(griff, CURLOPT_CAINFO, datei);
    return echt(griff);
}
