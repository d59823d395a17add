#pragma once

#include "leser/motoren/graubild.h"
#include "schriftproben.h"

/// Pictures as telephones take and send them, drawn from fixed seeds. Those of the second group hold print, but neither a
/// receipt word nor an amount of money. Threads: one at a time.
namespace quillmate::bench {

/// A receipt on a table of any brightness, tilted by up to 20 degrees about some axis, with the shadow of a hand across it.
[[nodiscard]] Schriftprobe schraegerBon(int nummer);
/// A till roll about six times as long as wide, cropped close.
[[nodiscard]] Schriftprobe langerBon(int nummer);
/// Two receipts beside each other on a dark table.
[[nodiscard]] Schriftprobe zweiBons(int nummer);

/// A few large words on a plain or uneven ground.
[[nodiscard]] Schriftprobe plakat(int nummer);
/// Messages or an article on a telephone's screen, dark on light or light on dark.
[[nodiscard]] Schriftprobe bildschirm(int nummer);
/// White words with a black rim above and below a photograph.
[[nodiscard]] Schriftprobe spruchbild(int nummer, leser::motoren::Graubild const& foto);

} // namespace quillmate::bench
