#pragma once

/// KORVANE_ASSERT(condition) states what the code around it relies on. In builds with KORVANE_ASSERTIONS (presets dev,
/// asan, tsan and fuzz) a condition that does not hold prints file, line and condition and aborts. In other builds the
/// condition is compiled but never evaluated. It is never for a mistake of the caller or a broken file: those throw
/// ToolkitError.
#ifdef KORVANE_ASSERTIONS
#define KORVANE_ASSERT(condition) \
    (static_cast<bool>(condition) ? static_cast<void>(0) : ::qvox::AssertionFailed(__FILE__, __LINE__, #condition))
#else
#define KORVANE_ASSERT(condition) static_cast<void>(sizeof(static_cast<bool>(condition)))
#endif

namespace qvox {

[[noreturn]] void AssertionFailed(const char* file, int line, const char* condition) noexcept;

}  // namespace qvox
