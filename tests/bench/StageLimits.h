#pragma once

#include <algorithm>
#include <array>

#include "MachineLimits.h"

namespace korvane_bench {

/// What a stage cannot do without, per pixel: bytes that pass between processor and memory when each map is written
/// once and read once and nothing else leaves the cache; additions and multiplications; cache lines changed in an order
/// that the picture dictates.
struct StageNeeds {
    const char* stage;
    double bytes;
    double operations;
    double lines;
};

/// Sums of a symmetric filter along rows and columns: two additions and a multiplication per pair of taps, two more
/// operations for the middle one.
constexpr double SmoothingOperations(int taps) { return 2.0 * (3.0 * (taps / 2) + 2.0); }

/// Multiplications and additions of the wide Gaussian at sigma 5, with cells of 2.25 px: windows of seven weights down
/// and back on every pixel, across and back on one in 2.25, and twice a filter of 27 weights on one in 2.25 squared.
constexpr double WideGaussianOperations() {
    constexpr double kCellPx = 2.25;
    constexpr double kWindows = 2.0 * (2.0 * 7.0 - 1.0);
    return kWindows + kWindows / kCellPx + SmoothingOperations(27) / (kCellPx * kCellPx);
}

/// At scale 1. Twenty diffusion steps, each with a Gaussian and 84 operations for tensor and systems, read and write a
/// map of floats. Candidate detection, filtering and separation count by their maps alone: what else they need depends on
/// the picture. The watershed changes one line per pixel, in order of level, and moves relief, cells, queue and labels.
constexpr std::array<StageNeeds, 7> kStageNeeds{{
    {"preprocessing", 20 * 8 + 24, 20 * (WideGaussianOperations() + 84) + SmoothingOperations(13) + 12, 0},
    {"detection of exosomes", 4 + 4, 0, 0},
    {"filtering candidates", 4 + 1, 0, 0},
    {"cluster separation", 1 + 4 + 4 + 4, 0, 0},
    {"finalizing", 6 + 4 + 4 * 4 + 4, SmoothingOperations(25) + 8, 0},
    {"finalization", 4 + 8 + 8 + 16 + 8, 0, 1},
    {"seeded segmentation", 6 + 4 + 4 * 4 + 4 + 4 + 8 + 8 + 16 + 8, SmoothingOperations(25) + 8, 1},
}};

/// Nanoseconds per pixel below which no program with these needs can come on this machine. Bytes and operations
/// overlap; changing lines leaves room for neither.
inline double LimitOf(const StageNeeds& needs, const MachineLimits& machine) {
    return std::max(needs.bytes / machine.bytesPerNanosecond, needs.operations / machine.operationsPerNanosecond) +
           needs.lines * machine.nanosecondsPerLine;
}

}  // namespace korvane_bench
