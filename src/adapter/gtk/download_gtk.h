#pragma once

#include "glib_halter.h"
#include "namensanspruch.h"
#include "ports/download.h"

#include <webkit/webkit.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::adapter::gtk {

/// A WebKitDownload. Keeps itself alive until the transfer has ended.
/// The bytes go to a hidden name beside the destination and take its name at the end: the engine reports a body that the
/// server cut short as finished, so the length is compared with the announced one first. Whoever named a destination
/// that exists takes it away again when the download fails.
/// Threads: main thread.
class DownloadGtk final : public ports::Download {
public:
    /// The engine's new download; without an Empfaenger it is cancelled when the engine asks where to put it.
    /// `pdfname`: what the document that the view shows was called, if it is a PDF; the engine's viewer does not know.
    [[nodiscard]] static std::shared_ptr<DownloadGtk> uebernehmen(
        WebKitDownload* download, std::string pdfname = {});
    /// For the end of the program: what is under way fails, and nothing of it stays on the disk.
    static void alleBeenden();
    ~DownloadGtk() override;
    DownloadGtk(DownloadGtk const&) = delete;
    DownloadGtk& operator=(DownloadGtk const&) = delete;

    void empfaenger(Empfaenger empfaenger) override;
    void abbrechen() override;
    [[nodiscard]] std::string adresse() const override;

private:
    struct Signale;

    DownloadGtk(WebKitDownload* download, std::string pdfname);
    void verbinden();
    /// Asks for a destination; false when there is none.
    [[nodiscard]] bool nameBesorgen();
    void abschliessen();
    /// The file is whole and gets its name, or another one when somebody else has it by now.
    void ablegen();
    void teilEntfernen();
    void scheitern(std::string const& beschreibung);
    [[nodiscard]] bool unvollstaendig() const;
    [[nodiscard]] std::uint64_t angekuendigt() const; ///< Bytes in all; 0 when the server does not say.
    /// Asks the Empfaenger; when it says no, the download is cancelled and has failed.
    [[nodiscard]] bool darfWeiter(std::uint64_t bytes);

    Objekt<WebKitDownload> const download_;
    Empfaenger empfaenger_;
    std::string const pdfname_;
    std::string vorschlag_; ///< The server's name, as one path component.
    std::optional<Namensanspruch> name_;
    std::string teil_;                    ///< The temporary name while bytes arrive; empty before.
    std::uint64_t bytes_{0};              ///< That have arrived.
    bool beendet_{false};                 ///< The Empfaenger has been told.
    std::shared_ptr<DownloadGtk> selbst_; ///< Until the end.
};

} // namespace quillmate::adapter::gtk
