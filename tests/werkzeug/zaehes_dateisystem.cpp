#define FUSE_USE_VERSION 31
#include "zaehes_dateisystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <utility>

// A request that hangs until the file system goes is never given back by libfuse's own threads.
extern "C" char const* __lsan_default_suppressions();
extern "C" char const* __lsan_default_suppressions() {
    return "leak:libfuse3.so\n";
}

namespace quillmate::werkzeug {

struct ZaehesDateisystem::Innen {
    ZaehesDateisystem& system;
    std::string quelle;
    std::string ziel;
    fuse* dienst{nullptr};
    std::thread faden{};

    std::mutex sperre{};
    std::condition_variable geaendert{};
    bool haengt{false}; ///< Guarded by sperre.
    bool ende{false};   ///< Likewise.

    /// Waits as long as the file system hangs, and then for that long.
    void warten(std::chrono::milliseconds dauer = {}) {
        std::unique_lock schutz{sperre};
        geaendert.wait(schutz, [this] { return !haengt || ende; });
        geaendert.wait_for(schutz, dauer, [this] { return ende; });
    }

    static Innen& dieses() { return *static_cast<Innen*>(fuse_get_context()->private_data); }
    [[nodiscard]] std::string wirklich(char const* pfad) const { return quelle + pfad; }

    static int lage(char const* pfad, struct stat* stand, fuse_file_info* offen) {
        auto& hier = dieses();
        hier.warten();
        int const ergebnis = offen != nullptr ? ::fstat(static_cast<int>(offen->fh), stand)
                                              : ::lstat(hier.wirklich(pfad).c_str(), stand);
        return ergebnis == 0 ? 0 : -errno;
    }
    static int verweis(char const* pfad, char* text, std::size_t platz) {
        auto& hier = dieses();
        hier.warten();
        auto const n = ::readlink(hier.wirklich(pfad).c_str(), text, platz - 1);
        if (n < 0)
            return -errno;
        text[n] = '\0';
        return 0;
    }
    static int auflisten(
        char const* pfad, void* puffer, fuse_fill_dir_t fuellen, off_t, fuse_file_info*, fuse_readdir_flags) {
        auto& hier = dieses();
        hier.warten(hier.system.jeOrdner);
        ++hier.system.ordnerGelesen;
        auto* const ordner = ::opendir(hier.wirklich(pfad).c_str());
        if (ordner == nullptr)
            return -errno;
        while (auto const* const eintrag = ::readdir(ordner)) {
            struct stat art {};
            art.st_ino = eintrag->d_ino;
            art.st_mode = static_cast<mode_t>(eintrag->d_type) << 12U;
            if (fuellen(puffer, eintrag->d_name, &art, 0, fuse_fill_dir_flags{}) != 0)
                break;
        }
        ::closedir(ordner);
        return 0;
    }
    static int oeffnen(char const* pfad, fuse_file_info* offen) {
        auto& hier = dieses();
        hier.warten();
        int const fd = ::open(hier.wirklich(pfad).c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return -errno;
        offen->fh = static_cast<std::uint64_t>(fd);
        return 0;
    }
    static int lesen(char const*, char* puffer, std::size_t laenge, off_t stelle, fuse_file_info* offen) {
        auto& hier = dieses();
        hier.warten(hier.system.jeLesung);
        ++hier.system.portionenGelesen;
        auto const n = ::pread(static_cast<int>(offen->fh), puffer, laenge, stelle);
        return n < 0 ? -errno : static_cast<int>(n);
    }
    /// At each close(2), which waits for it.
    static int leeren(char const*, fuse_file_info*) {
        dieses().warten();
        return 0;
    }
    static int schliessen(char const*, fuse_file_info* offen) {
        ::close(static_cast<int>(offen->fh));
        return 0;
    }
};

bool ZaehesDateisystem::moeglich() {
    return ::geteuid() == 0 && ::access("/dev/fuse", R_OK | W_OK) == 0;
}

ZaehesDateisystem::ZaehesDateisystem(std::string quelle, std::string ziel)
    : innen_(new Innen{.system = *this, .quelle = std::move(quelle), .ziel = std::move(ziel)}) {
    static fuse_operations griffe{};
    griffe.getattr = &Innen::lage;
    griffe.readlink = &Innen::verweis;
    griffe.readdir = &Innen::auflisten;
    griffe.open = &Innen::oeffnen;
    griffe.read = &Innen::lesen;
    griffe.flush = &Innen::leeren;
    griffe.release = &Innen::schliessen;
    // Nothing is kept by the kernel: each look reaches this file system.
    std::array<char*, 3> worte{
        const_cast<char*>("zaeh"), const_cast<char*>("-o"),
        const_cast<char*>("attr_timeout=0,entry_timeout=0")};
    fuse_args angaben{.argc = static_cast<int>(worte.size()), .argv = worte.data(), .allocated = 0};
    innen_->dienst = fuse_new(&angaben, &griffe, sizeof griffe, innen_.get());
    fuse_opt_free_args(&angaben);
    if (innen_->dienst == nullptr || fuse_mount(innen_->dienst, innen_->ziel.c_str()) != 0)
        throw std::runtime_error{"FUSE: " + innen_->ziel};
    innen_->faden = std::thread{[this] {
        (void)fuse_loop_mt(innen_->dienst, 0);
    }};
}

ZaehesDateisystem::~ZaehesDateisystem() {
    {
        std::lock_guard const schutz{innen_->sperre};
        innen_->ende = true;
    }
    innen_->geaendert.notify_all();
    fuse_exit(innen_->dienst);
    (void)::umount2(innen_->ziel.c_str(), MNT_FORCE | MNT_DETACH); // Ends the read that the loop sits in.
    innen_->faden.join();
    fuse_unmount(innen_->dienst);
    fuse_destroy(innen_->dienst);
}

void ZaehesDateisystem::haengen() {
    std::lock_guard const schutz{innen_->sperre};
    innen_->haengt = true;
}

void ZaehesDateisystem::weiter() {
    {
        std::lock_guard const schutz{innen_->sperre};
        innen_->haengt = false;
    }
    innen_->geaendert.notify_all();
}

} // namespace quillmate::werkzeug
