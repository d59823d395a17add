#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace quillmate::demo::test {

/// A folder of a test's own, removed at its end.
class Hilfsordner {
public:
    Hilfsordner() {
        std::string muster = (std::filesystem::temp_directory_path() / "quillmate-demo-XXXXXX").string();
        if (::mkdtemp(muster.data()) == nullptr)
            throw std::runtime_error{"mkdtemp"};
        pfad_ = muster;
    }
    ~Hilfsordner() {
        std::error_code fehler;
        std::filesystem::remove_all(pfad_, fehler);
    }
    Hilfsordner(Hilfsordner const&) = delete;
    Hilfsordner& operator=(Hilfsordner const&) = delete;

    [[nodiscard]] std::string pfad(std::string const& name = {}) const {
        return name.empty() ? pfad_ : pfad_ + "/" + name;
    }

private:
    std::string pfad_;
};

} // namespace quillmate::demo::test
