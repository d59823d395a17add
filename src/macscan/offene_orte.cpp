#include "offene_orte.h"

#include "am_ort.h"
#include "grundlage/datei.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace quillmate::MacScan {

namespace {

/// The device of an open folder, unless its files come from somewhere else: then its server may be gone in the middle.
std::optional<std::uint64_t> oertlichesGeraet(int ordner) {
    // Of linux/magic.h and the drivers' own headers.
    constexpr std::array<std::uint32_t, 11> entfernte{
        0x6969,     // NFS
        0x517B,     // SMB
        0xFE534D42, // SMB2
        0xFF534D42, // CIFS
        0x65735546, // FUSE: SSHFS, GVfs, cloud drives
        0x01021997, // 9P
        0x00C36400, // Ceph
        0x5346414F, // AFS
        0x6B414653, // AFS of the kernel
        0x73757245, // Coda
        0x0187,     // automatic mounts
    };
    struct statfs art {};
    struct stat lage {};
    if (ordner < 0 || ::fstatfs(ordner, &art) != 0 || ::fstat(ordner, &lage) != 0 ||
        std::ranges::find(entfernte, static_cast<std::uint32_t>(art.f_type)) != entfernte.end())
        return std::nullopt;
    return lage.st_dev;
}

} // namespace

OffeneOrte orteOeffnen(
    std::vector<std::string> const& orte, std::chrono::milliseconds frist,
    std::function<bool()> const& gestoppt) {
    struct Offener {
        Deskriptor ordner;
        std::optional<std::uint64_t> geraet;
    };
    OffeneOrte ergebnis;
    auto suchorte = std::make_shared<Ordner::Suchorte>();
    for (auto const& ort : orte) {
        auto const offen = amOrt(ort, frist, gestoppt, {}, [ort](Ortszeichen&) {
            auto const offener = std::make_shared<Offener>();
            offener->ordner = quillmate::oeffnen(ort, O_PATH | O_DIRECTORY);
            offener->geraet = oertlichesGeraet(offener->ordner.get());
            return offener;
        });
        if (!offen || !(*offen)->ordner)
            continue;
        if ((*offen)->geraet)
            ergebnis.oertlicheGeraete.insert(*(*offen)->geraet);
        suchorte->hinzufuegen(std::move((*offen)->ordner));
    }
    ergebnis.orte = std::move(suchorte);
    return ergebnis;
}

} // namespace quillmate::MacScan
