#pragma once

#include <memory>
#include <string>

namespace quillmate::werkzeug {

/// The desktop's settings as programs ask the session bus for them: whether people want it dark.
/// Threads: any; it answers on one of its own.
class Einstellungsportal {
public:
    /// `bus`: address of the session bus, where no portal runs yet.
    explicit Einstellungsportal(std::string const& bus);
    ~Einstellungsportal();
    Einstellungsportal(Einstellungsportal const&) = delete;
    Einstellungsportal& operator=(Einstellungsportal const&) = delete;

    /// Changes it and tells everybody who listens.
    void dunkel(bool ja);

private:
    struct Dienst;
    std::unique_ptr<Dienst> dienst_;
};

} // namespace quillmate::werkzeug
