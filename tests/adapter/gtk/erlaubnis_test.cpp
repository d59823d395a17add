// What pages may not, however they ask: the answer is no, at once, and nobody is asked.
#include "echte_webansicht.h"

#include <algorithm>

namespace quillmate::adapter::gtk {
namespace {

class EchteErlaubnis : public EchteWebansicht {
protected:
    EchteErlaubnis() {
        oeffnen(); // Before, the engine does not know the signal.
        signal_ = g_signal_lookup("permission-request", WEBKIT_TYPE_WEB_VIEW);
        haken_ = g_signal_add_emission_hook(
            signal_, 0,
            [](GSignalInvocationHint*, guint, GValue const* werte, gpointer daten) -> gboolean {
                static_cast<EchteErlaubnis*>(daten)->gefragt.emplace_back(
                    G_OBJECT_TYPE_NAME(g_value_get_object(werte + 1)));
                return TRUE;
            },
            this, nullptr);
    }
    ~EchteErlaubnis() override { g_signal_remove_emission_hook(signal_, haken_); }

    /// The windows of this process.
    static guint alleFenster() { return g_list_model_get_n_items(gtk_window_get_toplevels()); }

    std::vector<std::string> gefragt; ///< The engine's types of requests.

private:
    guint signal_{0};
    gulong haken_{0};
};

struct Wunsch {
    std::string_view frage; ///< A script that tells what came of it.
    std::string_view antwort;
    std::string_view anfrage;  ///< What the engine asks the view; empty where it refuses by itself.
    bool auchVonSelbst{false}; ///< A newer engine refuses by itself.
};

TEST_F(EchteErlaubnis, WhatAPageAsksForIsDeniedAtOnceAndNobodyIsAsked) {
    laden("/");
    auto const fensterVorher = alleFenster();
    for (
        auto const& [frage, antwort, anfrage, auchVonSelbst] : {
            Wunsch{
                .frage = "await new Promise(auf => navigator.geolocation.getCurrentPosition("
                         "() => auf('hier'), f => auf(f.code === f.PERMISSION_DENIED)))",
        .antwort = "true",
        .anfrage = "WebKitGeolocationPermissionRequest"},
            Wunsch{
                .frage = "await Notification.requestPermission()",
         .antwort = "denied",
         .anfrage = "WebKitNotificationPermissionRequest"},
            Wunsch{
                .frage = "await navigator.clipboard.readText().catch(f => f.name)",
         .antwort = "NotAllowedError",
         .anfrage = "WebKitClipboardPermissionRequest",
         .auchVonSelbst = true},
            Wunsch{
                .frage = "await new Promise(auf => { document.onpointerlockchange = () => auf('gefangen');"
                         "document.onpointerlockerror = () => auf('nein');"
                         "document.body.requestPointerLock(); })",
         .antwort = "nein",
         .anfrage = "WebKitPointerLockPermissionRequest"},
            // Camera, microphone, screen, connections past the proxy: switched off, so there is nothing to ask with.
            Wunsch{
                .frage = "typeof navigator.mediaDevices + typeof RTCPeerConnection",
         .antwort = "undefinedundefined",
         .anfrage = ""},
        }) {
        SCOPED_TRACE(frage);
        gefragt.clear();
        EXPECT_EQ(wert(std::string{frage}), antwort);
        if (auchVonSelbst && gefragt.empty())
            continue;
        EXPECT_EQ(gefragt, anfrage.empty() ? std::vector<std::string>{} : std::vector{std::string{anfrage}});
    }
    EXPECT_EQ(alleFenster(), fensterVorher);
    EXPECT_EQ(wert("Notification.permission"), "denied") << "and it stays so";
    EXPECT_TRUE(mitschrift.hinweise.empty());
}

TEST_F(EchteErlaubnis, AForeignFrameIsDeniedAsThePageIs) {
    HttpAttrappe fremd{[](HttpAnfrage const&) {
        return html(
            "<script>navigator.geolocation.getCurrentPosition(() => parent.postMessage('hier', '*'),"
            "f => parent.postMessage(f.code === f.PERMISSION_DENIED ? 'nein' : 'doch', '*'))</script>");
    }};
    seiten["/rahmen"] = html(
        "<script>window.gesagt = new Promise(auf => addEventListener('message', e => auf(e.data)));"
        "</script><iframe allow=geolocation src='" +
        fremd.adresse() + "/'></iframe>");
    laden("/rahmen");
    EXPECT_EQ(wert("await window.gesagt"), "nein");
}

} // namespace
} // namespace quillmate::adapter::gtk
