#include "speicherhaken.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace quillmate::haken {

namespace {

std::atomic<bool> scharf{false};
std::atomic<bool> dauerhaft{false};
std::atomic<std::int64_t> uebrig{0};
std::atomic<std::int64_t> abgelehnt{0};
thread_local bool verschont = false;

bool verweigern() noexcept {
    if (!scharf || verschont)
        return false;
    auto const rest = uebrig--;
    if (rest > 0 || (rest < 0 && !dauerhaft))
        return false;
    ++abgelehnt;
    return true;
}

} // namespace

Speichernot::Speichernot(Wen wen, std::int64_t davor, bool fuerImmer) {
    verschont = wen == Wen::andereFaeden;
    dauerhaft = fuerImmer;
    uebrig = davor;
    abgelehnt = 0;
    scharf = true;
}

Speichernot::~Speichernot() {
    scharf = false;
    verschont = false;
}

std::int64_t Speichernot::verweigerte() {
    return abgelehnt;
}

} // namespace quillmate::haken

// All forms, because a sanitizer brings its own of those that are not defined here.
void* operator new(std::size_t groesse) {
    void* const speicher = quillmate::haken::verweigern() ? nullptr : std::malloc(groesse > 0 ? groesse : 1);
    if (speicher == nullptr)
        throw std::bad_alloc{};
    return speicher;
}

void operator delete(void* speicher) noexcept {
    std::free(speicher);
}

void operator delete(void* speicher, std::size_t /*groesse*/) noexcept {
    std::free(speicher);
}

void* operator new[](std::size_t groesse) {
    return ::operator new(groesse);
}

void* operator new(std::size_t groesse, std::nothrow_t const& /*kennzeichen*/) noexcept {
    try {
        return ::operator new(groesse);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void* operator new[](std::size_t groesse, std::nothrow_t const& kennzeichen) noexcept {
    return ::operator new(groesse, kennzeichen);
}

void operator delete[](void* speicher) noexcept {
    std::free(speicher);
}

void operator delete[](void* speicher, std::size_t /*groesse*/) noexcept {
    std::free(speicher);
}
