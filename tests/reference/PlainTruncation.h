#pragma once

#include <cstdint>
#include <limits>

namespace korvane_reference {

/// Towards zero; what does not fit ends at the nearest bound, NaN at 0.
inline int PlainTruncateToInt(double value) {
    if (value != value) return 0;
    if (value >= 2147483647.0) return std::numeric_limits<int>::max();
    if (value <= -2147483648.0) return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

/// Towards zero; negative values and NaN give 0, what does not fit ends at the largest count.
inline std::uint64_t PlainTruncateToCount(double value) {
    if (!(value > 0.0)) return 0;
    if (value >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(value);
}

/// Truncated to an integer and stored in 16 bits, so modulo 65536; NaN and what no int holds give 0.
inline std::uint16_t PlainTruncateTo16Bits(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return 0;
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(static_cast<std::int32_t>(value)) & 0xFFFFu);
}

}  // namespace korvane_reference
