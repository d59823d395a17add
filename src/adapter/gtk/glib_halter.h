#pragma once

#include <glib-object.h>

#include <memory>
#include <string>
#include <utility>

namespace quillmate::adapter::gtk {

/// Owns one reference to a GObject.
template<typename T>
class Objekt {
public:
    Objekt() noexcept = default;
    /// Takes over the reference that the caller holds.
    [[nodiscard]] static Objekt uebernommen(T* zeiger) noexcept { return Objekt{zeiger}; }
    /// Takes a reference of its own; a floating one is sunk.
    [[nodiscard]] static Objekt geteilt(T* zeiger) noexcept {
        return Objekt{zeiger ? static_cast<T*>(g_object_ref_sink(zeiger)) : nullptr};
    }
    Objekt(Objekt const& anderes) noexcept
        : zeiger_(anderes.zeiger_ ? static_cast<T*>(g_object_ref(anderes.zeiger_)) : nullptr) {}
    Objekt(Objekt&& anderes) noexcept
        : zeiger_(std::exchange(anderes.zeiger_, nullptr)) {}
    Objekt& operator=(Objekt anderes) noexcept {
        std::swap(zeiger_, anderes.zeiger_);
        return *this;
    }
    ~Objekt() {
        if (zeiger_)
            g_object_unref(zeiger_);
    }

    [[nodiscard]] T* get() const noexcept { return zeiger_; }
    explicit operator bool() const noexcept { return zeiger_ != nullptr; }

private:
    explicit Objekt(T* zeiger) noexcept
        : zeiger_(zeiger) {}
    T* zeiger_{nullptr};
};

struct GFreigabe {
    void operator()(void* zeiger) const noexcept { g_free(zeiger); }
};
/// Owns a string that GLib allocated.
using GText = std::unique_ptr<char, GFreigabe>;

struct Fehlerfreigabe {
    void operator()(GError* fehler) const noexcept { g_error_free(fehler); }
};
using GFehler = std::unique_ptr<GError, Fehlerfreigabe>;

/// The text of a C string that may be missing.
[[nodiscard]] inline std::string textVon(char const* zeiger) {
    return zeiger ? std::string{zeiger} : std::string{};
}

} // namespace quillmate::adapter::gtk
