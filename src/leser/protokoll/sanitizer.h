#pragma once

namespace quillmate::leser::protokoll {

/// Whether this is a sanitizer build. The one place that says what is then different about readers:
///
/// - No Landlock, no Seccomp, no memory limit, and the process stays dumpable: the sanitizers map terabytes,
///   read /proc, start a process to look for leaks and another to name functions.
/// - A reader keeps the standard error of the main program and the sanitizers' options in its environment,
///   otherwise their reports would be lost.
///
/// Everything else (channel, deadlines, clean descriptors, end with the main program) is as always. The tests of
/// the layers that are left out are skipped there; the release build runs them.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUILLMATE_MIT_SANITIZER
#endif
#endif
#if defined(QUILLMATE_MIT_SANITIZER) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool mitSanitizer = true;
#else
inline constexpr bool mitSanitizer = false;
#endif

} // namespace quillmate::leser::protokoll
