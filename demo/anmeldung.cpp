#include "anmeldung.h"

#include "grundlage/pruefsumme.h"

#include <fmt/format.h>

#include <algorithm>

namespace quillmate::demo {

Anmeldung::Anmeldung(Zugang const& zugang)
    : keksname_("quillmate_demo_" + hexadezimal(sha256("Keksname\n" + zugang.token)).substr(0, 12))
    , kekswert_(hexadezimal(sha256("Sitzung\n" + zugang.token))) {}

std::string Anmeldung::ausstellen(Zeitpunkt jetzt) {
    auto text = zufallstext();
    std::scoped_lock const sperre{sperre_};
    if (merkmale_.size() == hoechstens)
        merkmale_.pop_front();
    merkmale_.push_back({text, jetzt});
    return text;
}

bool Anmeldung::einloesen(std::string_view merkmal, Zeitpunkt jetzt) {
    std::scoped_lock const sperre{sperre_};
    auto const stelle =
        std::ranges::find_if(merkmale_, [&](Merkmal const& m) { return stimmtUeberein(m.text, merkmal); });
    if (stelle == merkmale_.end())
        return false;
    bool const gut = jetzt - stelle->ausgestellt <= frist;
    merkmale_.erase(stelle);
    return gut;
}

std::string Anmeldung::keks() const {
    constexpr std::chrono::seconds haltbar{std::chrono::days{30}};
    return fmt::format(
        "{}={}; Path=/; Max-Age={}; HttpOnly; SameSite=Lax", keksname_, kekswert_, haltbar.count());
}

bool Anmeldung::istAngemeldet(std::string_view kekse) const {
    while (!kekse.empty()) {
        auto keks = kekse.substr(0, kekse.find(';'));
        kekse.remove_prefix(std::min(keks.size() + 1, kekse.size()));
        keks.remove_prefix(std::min(keks.find_first_not_of(' '), keks.size()));
        auto const gleich = keks.find('=');
        if (gleich != std::string_view::npos && keks.substr(0, gleich) == keksname_ &&
            stimmtUeberein(kekswert_, keks.substr(gleich + 1)))
            return true;
    }
    return false;
}

} // namespace quillmate::demo
