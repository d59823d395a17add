#pragma once

#include <string_view>

namespace quillmate::Ordner {

/// Whether a folder of this name is a package: a folder that a Mac shows as one document or program and whose
/// contents are no files of the user's own. Such folders reach other systems on shared drives and in backups.
[[nodiscard]] bool istPaket(std::string_view ordnername);

} // namespace quillmate::Ordner
