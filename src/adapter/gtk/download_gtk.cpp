#include "download_gtk.h"

#include "fehlertext.h"

#include <glib/gstdio.h>
#include <libsoup/soup.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// While bytes arrive the engine adds this to the name that it was given.
constexpr char const* engineendung = ".wkdownload";

/// What the engine's viewer calls every document.
constexpr char const* viewername = "document.pdf";

/// How often a complete file is given another name because somebody else has taken the one that it had.
constexpr int hoechsteNamen = 8;

/// A name in the destination's folder that nobody else uses: renaming works only within one file system.
std::string teilname(std::string const& ziel) {
    std::filesystem::path const pfad{ziel};
    GText const kennung{g_uuid_string_random()};
    return (pfad.parent_path() / ("." + std::string{kennung.get()} + ".quillmate-teil")).string();
}

/// One path component, whatever the network calls it.
std::string sichererName(std::string const& vorschlag) {
    auto name = std::filesystem::path{vorschlag}.filename().string();
    std::erase_if(name, [](char zeichen) {
        auto const byte = static_cast<unsigned char>(zeichen);
        return byte < 0x20 || byte == 0x7f;
    });
    return name == "." || name == ".." ? std::string{} : name;
}

std::set<DownloadGtk*>& laufende() {
    static std::set<DownloadGtk*> menge;
    return menge;
}

} // namespace

struct DownloadGtk::Signale {
    static gboolean ziel(WebKitDownload* download, char* vorschlag, gpointer daten) {
        auto& ich = *static_cast<DownloadGtk*>(daten);
        ich.vorschlag_ = sichererName(textVon(vorschlag));
        if (ich.vorschlag_ == viewername && !ich.pdfname_.empty() && ich.adresse().starts_with("blob:"))
            ich.vorschlag_ = sichererName(ich.pdfname_);
        if (!ich.nameBesorgen()) {
            ich.beendet_ = true; // Whoever gave no destination wants to hear nothing more.
            webkit_download_cancel(download);
            return TRUE;
        }
        if (!ich.darfWeiter(0))
            return TRUE;
        ich.teil_ = teilname(ich.name_->pfad());
        webkit_download_set_destination(download, ich.teil_.c_str());
        return TRUE;
    }

    static void erhalten(WebKitDownload*, guint64 bytes, gpointer daten) {
        auto& ich = *static_cast<DownloadGtk*>(daten);
        ich.bytes_ += bytes;
        (void)ich.darfWeiter(ich.bytes_);
    }

    static void gescheitert(WebKitDownload* download, GError* fehler, gpointer daten) {
        // Of an error status the engine reports only the server's own words.
        auto* const antwort = webkit_download_get_response(download);
        auto const status = antwort ? webkit_uri_response_get_status_code(antwort) : 0U;
        static_cast<DownloadGtk*>(daten)->scheitern(
            status >= SOUP_STATUS_BAD_REQUEST ? beschreibungVonStatus(status) : beschreibungVon(fehler));
    }

    /// Follows "failed" too.
    static void ende(WebKitDownload*, gpointer daten) {
        auto& ich = *static_cast<DownloadGtk*>(daten);
        auto const halter = std::move(ich.selbst_); // The last thing this callback lets go of.
        if (!ich.beendet_)
            ich.abschliessen();
    }
};

DownloadGtk::DownloadGtk(WebKitDownload* download, std::string pdfname)
    : download_(Objekt<WebKitDownload>::geteilt(download))
    , pdfname_(std::move(pdfname)) {
    laufende().insert(this);
}

std::shared_ptr<DownloadGtk> DownloadGtk::uebernehmen(WebKitDownload* download, std::string pdfname) {
    std::shared_ptr<DownloadGtk> neu{new DownloadGtk{download, std::move(pdfname)}};
    neu->selbst_ = neu;
    neu->verbinden();
    return neu;
}

void DownloadGtk::alleBeenden() {
    auto const betroffene = laufende(); // Each leaves the set when it goes.
    for (auto* const einer : betroffene) {
        auto const halter = std::exchange(einer->selbst_, nullptr);
        g_signal_handlers_disconnect_by_data(einer->download_.get(), einer);
        webkit_download_cancel(einer->download_.get());
        einer->scheitern("Quillmate wurde beendet.");
    }
}

DownloadGtk::~DownloadGtk() {
    laufende().erase(this);
    g_signal_handlers_disconnect_by_data(download_.get(), this);
}

void DownloadGtk::verbinden() {
    g_signal_connect(download_.get(), "decide-destination", G_CALLBACK(Signale::ziel), this);
    g_signal_connect(download_.get(), "received-data", G_CALLBACK(Signale::erhalten), this);
    g_signal_connect(download_.get(), "failed", G_CALLBACK(Signale::gescheitert), this);
    g_signal_connect(download_.get(), "finished", G_CALLBACK(Signale::ende), this);
}

void DownloadGtk::empfaenger(Empfaenger empfaenger) {
    empfaenger_ = std::move(empfaenger);
}

void DownloadGtk::abbrechen() {
    if (beendet_)
        return;
    webkit_download_cancel(download_.get());
    scheitern("Vom Nutzer abgebrochen.");
}

std::string DownloadGtk::adresse() const {
    auto* const anfrage = webkit_download_get_request(download_.get());
    return anfrage ? textVon(webkit_uri_request_get_uri(anfrage)) : std::string{};
}

bool DownloadGtk::unvollstaendig() const {
    auto* const antwort = webkit_download_get_response(download_.get());
    auto* const kopf = antwort ? webkit_uri_response_get_http_headers(antwort) : nullptr;
    // A compressed body is counted after unpacking, and a chunked one announces no length.
    if (!kopf || soup_message_headers_get_one(kopf, "Content-Encoding") ||
        soup_message_headers_get_encoding(kopf) != SOUP_ENCODING_CONTENT_LENGTH)
        return false;
    auto const angekuendigt = static_cast<guint64>(soup_message_headers_get_content_length(kopf));
    return webkit_download_get_received_data_length(download_.get()) < angekuendigt;
}

std::uint64_t DownloadGtk::angekuendigt() const {
    auto* const antwort = webkit_download_get_response(download_.get());
    return antwort ? webkit_uri_response_get_content_length(antwort) : 0;
}

bool DownloadGtk::darfWeiter(std::uint64_t bytes) {
    if (beendet_ || !empfaenger_.fortschritt)
        return !beendet_;
    auto const grund = empfaenger_.fortschritt(bytes, angekuendigt());
    if (!grund)
        return true;
    webkit_download_cancel(download_.get());
    scheitern(*grund);
    return false;
}

bool DownloadGtk::nameBesorgen() {
    auto ziel = empfaenger_.ziel ? empfaenger_.ziel(vorschlag_) : std::nullopt;
    name_.reset();
    if (ziel)
        name_.emplace(std::move(*ziel));
    return name_.has_value();
}

void DownloadGtk::abschliessen() {
    if (teil_.empty())
        scheitern("Der Server hat keine Datei geschickt.");
    else if (unvollstaendig())
        scheitern("Die Verbindung ist vor dem Ende der Datei abgebrochen.");
    else
        ablegen();
}

void DownloadGtk::ablegen() {
    for (int versuch = 0; versuch < hoechsteNamen; ++versuch) {
        switch (name_->ablegen(teil_)) {
        case Namensanspruch::Ausgang::abgelegt:
            beendet_ = true;
            if (empfaenger_.fertig)
                empfaenger_.fertig();
            return;
        case Namensanspruch::Ausgang::vergeben:
            if (nameBesorgen())
                break;
            beendet_ = true; // As at the first question.
            teilEntfernen();
            return;
        case Namensanspruch::Ausgang::gescheitert:
            scheitern(textVon(g_strerror(errno)));
            return;
        case Namensanspruch::Ausgang::verloren:
            teil_.clear(); // What lies there is somebody else's.
            scheitern("Die Datei wurde währenddessen von einem anderen Programm gelöscht.");
            return;
        }
    }
    scheitern("Ein anderes Programm hat der Datei ihren Namen weggenommen.");
}

void DownloadGtk::scheitern(std::string const& beschreibung) {
    if (std::exchange(beendet_, true))
        return;
    teilEntfernen();
    if (empfaenger_.fehlgeschlagen)
        empfaenger_.fehlgeschlagen(beschreibung);
}

void DownloadGtk::teilEntfernen() {
    if (teil_.empty())
        return;
    g_unlink(teil_.c_str());
    g_unlink((teil_ + engineendung).c_str());
}

} // namespace quillmate::adapter::gtk
