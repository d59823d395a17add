#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Does a text belong to a booking? By amount and date, from the text alone.
/// Pure functions; any text (also foreign, broken or long) takes time about linear in its length.
/// Threads: any.
namespace quillmate::demo {

using Cent = std::int64_t;
using Tag = std::chrono::sys_days;

/// One line of a bank account. Plain data.
struct Buchung {
    std::int64_t id{0};
    Tag datum;
    Cent betrag{0};          ///< Negative for money that went out.
    std::string gegenpartei; ///< UTF-8.
    std::string zweck;       ///< UTF-8.
};

/// The amounts of money in a text: digits with exactly two decimals, groups of thousands by point, comma,
/// blank or none, as Germans and others write them. A blank may part two numbers or two groups; both readings
/// count. Dates ("12.03.25") and version numbers are none. Always positive.
[[nodiscard]] std::set<Cent> betraegeAus(std::string_view text);

/// The calendar dates in a text: 12.03.2026, 12.3.26, 2026-03-12, 12/03/2026, "12. März 2026". Years 1990 to
/// 2099.
[[nodiscard]] std::set<Tag> dateAus(std::string_view text);

/// Whether a text is a receipt's: it has a receipt word and an amount.
[[nodiscard]] bool istBeleg(std::string_view text);

/// Whether the amount of the booking stands in the text, whatever its sign.
[[nodiscard]] bool betragStehtIn(std::string_view text, Buchung const& buchung);

/// A receipt may be dated this long before its booking (terms of payment) or after it (delayed invoices).
inline constexpr std::chrono::days hoechstensVorBuchung{35};
inline constexpr std::chrono::days hoechstensNachBuchung{5};

/// The booking that the text belongs to: its amount stands in the text, and a date of the text is near; of
/// several the nearest, then the first. In a text without any date the amount must fit exactly one booking.
[[nodiscard]] std::optional<std::int64_t> passendeBuchung(
    std::string_view text, std::span<Buchung const> offene);

/// "2026-03-12" and back; nothing for what is no calendar date.
[[nodiscard]] std::string alsIsoDatum(Tag tag);
[[nodiscard]] std::optional<Tag> ausIsoDatum(std::string_view text);

/// "-1.234,56 €".
[[nodiscard]] std::string alsEuro(Cent betrag);

} // namespace quillmate::demo
