// Who is asked to come to the front, on a real session bus. The programs on it are children of the test, which itself
// touches neither bus nor GLib: one process is one program, and its environment is what it was started with.
#include "adapter/gtk/glib_halter.h"
#include "adapter/gtk/laufende_programme_bus.h"
#include "werkzeug/anzeige.h"
#include "werkzeug/warten.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

using werkzeug::wartenBis;

constexpr char const* hauptbau = "de.tandemwerk.quillmate";
constexpr char const* demobau = "de.tandemwerk.quillmate.demo-zwei";

using Umgebung = std::map<std::string, std::string>;

/// What a child's work says to the parent, a line each.
class Leitung {
public:
    explicit Leitung(int rohr)
        : rohr_(rohr) {}
    void zeile(std::string text) const {
        text += '\n';
        if (::write(rohr_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            ::_exit(1);
    }

private:
    int rohr_;
};

/// A process that does `arbeit` and then ends; at the latest with this object.
class Kind {
public:
    Kind(Umgebung const& umgebung, std::function<void(Leitung const&)> const& arbeit) {
        std::array<int, 2> rohr{};
        if (::pipe2(rohr.data(), O_CLOEXEC) != 0)
            throw std::runtime_error{"pipe2"};
        pid_t const eltern = ::getpid();
        nummer_ = ::fork();
        if (nummer_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::getppid() != eltern)
                ::_exit(1);
            for (auto const& [name, wert] : umgebung)
                ::setenv(name.c_str(), wert.c_str(), 1);
            arbeit(Leitung{rohr[1]});
            ::_exit(0);
        }
        ::close(rohr[1]);
        rohr_ = rohr[0];
        ::fcntl(rohr_, F_SETFL, O_NONBLOCK);
        if (nummer_ < 0)
            throw std::runtime_error{"fork"};
    }
    ~Kind() {
        ::kill(nummer_, SIGKILL);
        ::waitpid(nummer_, nullptr, 0);
        ::close(rohr_);
    }
    Kind(Kind const&) = delete;
    Kind& operator=(Kind const&) = delete;

    /// All that it has said so far.
    [[nodiscard]] std::string const& gesagt() {
        std::array<char, 4096> stueck{};
        for (ssize_t n = 0; (n = ::read(rohr_, stueck.data(), stueck.size())) > 0;)
            gesagt_.append(stueck.data(), static_cast<std::size_t>(n));
        return gesagt_;
    }
    /// Waits until it has said a line that begins like this, and gives that back.
    [[nodiscard]] std::optional<std::string> warteAuf(std::string_view beginn) {
        std::optional<std::string> gefunden;
        (void)wartenBis([&] {
            auto const alles = '\n' + gesagt();
            auto const anfang = alles.find('\n' + std::string{beginn});
            auto const ende = anfang == std::string::npos ? anfang : alles.find('\n', anfang + 1);
            if (ende != std::string::npos)
                gefunden = alles.substr(anfang + 1, ende - anfang - 1);
            return gefunden.has_value();
        });
        return gefunden;
    }

private:
    pid_t nummer_{-1};
    int rohr_{-1};
    std::string gesagt_;
};

bool nimmNamen(GDBusConnection* bus, char const* name) {
    auto* const antwort = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", name, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (antwort)
        g_variant_unref(antwort);
    return antwort != nullptr;
}

enum class Nachbarart { antwortet, schweigt };

/// A running program: owns the name, and says "bereit" and then each call of org.freedesktop.Application with its values.
void nachbar(Leitung const& leitung, char const* name, char const* pfad, Nachbarart art) {
    auto const bus = adapter::gtk::Objekt<GDBusConnection>::uebernommen(
        g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    auto* const kunde = g_dbus_node_info_new_for_xml(
        "<node><interface name='org.freedesktop.Application'>"
        "<method name='Activate'><arg type='a{sv}' direction='in'/></method>"
        "<method name='Open'><arg type='as' direction='in'/><arg type='a{sv}' direction='in'/></method>"
        "</interface></node>",
        nullptr);
    struct Lage {
        Leitung const& leitung;
        Nachbarart art;
    } lage{leitung, art};
    GDBusInterfaceVTable const tabelle{
        .method_call =
            [](GDBusConnection*, char const*, char const*, char const*, char const* was, GVariant* werte,
               GDBusMethodInvocation* anruf, gpointer daten) {
                auto const& [ausgang, wie] = *static_cast<Lage*>(daten);
                ausgang.zeile(
                    was + adapter::gtk::textVon(adapter::gtk::GText{g_variant_print(werte, FALSE)}.get()));
                if (wie == Nachbarart::antwortet)
                    g_dbus_method_invocation_return_value(anruf, nullptr);
            },
        .get_property = nullptr,
        .set_property = nullptr,
        .padding = {}};
    g_dbus_connection_register_object(
        bus.get(), pfad, g_dbus_node_info_lookup_interface(kunde, "org.freedesktop.Application"), &tabelle,
        &lage, nullptr, nullptr);
    if (nimmNamen(bus.get(), name))
        leitung.zeile("bereit");
    while (true)
        g_main_context_iteration(nullptr, TRUE);
}

class LaufendeProgrammeAmBus : public testing::Test {
protected:
    [[nodiscard]] Umgebung sitzung(Umgebung weitere = {}) const {
        weitere.emplace("DBUS_SESSION_BUS_ADDRESS", anzeige.bus());
        return weitere;
    }
    [[nodiscard]] std::unique_ptr<Kind> starte(
        char const* name, char const* pfad, Nachbarart art = Nachbarart::antwortet) const {
        auto neues = std::make_unique<Kind>(
            sitzung(), [&](Leitung const& leitung) { nachbar(leitung, name, pfad, art); });
        EXPECT_TRUE(neues->warteAuf("bereit"));
        return neues;
    }
    /// What a start that looks for the main build is told: "gefunden" or "niemand".
    static std::string suche(
        Umgebung const& umgebung, std::optional<std::string> const& zuOeffnen = {},
        char const* gesucht = hauptbau, char const* eigenerName = nullptr) {
        Kind start{umgebung, [&](Leitung const& leitung) {
                       auto const bus = adapter::gtk::Objekt<GDBusConnection>::uebernommen(
                           eigenerName ? g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr) : nullptr);
                       if (eigenerName && !nimmNamen(bus.get(), eigenerName))
                           return;
                       bool const gefunden = adapter::gtk::LaufendeProgrammeBus{zuOeffnen}.aktivieren(
                           [&](std::string_view kennung) { return kennung == gesucht; });
                       leitung.zeile(gefunden ? "gefunden" : "niemand");
                   }};
        EXPECT_TRUE(wartenBis([&] { return start.gesagt().ends_with('\n'); }));
        return start.gesagt().substr(0, start.gesagt().find('\n'));
    }

    werkzeug::Anzeige anzeige;
};

TEST_F(LaufendeProgrammeAmBus, WithoutAnotherProgramNobodyIsFound) {
    EXPECT_EQ(suche(sitzung()), "niemand");
}

TEST_F(LaufendeProgrammeAmBus, TheOtherProgramIsActivatedWithWhatThisStartWasGiven) {
    auto const anderes = starte(hauptbau, "/de/tandemwerk/quillmate");
    EXPECT_EQ(
        suche(sitzung({{"XDG_ACTIVATION_TOKEN", "marke-1"}, {"DESKTOP_STARTUP_ID", "start_2"}})), "gefunden");
    EXPECT_EQ(
        anderes->warteAuf("Activate"),
        "Activate({'activation-token': <'marke-1'>, 'desktop-startup-id': <'start_2'>},)");
}

TEST_F(LaufendeProgrammeAmBus, AStartFromATerminalHasNothingToGiveAndActivatesAllTheSame) {
    auto const anderes = starte(hauptbau, "/de/tandemwerk/quillmate");
    EXPECT_EQ(
        suche(sitzung({{"XDG_ACTIVATION_TOKEN", ""}, {"DESKTOP_STARTUP_ID", "kein \xff Text"}})), "gefunden");
    EXPECT_EQ(anderes->warteAuf("Activate"), "Activate({},)");
}

TEST_F(LaufendeProgrammeAmBus, AnAddressIsHandedOverToBeOpened) {
    auto const anderes = starte(hauptbau, "/de/tandemwerk/quillmate");
    EXPECT_EQ(
        suche(sitzung({{"XDG_ACTIVATION_TOKEN", "marke-1"}}), "quillmate://anmeldung?merkmal=x"), "gefunden");
    EXPECT_EQ(
        anderes->warteAuf("Open"),
        "Open(['quillmate://anmeldung?merkmal=x'], {'activation-token': <'marke-1'>})");
    EXPECT_EQ(suche(sitzung(), "kein \xff Text"), "gefunden");
    EXPECT_TRUE(anderes->warteAuf("Activate")) << "what no program could read is not handed over";
}

TEST_F(LaufendeProgrammeAmBus, OnlyTheProgramThatIsLookedForIsAskedAtThePathOfItsName) {
    auto const haupt = starte(hauptbau, "/de/tandemwerk/quillmate");
    auto const demo = starte(demobau, "/de/tandemwerk/quillmate/demo_zwei");
    EXPECT_EQ(suche(sitzung(), {}, demobau), "gefunden");
    EXPECT_TRUE(demo->warteAuf("Activate"));
    EXPECT_EQ(suche(sitzung(), {}, "de.tandemwerk.anderes"), "niemand");
    EXPECT_EQ(haupt->gesagt(), "bereit\n");
}

TEST_F(LaufendeProgrammeAmBus, TheOwnNameIsNoOtherProgram) {
    EXPECT_EQ(suche(sitzung(), {}, hauptbau, hauptbau), "niemand");
}

TEST_F(LaufendeProgrammeAmBus, AProgramThatDoesNotAnswerHoldsTheStartUpForAFewSeconds) {
    auto const stummes = starte(hauptbau, "/de/tandemwerk/quillmate", Nachbarart::schweigt);
    auto const vorher = std::chrono::steady_clock::now();
    EXPECT_EQ(suche(sitzung()), "gefunden");
    EXPECT_TRUE(stummes->warteAuf("Activate"));
    // GLib alone would wait for 25 seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - vorher, std::chrono::seconds{12});
}

TEST_F(LaufendeProgrammeAmBus, AProgramThatCannotComeForwardIsFoundAllTheSame) {
    auto const ohneObjekt = starte(hauptbau, "/anderswo");
    EXPECT_EQ(suche(sitzung()), "gefunden");
    EXPECT_EQ(ohneObjekt->gesagt(), "bereit\n");
}

TEST_F(LaufendeProgrammeAmBus, WithoutABusNobodyIsFound) {
    for (auto const* const adresse : {"unix:path=/gibt/es/nicht", "tcp:host=127.0.0.1,port=1", "unsinn"})
        EXPECT_EQ(suche({{"DBUS_SESSION_BUS_ADDRESS", adresse}}), "niemand") << adresse;
}

} // namespace
} // namespace quillmate::adapter::gtk
