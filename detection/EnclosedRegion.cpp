#include "EnclosedRegion.h"

#include <algorithm>
#include <cstring>
#include <opencv2/imgproc.hpp>

namespace Korvane {
namespace {

constexpr PixelCode kVisited = 4;
// Codes of the crop after the skeleton stands: 0 enclosed, 1 line, and
constexpr PixelCode kFilled = 4;
constexpr PixelCode kOutside = 5;

std::size_t RunLength(const PixelRun& run) { return static_cast<std::size_t>(run.x1 - run.x0 + 1); }

int TruncatedToInt(float value) {
    constexpr float limit = 2147483520.0f;  // the largest float below 2^31
    return static_cast<int>(std::min(std::max(value, -limit), limit));
}

}  // namespace

EnclosedRegionAnalysis::EnclosedRegionAnalysis(const CodePlane& components, const CodePlane& candidates, float scale)
    : components_(components),
      candidates_(candidates),
      limitPx_(TruncatedToInt(15.0f * scale)),
      work_(static_cast<std::size_t>(components.width) * static_cast<std::size_t>(components.height)),
      workPlane_{work_.data(), components.width, components.width, components.height},
      freeFrom_(static_cast<std::size_t>(components.height), 0),
      freeTo_(static_cast<std::size_t>(components.height), components.width - 1) {
    for (int y = 0; y < components.height; ++y) {
        std::memcpy(workPlane_.Row(y), components.Row(y), static_cast<std::size_t>(components.width));
    }
}

void EnclosedRegionAnalysis::ComponentChanged(const std::vector<PixelRun>& runs) {
    for (const PixelRun& run : runs) {
        std::memcpy(workPlane_.Row(run.y) + run.x0, components_.Row(run.y) + run.x0, RunLength(run));
    }
}

void EnclosedRegionAnalysis::Analyse(PixelPosition seed, const std::vector<PixelRun>& component,
                                     std::vector<PixelRun>& cleared) {
    ComponentChanged(component);
    const PixelBox componentBox = MarkComponent(seed);
    TouchRegions(componentBox);
    MakeCrop(componentBox);
    const int largestDistance = LargestDistance();
    thinning_.Run(crop_.plane, pixels_);
    SetFrame(kBeyondMap);
    const MarkedBranches branches = PruneBranches(crop_.plane, limitPx_);
    FillAround(seed);
    MarkCandidates();
    ClearAround(branches, largestDistance, cleared);
}

// What is analysed may be more than the component: analysed pixels of before that touch it belong to it. It stays
// kVisited in the work map until the touched regions are known, which tells it from everything else.
PixelBox EnclosedRegionAnalysis::MarkComponent(PixelPosition seed) {
    component_.clear();
    flood_.Fill(workPlane_, seed.x, seed.y, kVisited, Connectivity::k4, component_);
    PixelBox box;
    for (const PixelRun& run : component_) {
        box.Include(run);
    }
    return box;
}

bool EnclosedRegionAnalysis::IsRingPixel(int x, int y) const {
    return (x > 0 && workPlane_.At(x - 1, y) == kVisited) ||
           (x + 1 < workPlane_.width && workPlane_.At(x + 1, y) == kVisited) ||
           (y > 0 && workPlane_.At(x, y - 1) == kVisited) ||
           (y + 1 < workPlane_.height && workPlane_.At(x, y + 1) == kVisited);
}

void EnclosedRegionAnalysis::TouchRegions(const PixelBox& componentBox) {
    PixelBox box = componentBox;
    box.Grow(1, workPlane_.width, workPlane_.height);
    std::vector<PixelPosition> ring;
    for (int y = box.y0; y <= box.y1; ++y) {
        for (int x = box.x0; x <= box.x1; ++x) {
            if (workPlane_.At(x, y) != kVisited && IsRingPixel(x, y)) {
                ring.push_back({x, y});
            }
        }
    }
    SetRuns(workPlane_, component_, kAnalysed);
    touched_.clear();
    rewritten_.clear();
    for (const PixelPosition& at : ring) {
        if (workPlane_.At(at.x, at.y) != kVisited) {
            TouchRegion(at.x, at.y);
        }
    }
    ComponentChanged(touched_);
    ComponentChanged(rewritten_);
}

// The two maps part company where a region marked earlier in this analysis lies between: in the component map it is
// kTouched like older regions and leads on to them, in the work map it is kVisited and leads nowhere.
void EnclosedRegionAnalysis::TouchRegion(int x, int y) {
    scratch_.clear();
    flood_.Fill(components_, x, y, kBackground, Connectivity::k8, scratch_);
    flood_.Fill(components_, x, y, kTouched, Connectivity::k8, rewritten_);
    flood_.Fill(workPlane_, x, y, kBackground, Connectivity::k8, scratch_);
    flood_.Fill(workPlane_, x, y, kVisited, Connectivity::k8, touched_);
}

void EnclosedRegionAnalysis::MakeCrop(const PixelBox& componentBox) {
    PixelBox box = componentBox;
    for (const PixelRun& run : touched_) {
        box.Include({run.y, run.x0, run.x1});
    }
    box.Grow(1, components_.width, components_.height);
    const std::ptrdiff_t stride = box.Width() + 2;
    cropData_.assign(static_cast<std::size_t>(stride) * static_cast<std::size_t>(box.Height() + 2), 0);
    crop_.box = box;
    crop_.plane = CodePlane{cropData_.data() + stride + 1, stride, box.Width(), box.Height()};
    pixels_.clear();
    for (const PixelRun& run : touched_) {
        PixelCode* first = crop_.plane.Row(run.y - box.y0) + (run.x0 - box.x0);
        std::memset(first, 1, RunLength(run));
        const std::ptrdiff_t offset = first - crop_.plane.data;
        for (std::ptrdiff_t i = 0; i <= run.x1 - run.x0; ++i) {
            pixels_.push_back(offset + i);
        }
    }
    SetFrame(1);
}

// Inside the map the crop's own margin is empty, and so is what surrounds it.
void EnclosedRegionAnalysis::SetFrame(PixelCode beyondMap) {
    const CodePlane& plane = crop_.plane;
    const PixelBox& box = crop_.box;
    const auto setRow = [&](int y) {
        std::memset(plane.Row(y) - 1, beyondMap, static_cast<std::size_t>(plane.width + 2));
    };
    const auto setColumn = [&](int x) {
        for (int y = -1; y <= plane.height; ++y) {
            plane.At(x, y) = beyondMap;
        }
    };
    if (box.y0 == 0) {
        setRow(-1);
    }
    if (box.y1 == components_.height - 1) {
        setRow(plane.height);
    }
    if (box.x0 == 0) {
        setColumn(-1);
    }
    if (box.x1 == components_.width - 1) {
        setColumn(plane.width);
    }
}

// City-block distance of the touched pixel that lies furthest from any other pixel of the map; beyond the map there is
// nothing to be near to.
int EnclosedRegionAnalysis::LargestDistance() const {
    const CodePlane& plane = crop_.plane;
    const int far = plane.width + plane.height;
    std::vector<int> distance(static_cast<std::size_t>(plane.width) * static_cast<std::size_t>(plane.height));
    const auto at = [&](int x, int y) -> int& {
        return distance[static_cast<std::size_t>(y) * static_cast<std::size_t>(plane.width) +
                        static_cast<std::size_t>(x)];
    };
    for (int y = 0; y < plane.height; ++y) {
        const PixelCode* row = plane.Row(y);
        for (int x = 0; x < plane.width; ++x) {
            int best = row[x] == 0 ? 0 : far;
            best = x > 0 ? std::min(best, at(x - 1, y) + 1) : best;
            best = y > 0 ? std::min(best, at(x, y - 1) + 1) : best;
            at(x, y) = best;
        }
    }
    int largest = 0;
    for (int y = plane.height - 1; y >= 0; --y) {
        for (int x = plane.width - 1; x >= 0; --x) {
            int best = at(x, y);
            best = x + 1 < plane.width ? std::min(best, at(x + 1, y) + 1) : best;
            best = y + 1 < plane.height ? std::min(best, at(x, y + 1) + 1) : best;
            at(x, y) = best;
            largest = std::max(largest, best);
        }
    }
    return largest;
}

// Leaves kFilled where the fill got to, and kOutside where the map's border is reached without crossing it.
void EnclosedRegionAnalysis::FillAround(PixelPosition seed) {
    const CodePlane& plane = crop_.plane;
    scratch_.clear();
    flood_.Fill(plane, seed.x - crop_.box.x0, seed.y - crop_.box.y0, kFilled, Connectivity::k4, scratch_);
    // Lines do not stop what is not filled: from here on they are like any other pixel.
    for (int y = 0; y < plane.height; ++y) {
        PixelCode* row = plane.Row(y);
        for (int x = 0; x < plane.width; ++x) {
            row[x] = row[x] == kFilled ? kFilled : PixelCode{0};
        }
    }
    const auto startAt = [&](int x, int y) {
        if (plane.At(x, y) == 0) {
            scratch_.clear();
            flood_.Fill(plane, x, y, kOutside, Connectivity::k4, scratch_);
        }
    };
    for (int x = 0; x < plane.width; ++x) {
        startAt(x, 0);
        startAt(x, plane.height - 1);
    }
    for (int y = 0; y < plane.height; ++y) {
        startAt(0, y);
        startAt(plane.width - 1, y);
    }
}

void EnclosedRegionAnalysis::MarkCandidates() {
    const CodePlane& plane = crop_.plane;
    const auto nextToFilled = [&](int x, int y) {
        for (int v = std::max(y - 1, 0); v <= std::min(y + 1, plane.height - 1); ++v) {
            for (int u = std::max(x - 1, 0); u <= std::min(x + 1, plane.width - 1); ++u) {
                if (plane.At(u, v) != kOutside) {
                    return true;
                }
            }
        }
        return false;
    };
    for (int y = 0; y < plane.height; ++y) {
        PixelCode* candidates = candidates_.Row(crop_.box.y0 + y) + crop_.box.x0;
        const PixelCode* row = plane.Row(y);
        for (int x = 0; x < plane.width; ++x) {
            if (row[x] != kOutside) {
                candidates[x] = candidates[x] == kFree ? kCandidate : candidates[x];
            } else if (nextToFilled(x, y)) {
                candidates[x] = kRing;
            }
        }
    }
    MarkCandidatesOutside();
}

// The crop's margin stands for everything that lies beyond it on its side.
void EnclosedRegionAnalysis::MarkCandidatesOutside() {
    const CodePlane& plane = crop_.plane;
    const PixelBox& box = crop_.box;
    const int lastColumn = components_.width - 1;
    if (box.y0 > 0 && plane.At(0, 0) != kOutside) {
        for (int y = 0; y < box.y0; ++y) {
            MarkFreeRun(y, 0, lastColumn);
        }
    }
    if (box.y1 < components_.height - 1 && plane.At(0, plane.height - 1) != kOutside) {
        for (int y = box.y1 + 1; y < components_.height; ++y) {
            MarkFreeRun(y, 0, lastColumn);
        }
    }
    const bool left = box.x0 > 0 && plane.At(0, 0) != kOutside;
    const bool right = box.x1 < lastColumn && plane.At(plane.width - 1, 0) != kOutside;
    for (int y = box.y0; y <= box.y1 && (left || right); ++y) {
        if (left) {
            MarkFreeRun(y, 0, box.x0 - 1);
        }
        if (right) {
            MarkFreeRun(y, box.x1 + 1, lastColumn);
        }
    }
}

void EnclosedRegionAnalysis::MarkFreeRun(int y, int x0, int x1) {
    int& from = freeFrom_[static_cast<std::size_t>(y)];
    int& to = freeTo_[static_cast<std::size_t>(y)];
    const int first = std::max(x0, from);
    const int last = std::min(x1, to);
    PixelCode* row = candidates_.Row(y);
    for (int x = first; x <= last; ++x) {
        row[x] = row[x] == kFree ? kCandidate : row[x];
    }
    if (first == from && last >= first) {
        from = last + 1;
    } else if (last == to && last >= first) {
        to = first - 1;
    }
}

void EnclosedRegionAnalysis::ClearAround(const MarkedBranches& branches, int size, std::vector<PixelRun>& cleared) {
    if (size == 0 || (branches.ends.empty() && !branches.mapOrigin)) {
        return;
    }
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(size, size));
    const int anchor = size / 2;
    const auto clear = [&](int endX, int endY) {
        for (int i = 0; i < size; ++i) {
            const uchar* row = element.ptr<uchar>(i);
            const uchar* first = std::find(row, row + size, uchar{1});
            const uchar* last = row + size;
            while (last > first && last[-1] == 0) {
                --last;
            }
            const int y = endY - i + anchor;
            if (first < last && y >= 0 && y < components_.height) {
                ClearTouched(y, endX - static_cast<int>(last - 1 - row) + anchor,
                             endX - static_cast<int>(first - row) + anchor, cleared);
            }
        }
    };
    for (const PixelPosition& end : branches.ends) {
        clear(end.x + crop_.box.x0, end.y + crop_.box.y0);
    }
    if (branches.mapOrigin) {
        clear(0, 0);
    }
}

void EnclosedRegionAnalysis::ClearTouched(int y, int x0, int x1, std::vector<PixelRun>& cleared) {
    PixelCode* row = components_.Row(y);
    const int last = std::min(x1, components_.width - 1);
    for (int x = std::max(x0, 0); x <= last; ++x) {
        if (row[x] != kTouched) {
            continue;
        }
        const int first = x;
        while (x <= last && row[x] == kTouched) {
            row[x++] = kBackground;
        }
        cleared.push_back({y, first, x - 1});
        std::memset(workPlane_.Row(y) + first, kBackground, static_cast<std::size_t>(x - first));
    }
}

}  // namespace Korvane
