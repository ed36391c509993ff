#pragma once

#include <cstddef>

namespace korvane_bench {

/// Counts every allocation of the process, those of libraries included, so that a benchmark can print the peak of
/// what one operation holds. Linking this file replaces malloc and its relatives by counting ones.
void ResetPeakBytes();
/// Largest number of bytes held at a time since the last reset, above what was held at the reset.
std::size_t PeakBytes();
/// Number of bytes held now.
std::size_t HeldBytes();

}  // namespace korvane_bench
