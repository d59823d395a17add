#pragma once

#include <string>
#include <string_view>

namespace quillmate::portal {

/// A host as people shall read it: labels of ASCII and of the Latin letters with marks that German and its neighbours
/// write are shown as such; every other label stands in its ASCII form ("xn--…"). So no letter of another alphabet can
/// pass for a Latin one. Pure; any text is taken, of any origin.
[[nodiscard]] std::string anzeigehost(std::string_view wirt);

} // namespace quillmate::portal
