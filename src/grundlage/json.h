#pragma once

#include <nlohmann/json.hpp>

namespace quillmate {

/// A JSON value of our own: keeps the order in which its keys were set.
using Json = nlohmann::ordered_json;

/// A JSON value from outside. Its objects are trees: an object with half a million keys, which would take the
/// ordered kind hours of comparing, is read in a second.
using FremdesJson = nlohmann::json;

} // namespace quillmate
