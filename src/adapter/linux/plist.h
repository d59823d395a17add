#pragma once

#include <plist/plist.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Owning handles for libplist's trees.
/// Threads: a tree belongs to one thread at a time.
namespace quillmate::adapter::linux {

struct PlistFrei {
    using pointer = plist_t;
    void operator()(plist_t wurzel) const noexcept { plist_free(wurzel); }
};
using Plist = std::unique_ptr<void, PlistFrei>;

/// A property list whose top is a dictionary, from its XML or binary form. Untrusted input.
/// Nothing for anything else.
[[nodiscard]] Plist plistLesen(std::string_view bytes);
/// XML form.
[[nodiscard]] std::optional<std::string> plistSchreiben(plist_t wurzel);

[[nodiscard]] std::optional<std::string> plistText(plist_t woerterbuch, char const* schluessel);
[[nodiscard]] std::optional<bool> plistWahrheitswert(plist_t woerterbuch, char const* schluessel);
/// Text of a text node; nothing for any other node.
[[nodiscard]] std::optional<std::string> plistText(plist_t knoten);
/// A text counts as an array of one. Empty for anything but texts.
[[nodiscard]] std::vector<std::string> plistTexte(plist_t woerterbuch, char const* schluessel);
/// A whole number from 0 to 2^31 - 1.
[[nodiscard]] std::optional<std::int32_t> plistZahl(plist_t woerterbuch, char const* schluessel);
/// Bytes of a binary-data node; nothing for any other node.
[[nodiscard]] std::optional<std::string> plistDaten(plist_t knoten);

} // namespace quillmate::adapter::linux
