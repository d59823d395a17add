#pragma once

#include "ports/anmeldesitzung.h"
#include "ports/standardprogramm.h"
#include "ports/warteblatt.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::anmeldung {

/// Web-authentication sessions on a desktop that has none of its own: the default browser for the start address, a sheet
/// with "Abbrechen" over the main window, and the callback as an address that the desktop hands to this program.
/// Any page and any program can hand us such an address. One is taken only while a session runs, and only once;
/// everything else is logged, without its content (it may hold a ticket), and dropped.
/// Threads: main thread.
/// Ownership: borrows its ports, which must outlive it. Sessions may outlive it; they are dead then.
class Browseranmeldung final : public ports::Anmeldewerk {
public:
    struct Umgebung {
        ports::Standardprogramm& standardprogramm;
        ports::Warteblattwerk& warteblaetter;
        /// Sees to it that addresses of our scheme come to this program; false when that cannot be done.
        std::function<bool()> rueckwegEinrichten;
    };
    explicit Browseranmeldung(Umgebung umgebung);
    ~Browseranmeldung() override;

    [[nodiscard]] std::shared_ptr<ports::Anmeldesitzung> sitzung(
        ports::Anmeldeauftrag auftrag, std::function<void(ports::Anmeldeausgang const&)> fertig) override;

    /// An address of our scheme has arrived, from wherever. True when it ended the running session.
    bool rueckweg(std::string const& adresse);

    /// Longer callbacks, in bytes, are forged: a ticket has some hundred.
    static constexpr std::size_t hoechsterRueckweg = std::size_t{16} * 1024;

private:
    class Sitzung;

    Umgebung const umgebung_;
    std::weak_ptr<Sitzung> laufend_; ///< The session begun last, as long as it runs and somebody holds it.
    std::shared_ptr<bool> lebt_{std::make_shared<bool>(true)};
};

} // namespace quillmate::anmeldung
