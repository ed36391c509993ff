#include "UndoBase.h"

#include <algorithm>
#include <limits>

namespace Korvane {

namespace {

using qvox::LabelImage;

/// What differs within a rectangle, as the box of the differing voxels so far.
struct Box {
    std::uint64_t left = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t top = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t right = 0;
    std::uint64_t bottom = 0;

    void Add(std::uint64_t x, std::uint64_t end, std::uint64_t y) {
        left = std::min(left, x);
        right = std::max(right, end);
        top = std::min(top, y);
        bottom = std::max(bottom, y + 1);
    }
    PixelRectangle Rectangle() const {
        return right == 0 ? PixelRectangle{} : PixelRectangle{left, top, right - left, bottom - top};
    }
};

/// What is to know of every run that differs.
struct Told {
    LabelCensus& census;
    LabelChanges& changes;
    Box box = {};
};

/// Goes over the runs of a row that went from one label to another; whether there was any.
bool TellRow(const std::uint16_t* before, const std::uint16_t* after, std::uint64_t x, std::uint64_t end,
             std::uint64_t y, std::uint64_t width, Told& told) {
    if (std::equal(before + x, before + end, after + x)) return false;
    while (x < end) {
        const std::uint64_t start = x;
        const std::uint16_t from = before[x];
        const std::uint16_t to = after[x];
        for (; x < end && before[x] == from && after[x] == to; ++x) {
        }
        if (from == to) continue;
        told.changes.Add({y * width + start, x - start, from, to});
        if (told.census.Taken()) {
            told.census.Replace(from, to, start, y, x - start);
        } else {
            told.census.Forget();
        }
        told.box.Add(start, x, y);
    }
    return true;
}

/// The same for a rectangle.
bool TellChanges(const LabelImage& before, const LabelImage& after, const PixelRectangle& part, Told& told) {
    bool any = false;
    for (std::uint64_t y = part.y; y < part.y + part.height; ++y) {
        any = TellRow(before.Row(y), after.Row(y), part.x, part.x + part.width, y, before.SizeX(), told) || any;
    }
    return any;
}

}  // namespace

PixelRectangle UndoBase::TileAt(std::size_t tile) const {
    const std::uint64_t x = tile % columns_ * kTile;
    const std::uint64_t y = tile / columns_ * kTile;
    return {x, y, std::min(kTile, width_ - x), std::min(kTile, height_ - y)};
}

/// Marks everything unless the marks are of these two.
void UndoBase::Fit(const LabelImage& labels, const LabelImage& buffer) {
    const bool same =
        labels_ == labels.begin() && buffer_ == buffer.begin() && width_ == labels.SizeX() && height_ == labels.SizeY();
    if (same && labels_ != nullptr) return;
    const std::uint64_t columns = (labels.SizeX() + kTile - 1) / kTile;
    marks_.assign(columns * ((labels.SizeY() + kTile - 1) / kTile), 1);
    firstMark_ = 0;
    columns_ = columns;
    width_ = labels.SizeX();
    height_ = labels.SizeY();
    labels_ = labels.begin();
    buffer_ = buffer.begin();
}

void UndoBase::CopyMarked(const LabelImage& labels, LabelImage& buffer, std::uint64_t voxels) {
    std::uint64_t copied = 0;
    for (; firstMark_ < marks_.size() && copied < voxels; ++firstMark_) {
        if (marks_[firstMark_] == 0) continue;
        const PixelRectangle tile = TileAt(firstMark_);
        for (std::uint64_t y = tile.y; y < tile.y + tile.height; ++y) {
            const std::uint16_t* const row = labels.Row(y) + tile.x;
            std::copy(row, row + tile.width, buffer.Row(y) + tile.x);
        }
        marks_[firstMark_] = 0;
        copied += tile.width * tile.height;
    }
}

void UndoBase::Copy(const LabelImage& labels, LabelImage& undo) {
    if (labels.SizeZ() > 1 || (!undo.Empty() && !undo.SameSizes(labels))) {
        // Nothing that the tools edit; copied as a whole.
        undo = labels;
        Forget();
        return;
    }
    LabelImage& target = undo.Empty() ? spare_ : undo;
    if (!target.SameSizes(labels)) target.Resize(labels.SizeX(), labels.SizeY(), labels.SizeZ());
    Fit(labels, target);
    target.CopyPropertiesFrom(labels);
    CopyMarked(labels, target, std::numeric_limits<std::uint64_t>::max());
    if (undo.Empty()) undo.Swap(spare_);
}

void UndoBase::Mark(const PixelRectangle& changed) {
    if (changed.width == 0 || changed.height == 0 || marks_.empty()) return;
    const std::uint64_t right = std::min((changed.x + changed.width - 1) / kTile, columns_ - 1);
    const std::uint64_t bottom = std::min((changed.y + changed.height - 1) / kTile, marks_.size() / columns_ - 1);
    for (std::uint64_t row = changed.y / kTile; row <= bottom; ++row) {
        for (std::uint64_t column = changed.x / kTile; column <= right; ++column) {
            marks_[row * columns_ + column] = 1;
            firstMark_ = std::min<std::size_t>(firstMark_, row * columns_ + column);
        }
    }
}

void UndoBase::MarkAll() {
    std::fill(marks_.begin(), marks_.end(), std::uint8_t{1});
    firstMark_ = 0;
}

PixelRectangle UndoBase::Settle(const LabelImage& labels, const LabelImage& undo, LabelCensus& census,
                                LabelChanges& changes) {
    Fit(labels, undo);
    Told told{census, changes};
    for (std::size_t tile = firstMark_; tile < marks_.size(); ++tile) {
        if (marks_[tile] == 0) continue;
        marks_[tile] = TellChanges(undo, labels, TileAt(tile), told) ? 1 : 0;
    }
    return told.box.Rectangle();
}

PixelRectangle UndoBase::Restore(LabelImage& labels, LabelImage& undo, LabelCensus& census, LabelChanges& changes) {
    if (!undo.SameSizes(labels) || labels.SizeZ() > 1) {
        if (undo.SameSizes(labels)) changes.Append(DifferenceOf(labels, undo));
        labels.Swap(undo);
        undo.Release();
        census.Forget();
        Forget();
        return WholeImage(labels);
    }
    Fit(labels, undo);
    Told told{census, changes};
    for (std::size_t tile = firstMark_; tile < marks_.size(); ++tile) {
        if (marks_[tile] != 0) TellChanges(labels, undo, TileAt(tile), told);
    }
    labels.Swap(undo);
    spare_.Swap(undo);
    undo.Release();
    // The marks say where the two differ, whichever is which.
    labels_ = labels.begin();
    buffer_ = spare_.begin();
    return told.box.Rectangle();
}

UndoBase::Progress UndoBase::Prepare(const LabelImage& labels, const LabelImage& undo, std::uint64_t voxels) {
    if (!undo.Empty() || labels.Empty() || labels.SizeZ() > 1) return Progress::kDone;
    if (!spare_.SameSizes(labels)) spare_.Resize(labels.SizeX(), labels.SizeY(), labels.SizeZ());
    Fit(labels, spare_);
    CopyMarked(labels, spare_, voxels);
    return firstMark_ < marks_.size() ? Progress::kMore : Progress::kDone;
}

void UndoBase::Forget() { labels_ = buffer_ = nullptr; }

void UndoBase::Release() {
    spare_.Release();
    Forget();
}

}  // namespace Korvane
