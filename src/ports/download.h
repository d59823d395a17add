#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quillmate::ports {

/// Port: one file on its way from a web view to disk.
/// The adapter writes to a temporary name in the destination's folder and gives the file its own name only when it is
/// complete: a body shorter than the server announced is a failure, and what was written of it is removed.
/// Threads: main thread.
/// Ownership: lives until `fertig` or `fehlgeschlagen` has been called, exactly one of them, once.
class Download {
public:
    struct Empfaenger {
        /// Asked before the first byte, and again at the end when somebody else has put something there meanwhile.
        /// `vorschlag` is a name from the network, already reduced to one safe path component (may be empty). Answers
        /// with the absolute path of a file that does not exist, or of an empty one that was made for this download and
        /// that its maker takes away again should the download fail; nothing cancels it without a further word.
        std::function<std::optional<std::string>(std::string const& vorschlag)> ziel;
        /// Asked whenever bytes have arrived, and once before the first: how many there are and how many will come in all
        /// (0: not known). An answer ends the download, which fails with it as its description.
        std::function<std::optional<std::string>(std::uint64_t bytes, std::uint64_t gesamt)> fortschritt{};
        std::function<void()> fertig;
        /// `beschreibung` is for people, in German where the engine has it so.
        std::function<void(std::string const& beschreibung)> fehlgeschlagen;
    };

    virtual ~Download() = default;
    /// Who hears of this download. To be set in Webansicht::Empfaenger::heruntergeladen().
    virtual void empfaenger(Empfaenger empfaenger) = 0;
    /// As when a person ends it: it fails, and nothing of it is left. Nothing when it has ended.
    virtual void abbrechen() = 0;
    /// The address that it comes from.
    [[nodiscard]] virtual std::string adresse() const = 0;
};

} // namespace quillmate::ports
