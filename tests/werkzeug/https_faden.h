#pragma once

#include "https_attrappe.h"

#include <glib.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace quillmate::werkzeug {

/// HttpsAttrappe in a thread and a main loop of its own, for tests whose own thread waits for windows.
/// Threads: any, one at a time.
class HttpsFaden {
public:
    /// `ausweis` as HttpsAttrappe takes it.
    explicit HttpsFaden(std::string const& ausweis)
        : faden_([this, ausweis] { bediene(ausweis); }) {
        offen_.get_future().get();
    }
    ~HttpsFaden() {
        g_main_loop_quit(schleife_);
        faden_.join();
        g_main_loop_unref(schleife_);
        g_main_context_unref(kontext_);
    }
    HttpsFaden(HttpsFaden const&) = delete;
    HttpsFaden& operator=(HttpsFaden const&) = delete;

    [[nodiscard]] std::string adresse(std::string const& pfad) const { return server_->adresse(pfad); }
    void seite(std::string const& pfad, HttpsAttrappe::Seite seite) {
        tue([&] { server_->seite(pfad, std::move(seite)); });
    }
    [[nodiscard]] long anzahl(std::string const& anfrage) {
        long ergebnis = 0;
        tue([&] { ergebnis = server_->anzahl(anfrage); });
        return ergebnis;
    }

private:
    void bediene(std::string const& ausweis) {
        g_main_context_push_thread_default(kontext_);
        try {
            server_ = std::make_unique<HttpsAttrappe>(ausweis);
            offen_.set_value();
        } catch (...) {
            offen_.set_exception(std::current_exception());
        }
        g_main_loop_run(schleife_);
        server_.reset();
        g_main_context_pop_thread_default(kontext_);
    }
    /// On the server's thread.
    void tue(std::function<void()> const& arbeit) {
        struct Auftrag {
            std::function<void()> const& arbeit;
            std::promise<void> getan;
        } auftrag{arbeit, {}};
        g_main_context_invoke(
            kontext_,
            [](gpointer zeiger) -> gboolean {
                auto& meiner = *static_cast<Auftrag*>(zeiger);
                meiner.arbeit();
                meiner.getan.set_value();
                return G_SOURCE_REMOVE;
            },
            &auftrag);
        auftrag.getan.get_future().wait();
    }

    GMainContext* const kontext_{g_main_context_new()};
    GMainLoop* const schleife_{g_main_loop_new(kontext_, FALSE)};
    std::unique_ptr<HttpsAttrappe> server_;
    std::promise<void> offen_;
    std::thread faden_;
};

} // namespace quillmate::werkzeug
