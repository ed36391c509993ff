#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LabelChanges.h"

namespace Korvane {

/// Of what a change is: of labels, or of the marks on what is not part of the specimen.
enum class ChangedLayer { kLabels, kMarks };

/// The changes that one command, key or stroke made, at one position or several.
struct HistoryStep {
    struct Part {
        std::size_t position;
        LabelChanges changes;
        ChangedLayer layer = ChangedLayer::kLabels;
    };
    std::string what;  ///< "brush stroke", "detection"
    std::vector<Part> parts;

    bool Holds(std::size_t position) const;
    std::size_t Bytes() const;
};

/// Every change of labels since the positions were opened, as far as they fit into a limit of memory: the oldest are
/// dropped first. The labels themselves lie elsewhere; whoever changes them adds what changed.
///
/// Invariant: from the labels as they are, the undoable steps taken back in turn lead to the labels as they were.
class LabelHistory {
public:
    static constexpr std::size_t kMostBytes = std::size_t{256} << 20;

    explicit LabelHistory(std::size_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}

    /// Begins a step. One that is open is closed.
    void Open(std::string what);
    /// Adds what was changed to the open step; without one it is a step of its own. What was undone is then no longer
    /// to be redone. A step that alone exceeds the limit is not kept, nor is any before it.
    void Add(std::size_t position, LabelChanges changes, ChangedLayer layer = ChangedLayer::kLabels);
    /// Ends the step. One without changes is none.
    void Close();

    /// The step that was made last, or undone last: whoever asks applies it to the labels. Null without any. It stays
    /// where it is until the next call.
    const HistoryStep* Undo();
    const HistoryStep* Redo();

    bool IsOpen() const { return open_.has_value(); }
    bool CanUndo() const { return !done_.empty(); }
    bool CanRedo() const { return !undone_.empty(); }
    std::size_t Bytes() const { return bytes_; }
    /// Whether steps were dropped for want of room since the last call that said so, or since Clear.
    bool TakeDropped() { return std::exchange(dropped_, false); }

    /// The position is not open any more: what was changed there is forgotten, and those behind it move up. Between
    /// steps.
    void RemovePosition(std::size_t position);

    /// Labels changed in a way that nobody recorded, or are gone.
    void Clear();

private:
    void DropOldest();

    std::size_t mostBytes_;
    std::deque<HistoryStep> done_;     ///< the last one is open while open_
    std::vector<HistoryStep> undone_;  ///< the one to be redone next is the last
    std::optional<std::string> open_;  ///< what a step is that is open
    bool begun_ = false;               ///< the open step is the last of done_
    bool tooLarge_ = false;            ///< the open step is not kept
    bool dropped_ = false;             ///< steps, since somebody was told
    std::size_t bytes_ = 0;
};

}  // namespace Korvane
