#pragma once

#include <string>

namespace quillmate::ports {

/// Port: a cloud drive that keeps some files only on its servers and leaves placeholders in their place.
/// Threads: any.
class Wolke {
public:
    virtual ~Wolke() = default;
    /// Whether this desktop has a cloud drive that can fetch files at all.
    [[nodiscard]] virtual bool vorhanden() const = 0;
    /// Asks for the download of the file at `pfad` and returns at once. Best effort.
    virtual void anfordern(std::string const& pfad) = 0;
};

/// A desktop without such a drive.
class KeineWolke final : public Wolke {
public:
    [[nodiscard]] bool vorhanden() const override { return false; }
    void anfordern(std::string const& /*pfad*/) override {}
};

} // namespace quillmate::ports
