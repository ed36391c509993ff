#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Korvane {

/// A file as it was at a time: it is taken for unchanged while its size and time of change are these.
struct FileMark {
    std::string path;
    std::uint64_t bytes = 0;
    std::int64_t modifiedNs = 0;
};
bool operator==(const FileMark& a, const FileMark& b);

/// The mark of a file as it is now; none when there is no such file.
std::optional<FileMark> MarkOf(const std::string& path);

/// One open image.
struct JournalImage {
    FileMark file;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t depth = 1;  ///< planes
};

/// What an idle moment of the window may write: some milliseconds, and more than a person draws in seconds.
inline constexpr std::uint64_t kJournalBytes = std::uint64_t{4} << 20;

/// Runs as LabelChanges packs them, which nobody changes any more.
using SharedRuns = std::shared_ptr<const std::vector<std::uint8_t>>;

/// Works runs out, some milliseconds' worth at each call: null until all are there.
using RunSource = std::function<SharedRuns()>;

/// Writes changes of labels as they are made into a file that outlives the program's death. The file lies in a folder
/// for the user alone, is locked while the program lives, and is gone once nothing is unsaved.
///
/// A record is complete or, torn by the death of the program in the middle of a write, the last one and ignored. What
/// was written survives the program, its display and its session; a loss of power may cost what the system had not yet
/// brought to the disk.
class RecoveryJournal {
public:
    /// Makes the folder if it is not there; the file comes with the first change. Throws ToolkitError.
    explicit RecoveryJournal(std::string folder);
    /// Removes the file: the program ends as its user wants.
    ~RecoveryJournal();
    RecoveryJournal(const RecoveryJournal&) = delete;
    RecoveryJournal& operator=(const RecoveryJournal&) = delete;

    /// Other images were opened, with labels of 0; all that was written is void.
    void Begin(std::vector<JournalImage> images);

    /// The position is not open any more; those behind it move up. Only while nothing of it was written.
    void RemovePosition(std::size_t position);

    // What happened to a position's labels. The runs are held, not copied, until they are written.

    void Change(std::size_t position, SharedRuns runs);
    /// Runs that are worked out by Write.
    void Change(std::size_t position, RunSource runs);
    /// The labels are these runs over 0, whatever they were.
    void Replace(std::size_t position, RunSource runs);
    /// The labels are those of a result file.
    void Base(std::size_t position, const FileMark& labels);

    /// Nothing is unsaved: the file starts anew, with the result files that the labels now lie in.
    void Saved(const std::vector<std::optional<FileMark>>& results);

    /// What was written does not lead to the labels any more: the file goes, and nothing is taken until Begin or Saved.
    void GiveUp();

    enum class Progress { kMore, kDone };

    /// Writes `bytes` of what waits, as far as there is so much, in the middle of a record too. Before a long record is
    /// begun, calls may go by that write nothing: its runs are worked out and its checksum is taken, kJournalBytes at a
    /// time or `bytes` if that is more. Throws ToolkitError; the journal then takes nothing until Begin or Saved.
    Progress Write(std::uint64_t bytes);

    /// Writes all that waits, and the file outlives this: its program is ended by others, and its user was not asked.
    /// Takes nothing more. Throws as Write does.
    void Leave();

    bool Waiting() const { return !waiting_.empty(); }
    /// Whether all that was given is in the file.
    bool IsComplete() const { return waiting_.empty() && state_ != State::kFailed; }

private:
    struct WaitingRecord {
        std::uint8_t kind;
        std::uint32_t number;  ///< of the image
        SharedRuns payload;    ///< null while it is worked out
        RunSource source = nullptr;
        std::size_t summed = 0;  ///< bytes of the payload
        std::uint32_t checksum = 0;
        std::vector<std::uint8_t> head{};  ///< once all is summed
        std::size_t written = 0;           ///< bytes of head and payload
    };

    void Put(WaitingRecord record);
    static bool Prepare(WaitingRecord& record, std::uint64_t& bytes);
    bool WriteOn(WaitingRecord& record, std::uint64_t& bytes);
    void Open();
    void Close();

    std::string folder_;
    std::string path_;
    int descriptor_ = -1;
    std::vector<JournalImage> images_;
    std::vector<std::uint32_t> numbers_;  ///< by position: which of images_ it is
    std::deque<WaitingRecord> waiting_;
    std::vector<std::vector<std::uint8_t>> bases_;  ///< by image; written before the first change; records
    enum class State { kClean, kChanged, kFailed } state_ = State::kClean;
};

/// One position of a journal.
struct RecoveredPosition {
    JournalImage image;
    std::optional<FileMark> base;                 ///< the result file that the labels lay in; else they begin at 0
    std::vector<std::vector<std::uint8_t>> runs;  ///< the changes since, in their order
};

/// What the bytes of a journal are.
enum class JournalContent {
    kChanges,
    kNothing,  ///< no position has changes
    kForeign,  ///< of another version of the program, which may be able to read them
};

/// A journal that a program left behind when it died. It stays locked while this lives, so that no other program offers
/// it too.
class LeftJournal {
public:
    ~LeftJournal();
    LeftJournal(LeftJournal&& other) noexcept;
    LeftJournal& operator=(LeftJournal&&) = delete;
    LeftJournal(const LeftJournal&) = delete;

    const std::vector<RecoveredPosition>& Positions() const { return positions_; }
    /// When the last change was written, in seconds since 1970.
    std::int64_t WrittenAt() const { return writtenAt_; }
    /// Its labels are elsewhere now, or not wanted.
    void Remove();

private:
    friend struct LeftWork FindLeftWork(const std::string& folder);
    LeftJournal(std::string path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) {}
    JournalContent Read();

    std::string path_;
    int descriptor_;
    std::vector<RecoveredPosition> positions_;
    std::int64_t writtenAt_ = 0;
};

/// Of programs that are no more.
struct LeftWork {
    std::vector<LeftJournal> journals;  ///< the oldest first
    std::vector<std::string> foreign;   ///< files of another version of the program, which stay as they are
};

/// Removes journals without changes on the way.
LeftWork FindLeftWork(const std::string& folder);

/// The folder of the user's journals: korvane/recovery under XDG_STATE_HOME, or under ~/.local/state. Empty where
/// neither is known.
std::string RecoveryFolder();

}  // namespace Korvane
