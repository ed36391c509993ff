#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Korvane {

using PixelCode = std::uint8_t;

struct PixelPosition {
    int x;
    int y;
};

/// Pixels of one row from column x0 to column x1, both included.
struct PixelRun {
    int y;
    int x0;
    int x1;
};

/// A rectangle of pixels, all four sides included. Empty when x1 < x0.
struct PixelBox {
    int x0 = 0;
    int y0 = 0;
    int x1 = -1;
    int y1 = -1;

    void Include(const PixelRun& run);
    void Grow(int margin, int width, int height);
    int Width() const { return x1 - x0 + 1; }
    int Height() const { return y1 - y0 + 1; }
};

/// A borrowed rectangle of one-byte codes inside a larger buffer.
struct CodePlane {
    PixelCode* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0;
    int height = 0;

    PixelCode* Row(int y) const { return data + y * stride; }
    PixelCode& At(int x, int y) const { return data[y * stride + x]; }
};

void SetRuns(const CodePlane& plane, const std::vector<PixelRun>& runs, PixelCode code);

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

}  // namespace Korvane
