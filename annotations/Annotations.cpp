#include "Annotations.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <tuple>

#include "SharpPiece.h"

namespace Korvane {

namespace {

constexpr float kLevels = 0.06f;         // of the range: what belongs to one end of it
constexpr float kApart = 3.0f;           // how many times their own width the other levels lie off
constexpr double kLargestShare = 0.3;    // of the image, for a piece's levels
constexpr std::size_t kSampledPixels = 32768;
constexpr int kMostPieces = 3000;        // more are noise or a texture
constexpr int kSmallestPiecePx = 4;
constexpr double kSharpBar = 0.8;        // shares of the pixels at distance 2 that have fallen
constexpr double kSharpCharacter = 0.7;
constexpr double kVerySharp = 0.9;
constexpr int kLowestCharacterPx = 5;
constexpr double kHighestCharacter = 0.12;  // of the image's height
constexpr int kSmallestCharacterPx = 8;     // its area
constexpr int kSmallestLonePiecePx = 12;
constexpr double kLoneSolidity = 0.55;      // of a piece alone at most: specks are convex
constexpr double kCharacterSolidity = 0.8;  // of half the characters of a line at most; or strokes
constexpr std::size_t kShortestLine = 3;    // characters
constexpr double kShortestBar = 0.03;       // of the image's width
constexpr double kLongestBar = 0.8;         // longer ones are edges of the specimen's support
constexpr float kCharacterContrast = 3.0f;  // to the noise around

/// The pieces of one end of the range.
struct End {
    cv::Mat1i labels;
    std::vector<SharpPiece> pieces;
    bool isApart = false;  // from the rest of the histogram
};

/// The level above which pixels belong to the end: where the outermost hundredth of the image lies further from the
/// rest than that is wide, half way to it, which takes in strokes that are thinner than a pixel.
struct EndLevel {
    float level = 0.0f;
    bool isApart = false;
};

EndLevel FindEndLevel(const LevelsBelow& levels, float range) {
    // Some ten thousand pixels tell the shares well enough; the step has no factor in common with usual widths.
    const auto count = static_cast<std::size_t>(levels.Size().area());
    const std::size_t step = count / kSampledPixels * 2 + 1;
    std::vector<float> values;
    for (std::size_t i = 0; i < count; i += step) values.push_back(levels.At(i));
    const auto at = [&values](double share) {
        const auto place = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size()));
        std::nth_element(values.begin(), place, values.end());
        return *place;
    };
    const float high = at(0.99);
    const float low = at(0.01);
    if (-high > kApart * (high - low)) return {0.5f * high, true};
    return {-kLevels * range, false};
}

End Describe(const LevelsBelow& levels, float range) {
    End end;
    const auto [least, isApart] = FindEndLevel(levels, range);
    const cv::Mat1b outermost = levels.AtLeast(least);
    if (cv::countNonZero(outermost) > kLargestShare * static_cast<double>(outermost.total())) return end;
    end.isApart = isApart;
    cv::Mat1i records;
    cv::Mat1d centres;
    const int count = cv::connectedComponentsWithStats(outermost, end.labels, records, centres, 8, CV_32S);
    if (count > kMostPieces) return end;
    for (int label = 1; label < count; ++label) {
        const int area = records(label, cv::CC_STAT_AREA);
        if (area < kSmallestPiecePx) continue;
        const cv::Rect box(records(label, cv::CC_STAT_LEFT), records(label, cv::CC_STAT_TOP),
                           records(label, cv::CC_STAT_WIDTH), records(label, cv::CC_STAT_HEIGHT));
        if (auto piece = DescribePiece(levels, end.labels, label, box, area, range)) end.pieces.push_back(*piece);
    }
    // The library's numbers may depend on its threads.
    const auto place = [](const SharpPiece& piece) {
        return std::make_tuple(piece.box.y, piece.box.x, piece.box.height, piece.box.width, piece.area);
    };
    std::sort(end.pieces.begin(), end.pieces.end(),
              [&](const SharpPiece& a, const SharpPiece& b) { return place(a) < place(b); });
    return end;
}

bool IsBar(const SharpPiece& piece, int imageWidth) {
    return piece.bar && piece.fallenAt2 >= kSharpBar && piece.bar->length >= kShortestBar * imageWidth &&
           piece.bar->length <= kLongestBar * imageWidth;
}

bool IsCharacter(const SharpPiece& piece, int imageHeight) {
    return piece.contrastToNoise >= kCharacterContrast && piece.fallenAt2 >= kSharpCharacter &&
           piece.area >= kSmallestCharacterPx && piece.box.height >= kLowestCharacterPx &&
           piece.box.height <= kHighestCharacter * imageHeight &&
           piece.box.width <= 3 * piece.box.height;
}

/// Whether a character goes on the line that ends with another: next to it, at the same foot and of a similar height.
bool Continues(const cv::Rect& last, const cv::Rect& next) {
    const int gap = next.x - (last.x + last.width);
    const int feet = std::abs(next.y + next.height - (last.y + last.height));
    return gap >= -1 && gap + 1 <= 1.3 * std::max(last.height, next.height) &&
           feet <= std::max(2.0, 0.25 * last.height) && next.height <= 2 * last.height &&
           last.height <= 2 * next.height;
}

bool StandsBeside(const cv::Rect& character, const cv::Rect& bar) {
    const double middles =
        std::fabs(character.y + character.height / 2.0 - (bar.y + bar.height / 2.0));
    return middles <= 3 * character.height + bar.height && character.x >= bar.x - 2 * character.height &&
           character.x <= bar.x + bar.width + 8 * character.height;
}

/// Chooses the pieces of one end that were written.
class Choice {
public:
    Choice(const End& end, cv::Size image) : end_(end), chosen_(end.pieces.size(), Role::kOther) {
        for (std::size_t i = 0; i < chosen_.size(); ++i) {
            if (IsBar(end.pieces[i], image.width)) {
                chosen_[i] = Role::kBar;
                hasBar_ = true;
            } else if (IsCharacter(end.pieces[i], image.height)) {
                chosen_[i] = Role::kCharacter;
            }
        }
        TakeLines();
        TakeCharactersBesideBars();
        if (end.isApart) TakeLonePieces();
    }

    bool IsBarAt(std::size_t i) const { return chosen_[i] == Role::kBar; }
    bool IsWritingAt(std::size_t i) const { return chosen_[i] == Role::kWriting; }

private:
    enum class Role { kOther, kCharacter, kBar, kWriting };

    const cv::Rect& Box(std::size_t i) const { return end_.pieces[i].box; }

    std::vector<std::size_t> CharactersFromTheLeft() const {
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < chosen_.size(); ++i) {
            if (chosen_[i] == Role::kCharacter) order.push_back(i);
        }
        std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) { return Box(a).x < Box(b).x; });
        return order;
    }

    void TakeLines() {
        const std::vector<std::size_t> order = CharactersFromTheLeft();
        std::vector<bool> isUsed(chosen_.size(), false);
        std::vector<std::size_t> onLines;
        for (std::size_t first = 0; first < order.size(); ++first) {
            if (isUsed[order[first]]) continue;
            std::vector<std::size_t> line = {order[first]};
            for (std::size_t next = first + 1; next < order.size(); ++next) {
                if (!isUsed[order[next]] && Continues(Box(line.back()), Box(order[next]))) line.push_back(order[next]);
            }
            const auto hollow = std::count_if(line.begin(), line.end(), [this](std::size_t i) {
                return end_.pieces[i].solidity <= kCharacterSolidity || Box(i).height >= 3 * Box(i).width;
            });
            if (line.size() < kShortestLine || 2 * static_cast<std::size_t>(hollow) < line.size()) continue;
            for (const std::size_t i : line) isUsed[i] = true;
            onLines.insert(onLines.end(), line.begin(), line.end());
        }
        // Where as many lie about in no order, the lines may be chance.
        const std::size_t loose = order.size() - onLines.size();
        if (!end_.isApart && !hasBar_ && loose > 2 * onLines.size()) return;
        for (const std::size_t i : onLines) chosen_[i] = Role::kWriting;
        hasWriting_ = !onLines.empty();
    }

    void TakeCharactersBesideBars() {
        for (std::size_t i = 0; i < chosen_.size(); ++i) {
            if (chosen_[i] != Role::kCharacter) continue;
            for (std::size_t bar = 0; bar < chosen_.size(); ++bar) {
                if (chosen_[bar] != Role::kBar || !StandsBeside(Box(i), Box(bar))) continue;
                chosen_[i] = Role::kWriting;
                hasWriting_ = true;
                break;
            }
        }
    }

    void TakeLonePieces() {
        const bool hasSome = hasBar_ || hasWriting_;
        for (std::size_t i = 0; i < chosen_.size(); ++i) {
            const SharpPiece& piece = end_.pieces[i];
            const bool isSharp = piece.fallenAt2 >= kVerySharp && (hasSome || piece.solidity <= kLoneSolidity);
            const bool isFree = chosen_[i] == Role::kOther || chosen_[i] == Role::kCharacter;
            if (isFree && isSharp && piece.area >= kSmallestLonePiecePx) chosen_[i] = Role::kWriting;
        }
    }

    const End& end_;
    std::vector<Role> chosen_;
    bool hasBar_ = false;
    bool hasWriting_ = false;
};

void Mark(const End& end, const SharpPiece& piece, qvox::VoxelImage<bool>& mask) {
    for (int y = piece.box.y; y < piece.box.y + piece.box.height; ++y) {
        for (int x = piece.box.x; x < piece.box.x + piece.box.width; ++x) {
            if (end.labels(y, x) == piece.label) mask(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = true;
        }
    }
}

void TakeEnd(const LevelsBelow& levels, float range, Annotations& annotations) {
    const End end = Describe(levels, range);
    const Choice choice(end, levels.Size());
    for (std::size_t i = 0; i < end.pieces.size(); ++i) {
        if (!choice.IsBarAt(i) && !choice.IsWritingAt(i)) continue;
        const SharpPiece& piece = end.pieces[i];
        Annotation found;
        found.kind = choice.IsBarAt(i) ? Annotation::Kind::kScaleBar : Annotation::Kind::kWriting;
        found.box = {piece.box.x, piece.box.y, piece.box.width, piece.box.height};
        found.pixelCount = static_cast<std::uint64_t>(piece.area);
        found.barLengthPx = choice.IsBarAt(i) ? piece.bar->length : 0;
        annotations.pieces.push_back(found);
        if (annotations.mask.Empty()) {
            annotations.mask.Resize(static_cast<std::uint64_t>(end.labels.cols),
                                    static_cast<std::uint64_t>(end.labels.rows), 1);
            annotations.mask.Zero();
        }
        Mark(end, piece, annotations.mask);
    }
}

}  // namespace

std::uint64_t Annotations::PixelCount() const {
    std::uint64_t count = 0;
    for (const Annotation& piece : pieces) count += piece.pixelCount;
    return count;
}

PixelBox Annotations::Bounds() const {
    if (pieces.empty()) return {};
    PixelBox first = pieces.front().box;
    std::int64_t right = first.x + first.width;
    std::int64_t bottom = first.y + first.height;
    for (const auto& [kind, box, count, length] : pieces) {
        first.x = std::min(first.x, box.x);
        first.y = std::min(first.y, box.y);
        right = std::max(right, box.x + box.width);
        bottom = std::max(bottom, box.y + box.height);
    }
    return {first.x, first.y, right - first.x, bottom - first.y};
}

Annotations FindAnnotations(const qvox::VoxelImage<float>& image) {
    Annotations annotations;
    constexpr std::uint64_t kMostPixels = std::numeric_limits<int>::max();
    if (image.SizeZ() != 1 || image.Empty() || image.VoxelCount() > kMostPixels) return annotations;
    float low = image[0];
    float high = image[0];
    for (const float value : image) {
        if (!std::isfinite(value)) return annotations;
        low = std::min(low, value);
        high = std::max(high, value);
    }
    const float range = high - low;
    if (!(range > 0.0f) || !std::isfinite(range)) return annotations;
    TakeEnd(LevelsBelow(image, high, 1.0f), range, annotations);
    TakeEnd(LevelsBelow(image, low, -1.0f), range, annotations);
    return annotations;
}

}  // namespace Korvane
