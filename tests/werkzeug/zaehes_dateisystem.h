#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace quillmate::werkzeug {

/// A file system that shows a folder of the test at another place, as slowly as the test wants, or not at all any more:
/// a share on a bad line, or one whose server is gone. Read only. Served by threads of this process.
/// Threads: the settings any; the rest one.
class ZaehesDateisystem {
public:
    /// Whether this machine lets this user make one; tests skip themselves otherwise.
    [[nodiscard]] static bool moeglich();

    /// Shows `quelle` at the folder `ziel`. Throws std::runtime_error when that fails.
    ZaehesDateisystem(std::string quelle, std::string ziel);
    /// Lets everything go on that hangs, and takes the file system away.
    ~ZaehesDateisystem();
    ZaehesDateisystem(ZaehesDateisystem const&) = delete;
    ZaehesDateisystem& operator=(ZaehesDateisystem const&) = delete;

    std::atomic<std::chrono::milliseconds> jeOrdner{}; ///< Before a folder is listed.
    std::atomic<std::chrono::milliseconds> jeLesung{}; ///< Before a portion of a file is read.
    std::atomic<int> ordnerGelesen{0};
    std::atomic<int> portionenGelesen{0}; ///< Of files.

    /// From now on whoever asks anything waits, until weiter().
    void haengen();
    void weiter();

private:
    struct Innen;
    std::unique_ptr<Innen> innen_;
};

} // namespace quillmate::werkzeug
