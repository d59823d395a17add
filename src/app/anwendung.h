#pragma once

#include "aktualisierung/aktualisierung.h"
#include "aktualisierung/bezug.h"
#include "anmeldung/anmeldung.h"
#include "anmeldung/browseranmeldung.h"
#include "app/umgebung.h"
#include "fenster/fenster.h"
#include "leserprozess/leser_prozesse.h"
#include "macscan/dienst.h"
#include "macscan/suche.h"
#include "ordner/merkliste.h"
#include "plattform/uhr.h"
#include "plattform/wolke.h"
#include "plattform_gtk/adressdialog_gtk.h"
#include "plattform_gtk/aktualisierungsanzeige_gtk.h"
#include "plattform_gtk/anwendung_gtk.h"
#include "plattform_gtk/dialoge_gtk.h"
#include "plattform_gtk/fensterwerk_gtk.h"
#include "plattform_gtk/hauptschleife_gtk.h"
#include "plattform_gtk/portalleiste_gtk.h"
#include "plattform_gtk/standardprogramm_gio.h"
#include "plattform_gtk/warteblatt_gtk.h"
#include "plattform_gtk/web_sitzung.h"
#include "plattform_linux/arbeitsfaden_linux.h"
#include "plattform_linux/buendel.h"
#include "plattform_linux/dateiwerk_linux.h"
#include "plattform_linux/einbau_linux.h"
#include "plattform_linux/lesezeichen_inode.h"
#include "plattform_linux/menueeintrag_linux.h"
#include "plattform_linux/neustart_linux.h"
#include "plattform_linux/schemahandler.h"
#include "plattform_linux/standardorte_xdg.h"
#include "plattform_linux/voreinstellungen_plist.h"
#include "portal/ablage.h"
#include "portal/belegversand.h"
#include "portal/portaladresse.h"
#include "texterkennung/texterkennung.h"
#include "texterkennung/zwischenspeicher.h"
#include "umzug/umzug.h"

#include <memory>
#include <optional>
#include <string>

namespace quillmate {

/// The program with its window: makes everything, in the order in which it depends on each other, and lets it go in the
/// opposite one. Made once per process, after the diagnostic modes and the lock.
/// Threads: main thread.
class Anwendung {
public:
    /// `vorher`: see Umgebung::einrichten(). `eigeneProbe`: see plattform::selbstprobe().
    Anwendung(Umgebung::Vorher vorher, Deskriptor eigeneProbe);
    ~Anwendung();
    Anwendung(Anwendung const&) = delete;
    Anwendung& operator=(Anwendung const&) = delete;

    /// Runs until the last window has closed or the user quits; the process's exit status.
    int laufen();

private:
    /// What searches work with; no window, no network, no engine before the first search.
    struct Suchwelt {
        explicit Suchwelt(
            plattform::Voreinstellungen& voreinstellungen, plattform::Standardorte& standardorte);

        plattform::LesezeichenInode lesezeichen;
        Ordner::Merkliste merkliste;
        plattform::SystemUhr uhr;
        plattform::ArbeitsfadenLinux arbeitsfaden;
        plattform::KeineWolke wolke;
        Texterkennung::LeserProzesse leser;
        Texterkennung::Zwischenspeicher speicher;
        Texterkennung::Erkenner erkenner;
        MacScan::Dienst dienst;
        MacScan::Suche suche; ///< Last member: its threads use all others.
    };

    void gestartet();
    void adresseErhalten(std::string const& adresse);
    void menueBauen();
    [[nodiscard]] Umzugslage umzugslage();

    std::optional<plattform::Buendel> const buendel_;
    std::string const kennung_;
    plattform::VoreinstellungenPlist voreinstellungen_;
    plattform::StandardorteXdg standardorte_;
    plattform::BuendelkundeLinux buendelkunde_;
    plattform::gtk::AnwendungGtk oberflaeche_;
    plattform::gtk::HauptschleifeGtk schleife_;
    plattform::gtk::DialogeGtk dialoge_;
    plattform::gtk::OrdnertafelGtk ordnertafel_;
    plattform::gtk::StandardprogrammGio standardprogramm_;
    plattform::DateiwerkLinux dateiwerk_;
    plattform::MenueeintragLinux menueeintrag_;
    plattform::NeustartLinux neustart_;
    Umzug::Umzieher umzieher_;
    Suchwelt suchwelt_;
    plattform::EinbauLinux einbau_;
    plattform::gtk::AktualisierungsanzeigeGtk aktualisierungsanzeige_;
    Aktualisierung::NetzLader lader_;
    Aktualisierung::Aktualisierung aktualisierer_;
    plattform::Schemahandler schemahandler_; ///< Brings our addresses back from the browser.
    plattform::gtk::WarteblattwerkGtk warteblaetter_;
    Browseranmeldung browseranmeldung_;
    Anmeldung anmeldung_;
    plattform::gtk::AdressdialogGtk adressdialog_;
    PortalAdresse portaladresse_;
    plattform::gtk::PortalleistenwerkGtk portalleisten_;
    Portalablage portalablage_;
    Belegversand belegversand_;
    std::optional<plattform::gtk::WebSitzungen> sitzungen_; ///< From the start of the desktop on.
    std::optional<plattform::gtk::FensterwerkGtk> werk_;
    std::unique_ptr<Fenster> haupt_; ///< Empty until it is clear that the program stays where it is.
};

} // namespace quillmate
