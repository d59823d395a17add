#pragma once

#include "netz/vermittler.h"

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

namespace quillmate::adapter::gtk {

/// The desktop's proxy settings, automatic configuration included: the same that the web engine follows.
/// Threads: any; asking may block while a configuration script is fetched.
class VermittlersucheGio final : public netz::Vermittlersuche {
public:
    /// `finder`: who knows; the desktop's own by default. A reference is taken.
    explicit VermittlersucheGio(GProxyResolver* finder = g_proxy_resolver_get_default());
    [[nodiscard]] std::vector<std::string> fuer(Ursprung const& ziel) override;

private:
    std::unique_ptr<GProxyResolver, decltype(&g_object_unref)> finder_;
};

} // namespace quillmate::adapter::gtk
