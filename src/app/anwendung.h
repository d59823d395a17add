#pragma once

#include "adapter/gtk/adressdialog_gtk.h"
#include "adapter/gtk/aktualisierungsanzeige_gtk.h"
#include "adapter/gtk/anwendung_gtk.h"
#include "adapter/gtk/dialoge_gtk.h"
#include "adapter/gtk/fensterwerk_gtk.h"
#include "adapter/gtk/hauptschleife_gtk.h"
#include "adapter/gtk/portalleiste_gtk.h"
#include "adapter/gtk/standardprogramm_gio.h"
#include "adapter/gtk/vermittlersuche_gio.h"
#include "adapter/gtk/warteblatt_gtk.h"
#include "adapter/gtk/web_sitzung.h"
#include "adapter/linux/arbeitsfaden_linux.h"
#include "adapter/linux/buendel.h"
#include "adapter/linux/dateiwerk_linux.h"
#include "adapter/linux/einbau_linux.h"
#include "adapter/linux/lesezeichen_inode.h"
#include "adapter/linux/menueeintrag_linux.h"
#include "adapter/linux/neustart_linux.h"
#include "adapter/linux/schemahandler.h"
#include "adapter/linux/standardorte_xdg.h"
#include "adapter/linux/voreinstellungen_plist.h"
#include "aktualisierung/aktualisierung.h"
#include "aktualisierung/bezug.h"
#include "anmeldung/anmeldung.h"
#include "anmeldung/browseranmeldung.h"
#include "dienst/dienst.h"
#include "fenster/fenster.h"
#include "leser/prozess/leser_prozesse.h"
#include "macscan/suche.h"
#include "ordner/merkliste.h"
#include "portal/ablage.h"
#include "portal/belegversand.h"
#include "portal/portaladresse.h"
#include "ports/uhr.h"
#include "ports/wolke.h"
#include "texterkennung/texterkennung.h"
#include "texterkennung/zwischenspeicher.h"
#include "umgebung.h"
#include "umzug/umzug.h"

#include <memory>
#include <optional>
#include <string>

namespace quillmate::app {

/// The program with its window: makes everything, in the order in which it depends on each other, and lets it go in the
/// opposite one. Made once per process, after the diagnostic modes and the lock.
/// Threads: main thread.
class Anwendung {
public:
    /// `vorher`: see Umgebung::einrichten(). `eigeneProbe`: see adapter::linux::selbstprobe().
    Anwendung(umgebung::Vorher vorher, Deskriptor eigeneProbe);
    ~Anwendung();
    Anwendung(Anwendung const&) = delete;
    Anwendung& operator=(Anwendung const&) = delete;

    /// Runs until the last window has closed or the user quits; the process's exit status.
    int laufen();

private:
    /// What searches work with; no window, no network, no engine before the first search.
    struct Suchwelt {
        explicit Suchwelt(
            ports::Voreinstellungen& voreinstellungen, ports::Standardorte& standardorte,
            netz::Vermittlersuche& vermittler);

        adapter::linux::LesezeichenInode lesezeichen;
        Ordner::Merkliste merkliste;
        ports::SystemUhr uhr;
        adapter::linux::ArbeitsfadenLinux arbeitsfaden;
        ports::KeineWolke wolke;
        leser::prozess::LeserProzesse leser;
        Texterkennung::Zwischenspeicher speicher;
        Texterkennung::Erkenner erkenner;
        dienst::Dienst dienst;
        MacScan::Suche suche; ///< Last member: its threads use all others.
    };

    void gestartet();
    void adresseErhalten(std::string const& adresse);
    void menueBauen();
    [[nodiscard]] bruecke::Umzugslage umzugslage();

    std::optional<ports::Buendel> const buendel_;
    std::string const kennung_;
    std::string const temporaererOrdner_;
    adapter::linux::VoreinstellungenPlist voreinstellungen_;
    adapter::linux::StandardorteXdg standardorte_;
    adapter::linux::BuendelkundeLinux buendelkunde_;
    adapter::gtk::AnwendungGtk oberflaeche_;
    adapter::gtk::HauptschleifeGtk schleife_;
    adapter::gtk::DialogeGtk dialoge_;
    adapter::gtk::OrdnertafelGtk ordnertafel_;
    adapter::gtk::StandardprogrammGio standardprogramm_;
    adapter::linux::DateiwerkLinux dateiwerk_;
    adapter::linux::MenueeintragLinux menueeintrag_;
    adapter::linux::NeustartLinux neustart_;
    Umzug::Umzieher umzieher_;
    adapter::gtk::VermittlersucheGio vermittler_;
    Suchwelt suchwelt_;
    adapter::linux::EinbauLinux einbau_;
    adapter::gtk::AktualisierungsanzeigeGtk aktualisierungsanzeige_;
    aktualisierung::NetzLader lader_{aktualisierung::NetzLader::Schema::nurHttps, &vermittler_};
    aktualisierung::Aktualisierung aktualisierer_;
    adapter::linux::Schemahandler schemahandler_; ///< Brings our addresses back from the browser.
    adapter::gtk::WarteblattwerkGtk warteblaetter_;
    anmeldung::Browseranmeldung browseranmeldung_;
    anmeldung::Anmeldung anmeldung_;
    adapter::gtk::AdressdialogGtk adressdialog_;
    portal::PortalAdresse portaladresse_;
    adapter::gtk::PortalleistenwerkGtk portalleisten_;
    portal::Portalablage portalablage_;
    portal::Belegversand belegversand_;
    std::optional<adapter::gtk::WebSitzungen> sitzungen_; ///< From the start of the desktop on.
    std::optional<adapter::gtk::FensterwerkGtk> werk_;
    std::unique_ptr<fenster::Fenster> haupt_; ///< Empty until it is clear that the program stays where it is.
};

} // namespace quillmate::app
