#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "RecordEntry.h"

namespace Korvane {

/// Name of the record of a folder of labels: JSON Lines, one line per image that was worked on and one per run's end.
inline constexpr const char* kRecordName = "korvane-record.jsonl";
/// Name of the document that the end of a run leaves beside it.
inline constexpr const char* kRunDocumentName = "korvane-run.json";

/// "'FILE' cannot be read: CAUSE.", of the record of a folder that is there but cannot be opened, or is no regular
/// file; empty where it can, and where there is none.
std::string UnopenedRecordText(const std::string& folder);

/// "2 lines of 'FILE' cannot be read.", of the record of a folder; empty for none.
std::string UnreadableLinesText(const std::string& folder, std::size_t count);

/// Holds a record against other processes that append to it or print it, as far as the file system has locks.
class RecordLock {
public:
    /// Opens the record of a folder, and makes it when it is not there. Throws ToolkitError.
    explicit RecordLock(const std::string& folder);
    ~RecordLock();
    RecordLock(const RecordLock&) = delete;
    RecordLock& operator=(const RecordLock&) = delete;

    /// Appends a line in one write and flushes it to the disk. After a line that was torn by the end of its writer, a
    /// new line is begun first. A line that does not fit on the disk is taken back. Throws ToolkitError.
    void Append(const std::string& line);

private:
    [[noreturn]] void Fail(int error) const;

    std::string path_;
    int fd_;
};

/// The entries of a folder's record, by label file. Only the places of the lines are kept.
class RecordIndex {
public:
    /// A record that is not there is empty.
    explicit RecordIndex(const std::string& folder);

    bool Empty() const { return size_ == 0 && unreadable_ == 0 && !endsForeign_; }
    /// "2 lines of 'FILE' cannot be read."; empty where all can. A line counts that holds neither an entry nor the end
    /// of a run. The last one may lack its end, as it is still being written or its writer was killed: it then counts
    /// only where it does not begin as a line of a record. UnopenedRecordText of a record that cannot be opened, which
    /// is empty.
    std::string DamageText() const;
    /// The names of the label files that have entries. They live as long as this object and are not copied: a record may
    /// have a million.
    std::vector<std::string_view> Labels() const;
    /// The entry that tells how the label file that is there was made: the newest one whose digest is the file's. None
    /// when no entry does, also when there is no file.
    std::optional<RecordEntry> Making(const std::string& labels) const;
    /// The newest entry of a label file.
    std::optional<RecordEntry> Newest(const std::string& labels) const;
    /// The run that wrote last. One that did not come to its end counts as interrupted.
    std::optional<RecordRun> LastRun() const;
    /// Reads what was appended since.
    void Refresh();

private:
    struct Place {
        std::uint64_t offset;
        std::uint64_t length;
    };
    std::string Line(const Place& place) const;

    std::string folder_;
    std::string unopened_;  // why the record cannot be opened
    std::uint64_t size_ = 0;
    std::size_t unreadable_ = 0;  // whole lines
    bool endsForeign_ = false;    // with bytes that begin no line
    std::map<std::string, std::vector<Place>> entries_;
    std::optional<RecordRun> lastRun_;
};

}  // namespace Korvane
