#include "namensanspruch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

bool umbenennen(std::string const& von, std::string const& nach, unsigned int wie) {
    return ::renameat2(AT_FDCWD, von.c_str(), AT_FDCWD, nach.c_str(), wie) == 0;
}

/// The file system knows no renaming but the plain one.
bool kannNurEinfach(int fehler) {
    return fehler == EINVAL || fehler == ENOSYS || fehler == EOPNOTSUPP;
}

bool istLeereDatei(struct stat const& lage) {
    return S_ISREG(lage.st_mode) && lage.st_size == 0;
}

} // namespace

Namensanspruch::Namensanspruch(std::string pfad)
    : pfad_(std::move(pfad))
    , platzhalter_(::open(pfad_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {
    struct stat lage {};
    if (platzhalter_ && (::fstat(platzhalter_.get(), &lage) != 0 || !istLeereDatei(lage)))
        platzhalter_ = Deskriptor{};
}

bool Namensanspruch::istPlatzhalter(std::string const& pfad) const {
    struct stat hier {};
    struct stat unserer {};
    return platzhalter_ && ::lstat(pfad.c_str(), &hier) == 0 && istLeereDatei(hier) &&
           ::fstat(platzhalter_.get(), &unserer) == 0 && hier.st_dev == unserer.st_dev &&
           hier.st_ino == unserer.st_ino;
}

Namensanspruch::Ausgang Namensanspruch::inFreienNamen(std::string const& teil) const {
    if (umbenennen(teil, pfad_, RENAME_NOREPLACE))
        return Ausgang::abgelegt;
    if (errno == EEXIST)
        return Ausgang::vergeben;
    if (!kannNurEinfach(errno))
        return Ausgang::gescheitert;
    // A second name is never given to what has one already.
    if (::link(teil.c_str(), pfad_.c_str()) == 0) {
        ::unlink(teil.c_str());
        return Ausgang::abgelegt;
    }
    if (errno == EEXIST)
        return Ausgang::vergeben;
    return umbenennen(teil, pfad_, 0) ? Ausgang::abgelegt : Ausgang::gescheitert;
}

Namensanspruch::Ausgang Namensanspruch::ablegen(std::string const& teil) const {
    struct stat lage {};
    if (::lstat(pfad_.c_str(), &lage) != 0)
        return errno == ENOENT ? inFreienNamen(teil) : Ausgang::gescheitert;
    // Looked at first so that somebody else's file is not even for a moment under another name.
    return istPlatzhalter(pfad_) ? tauschen(teil) : Ausgang::vergeben;
}

Namensanspruch::Ausgang Namensanspruch::tauschen(std::string const& teil) const {
    if (!umbenennen(teil, pfad_, RENAME_EXCHANGE)) {
        if (errno == ENOENT)
            return inFreienNamen(teil);
        return kannNurEinfach(errno) && umbenennen(teil, pfad_, 0) ? Ausgang::abgelegt : Ausgang::gescheitert;
    }
    if (istPlatzhalter(teil)) {
        ::unlink(teil.c_str());
        return Ausgang::abgelegt;
    }
    if (umbenennen(teil, pfad_, RENAME_EXCHANGE))
        return Ausgang::vergeben;
    (void)umbenennen(teil, pfad_, RENAME_NOREPLACE); // Somebody has removed the bytes; theirs comes back.
    return Ausgang::verloren;
}

} // namespace quillmate::adapter::gtk
