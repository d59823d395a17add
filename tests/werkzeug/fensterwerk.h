#pragma once

#include "ports/programmfenster.h"
#include "ports/webansicht.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::werkzeug {

class WebansichtAttrappe;

/// The origin of a web page's address that is written as engines write them.
inline std::string ursprungVon(std::string const& adresse) {
    auto const anfang = adresse.find("://");
    return anfang == std::string::npos ? "null" : adresse.substr(0, adresse.find_first_of("/?#", anfang + 3));
}

/// Says what has been done to views and windows, in order, and keeps those that are gone apart from those that live.
struct Buch {
    std::vector<std::string> zeilen;
    std::set<std::uint64_t> gesten; ///< Used up.
    void schreibe(std::string zeile) { zeilen.push_back(std::move(zeile)); }
};

/// A view that loads nothing: it records what it is told, and a test speaks to its receiver as an engine would.
class WebansichtAttrappe final : public ports::Webansicht {
public:
    WebansichtAttrappe(std::string name, Empfaenger& empfaenger, std::shared_ptr<Buch> buch)
        : name_(std::move(name))
        , empfaenger_(&empfaenger)
        , buch_(std::move(buch)) {}
    ~WebansichtAttrappe() override { buch_->schreibe(name_ + " weg"); }

    void laden(std::string const& adresse, std::chrono::seconds frist) override {
        buch_->schreibe(name_ + " laden " + adresse + " " + std::to_string(frist.count()));
        adresse_ = adresse;
    }
    void ladenHtml(std::string const& html) override {
        buch_->schreibe(name_ + " ladenHtml");
        htmls.push_back(html);
        adresse_.reset();
    }
    void ladenErsatz(std::string const& html, std::string const& adresse) override {
        buch_->schreibe(name_ + " ladenErsatz " + adresse);
        htmls.push_back(html);
        adresse_ = adresse;
    }
    void neuLaden() override { buch_->schreibe(name_ + " neuLaden"); }
    void anhalten() override { buch_->schreibe(name_ + " anhalten"); }
    [[nodiscard]] bool kannZurueck() const override { return verlauf; }
    bool anfrageUebernehmen() override {
        buch_->schreibe(name_ + " anfrageUebernehmen");
        return true;
    }
    [[nodiscard]] bool gesichert() const override {
        return gesicherteSeiten && dokument_.dokument.starts_with("https:");
    }
    void zurueck() override { buch_->schreibe(name_ + " zurueck"); }
    void vorwaerts() override { buch_->schreibe(name_ + " vorwaerts"); }
    [[nodiscard]] std::optional<std::string> adresse() const override { return adresse_; }
    [[nodiscard]] ports::Absender dokument() const override { return dokument_; }
    void skript(std::string const& quelltext) override {
        skripte.push_back(quelltext);
        if (beimSkript)
            beimSkript(quelltext);
    }
    /// Each number counts once.
    bool gesteVerbrauchen(std::uint64_t geste) override {
        return geste != 0 && buch_->gesten.insert(geste).second;
    }
    /// Keeps the call, if the document is the one that is shown.
    void zustellen(std::uint64_t dokument, std::string const& funktion, std::string const& werte) override {
        if (dokument == dokument_.nummer)
            zustellungen.push_back({funktion, werte});
    }
    void rufen(
        std::string const& rumpf, std::map<std::string, std::string> const& werte,
        Skriptantwort antwort) override {
        rufe.push_back({rumpf, werte, std::move(antwort)});
    }
    void anmeldedatenLoeschen(
        std::string const& wirt, std::function<void(std::optional<std::size_t>)> fertig) override {
        buch_->schreibe(name_ + " anmeldedatenLoeschen " + wirt);
        geloescht = std::move(fertig);
    }
    std::function<void(std::optional<std::size_t>)> geloescht;
    void drucken(ports::Programmfenster& fenster) override {
        buch_->schreibe(name_ + " drucken");
        druckfenster = &fenster;
    }

    [[nodiscard]] Empfaenger& empfaenger() const { return *empfaenger_; }
    /// As when a document is committed: the next number, and this address.
    ports::Absender const& zeige(std::string adresse) {
        dokument_ = {
            .ursprung = ursprungVon(adresse), .dokument = std::move(adresse), .nummer = dokument_.nummer + 1};
        return dokument_;
    }
    /// As when the process that renders has died: no document.
    void stirb() { zeige({}); }
    void setzeAdresse(std::optional<std::string> adresse) { adresse_ = std::move(adresse); }

    struct Ruf {
        std::string rumpf;
        std::map<std::string, std::string> werte;
        ports::Webansicht::Skriptantwort antwort;
    };
    bool verlauf{false};
    bool gesicherteSeiten{
        true}; ///< What stands at https addresses comes from there; otherwise it is a page of ours.
    std::vector<std::string> htmls;
    std::vector<std::string> skripte;
    struct Zustellung {
        std::string funktion;
        std::string werte;
        friend bool operator==(Zustellung const&, Zustellung const&) = default;
    };
    std::vector<Zustellung> zustellungen;
    std::vector<Ruf> rufe;
    std::function<void(std::string const&)> beimSkript;
    ports::Programmfenster* druckfenster{nullptr};

private:
    std::string const name_;
    Empfaenger* const empfaenger_;
    std::shared_ptr<Buch> const buch_;
    std::optional<std::string> adresse_;
    ports::Absender dokument_{.ursprung = "null", .dokument = {}, .nummer = 0};
};

/// A window without a screen.
class ProgrammfensterAttrappe final : public ports::Programmfenster {
public:
    ProgrammfensterAttrappe(
        std::string name, ports::Fenstermasse const& gewuenscht, std::shared_ptr<Buch> buch)
        : masse(gewuenscht)
        , name_(std::move(name))
        , buch_(std::move(buch)) {}
    ~ProgrammfensterAttrappe() override { buch_->schreibe(name_ + " weg"); }

    void titel(std::string const& text) override { buch_->schreibe(name_ + " titel " + text); }
    void inhalt(ports::Webansicht& web) override {
        buch_->schreibe(name_ + " inhalt");
        ansicht = &web;
    }
    void groesseMerken(std::string const& name) override {
        buch_->schreibe(name_ + " groesseMerken " + name);
    }
    void zeigen() override {
        buch_->schreibe(name_ + " zeigen");
        sichtbar_ = true;
    }
    void schliessen() override {
        if (!std::exchange(sichtbar_, false))
            return;
        buch_->schreibe(name_ + " schliessen");
        if (beimSchliessen_)
            beimSchliessen_();
    }
    [[nodiscard]] bool sichtbar() const override { return sichtbar_; }
    void beimSchliessen(std::function<void()> rueckruf) override { beimSchliessen_ = std::move(rueckruf); }

    void fusszeile(std::optional<ports::Fusszeile> zeile) override { fuss = std::move(zeile); }

    std::optional<ports::Fusszeile> fuss;
    ports::Fenstermasse const masse;
    ports::Webansicht* ansicht{nullptr};

private:
    std::string const name_;
    std::shared_ptr<Buch> const buch_;
    bool sichtbar_{false};
    std::function<void()> beimSchliessen_;
};

/// Makes the two above. The pointers in the lists stay valid as long as their owner keeps the objects.
class FensterwerkAttrappe final : public ports::Fensterwerk {
public:
    [[nodiscard]] std::unique_ptr<ports::Webansicht> webansicht(
        ports::Webansicht::Einrichtung einrichtung, ports::Webansicht::Empfaenger& empfaenger) override {
        einrichtungen.push_back(std::move(einrichtung));
        return verwandte(empfaenger);
    }
    [[nodiscard]] std::unique_ptr<ports::Programmfenster> fenster(ports::Fenstermasse const& masse) override {
        auto const name = "fenster" + std::to_string(fensters.size() + 1);
        buch->schreibe(name + " neu");
        auto neues = std::make_unique<ProgrammfensterAttrappe>(name, masse, buch);
        fensters.push_back(neues.get());
        return neues;
    }
    /// A view that takes its setup from another one.
    std::unique_ptr<ports::Webansicht> verwandte(ports::Webansicht::Empfaenger& empfaenger) {
        auto const name = "web" + std::to_string(ansichten.size() + 1);
        buch->schreibe(name + " neu");
        auto neue = std::make_unique<WebansichtAttrappe>(name, empfaenger, buch);
        ansichten.push_back(neue.get());
        return neue;
    }

    std::shared_ptr<Buch> buch{std::make_shared<Buch>()};
    std::vector<ports::Webansicht::Einrichtung> einrichtungen;
    std::vector<WebansichtAttrappe*> ansichten;
    std::vector<ProgrammfensterAttrappe*> fensters;
};

} // namespace quillmate::werkzeug
