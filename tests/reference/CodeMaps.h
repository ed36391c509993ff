#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/Pixels.h"

namespace korvane_reference {

using level_sweep::PixelRun;
using PixelCode = std::uint8_t;

// Codes of the component map.
inline constexpr PixelCode kBackground = 0;
inline constexpr PixelCode kOpen = 1;
inline constexpr PixelCode kAnalysed = 2;
inline constexpr PixelCode kTouched = 3;
// Codes of the candidate map.
inline constexpr PixelCode kFree = 0;
inline constexpr PixelCode kCandidate = 2;
inline constexpr PixelCode kRing = 3;

/// A borrowed rectangle of one-byte codes inside a larger buffer.
struct CodePlane {
    PixelCode* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;

    PixelCode* Row(int y) const { return data + y * stride; }
    PixelCode& At(int x, int y) const { return data[y * stride + x]; }
};

enum class Connectivity { k4, k8 };

/// Flood fill of equal codes by runs. Keeps its stack between calls, so that a fill allocates nothing once warm.
class RunFlood {
public:
    /// Gives `code` to every pixel connected to (x, y) through pixels of the code found there, and appends the filled
    /// runs, each as long as its row allows, to `filled`. Returns the number of pixels; 0, with nothing appended, when
    /// (x, y) holds `code` already.
    std::int64_t Fill(const CodePlane& plane, int x, int y, PixelCode code, Connectivity connectivity,
                      std::vector<PixelRun>& filled);

private:
    struct Seed {
        int x;
        int y;
    };
    void PushSeeds(const CodePlane& plane, int y, int x0, int x1, PixelCode from);
    std::vector<Seed> stack_;
};

}  // namespace korvane_reference
