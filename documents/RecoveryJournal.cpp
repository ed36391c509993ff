#include "RecoveryJournal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <numeric>
#include <string_view>
#include <system_error>
#include <utility>

#include "JournalRecords.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kEnding = ".journal";
constexpr mode_t kUserAlone = 0600;

[[noreturn]] void Fail(const std::string& path) {
    throw qvox::FileError(qvox::FileError::Task::kWrite, path, std::strerror(errno));
}

void WriteAll(int descriptor, const std::uint8_t* bytes, std::size_t count, const std::string& path) {
    for (std::size_t done = 0; done < count;) {
        const ssize_t written = write(descriptor, bytes + done, count - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) Fail(path);
        done += static_cast<std::size_t>(written);
    }
}

/// A name that no program has had.
std::string NewName() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()) + "-" +
           std::to_string(getpid());
}

}  // namespace

bool operator==(const FileMark& a, const FileMark& b) {
    return a.path == b.path && a.bytes == b.bytes && a.modifiedNs == b.modifiedNs;
}

std::optional<FileMark> MarkOf(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0) return std::nullopt;
    constexpr std::int64_t kNsPerS = 1000000000;
    return FileMark{path, static_cast<std::uint64_t>(found.st_size),
                    static_cast<std::int64_t>(found.st_mtim.tv_sec) * kNsPerS + found.st_mtim.tv_nsec};
}

RecoveryJournal::RecoveryJournal(std::string folder) : folder_(std::move(folder)) {
    std::error_code failure;
    fs::create_directories(folder_, failure);
    fs::permissions(folder_, fs::perms::owner_all, failure);
    if (failure) throw qvox::FileError(qvox::FileError::Task::kWrite, folder_, failure.message());
}

RecoveryJournal::~RecoveryJournal() { Close(); }

void RecoveryJournal::Close() {
    if (descriptor_ < 0) return;
    // While it is locked: nobody offers it on the way.
    unlink(path_.c_str());
    close(descriptor_);
    descriptor_ = -1;
}

void RecoveryJournal::Begin(std::vector<JournalImage> images) {
    Close();
    waiting_.clear();
    bases_.assign(images.size(), {});
    images_ = std::move(images);
    numbers_.resize(images_.size());
    std::iota(numbers_.begin(), numbers_.end(), 0u);
    state_ = State::kClean;
}

void RecoveryJournal::RemovePosition(std::size_t position) {
    // The image stays in the file's head, and without changes.
    bases_[numbers_[position]].clear();
    numbers_.erase(numbers_.begin() + static_cast<std::ptrdiff_t>(position));
}

void RecoveryJournal::Put(WaitingRecord record) {
    if (state_ == State::kFailed) return;
    waiting_.push_back(std::move(record));
    state_ = State::kChanged;
}

void RecoveryJournal::Change(std::size_t position, SharedRuns runs) {
    Put({kChangeRecord, numbers_[position], std::move(runs)});
}

void RecoveryJournal::Change(std::size_t position, RunSource runs) {
    Put({kChangeRecord, numbers_[position], nullptr, std::move(runs)});
}

void RecoveryJournal::Replace(std::size_t position, RunSource runs) {
    Put({kReplaceRecord, numbers_[position], nullptr, std::move(runs)});
}

void RecoveryJournal::Base(std::size_t position, const FileMark& labels) {
    if (state_ == State::kFailed) return;
    std::vector<std::uint8_t> mark = PackMark(labels);
    // Alone it is nothing that could be lost.
    if (state_ == State::kClean) {
        bases_[numbers_[position]] = PackRecord({kBaseRecord, numbers_[position], std::move(mark)});
    } else {
        Put({kBaseRecord, numbers_[position], std::make_shared<const std::vector<std::uint8_t>>(std::move(mark))});
    }
}

void RecoveryJournal::Saved(const std::vector<std::optional<FileMark>>& results) {
    Close();
    waiting_.clear();
    state_ = State::kClean;
    for (std::size_t i = 0; i < results.size() && i < numbers_.size(); ++i) {
        if (results[i]) Base(i, *results[i]);
    }
}

void RecoveryJournal::Open() {
    path_ = (fs::path(folder_) / (NewName() + std::string(kEnding))).string();
    descriptor_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, kUserAlone);
    if (descriptor_ < 0) Fail(path_);
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) Fail(path_);
    std::vector<std::uint8_t> head = PackHead(images_);
    for (const std::vector<std::uint8_t>& base : bases_) head.insert(head.end(), base.begin(), base.end());
    WriteAll(descriptor_, head.data(), head.size(), path_);
}

/// Brings a record to where it can be written, within so many bytes of work; whether it is there.
bool RecoveryJournal::Prepare(WaitingRecord& record, std::uint64_t& bytes) {
    if (!record.head.empty()) return true;
    while (record.payload == nullptr && bytes > 0) {
        record.payload = record.source();
        // A part of long runs is as much work as may be done at once.
        bytes -= std::min<std::uint64_t>(bytes, record.payload != nullptr ? record.payload->size() : kJournalBytes);
    }
    if (record.payload == nullptr) return false;
    const std::vector<std::uint8_t>& payload = *record.payload;
    const RecordHead head{record.kind, record.number, payload.size()};
    if (record.summed == 0) record.checksum = HeadChecksum(head);
    const std::size_t count = std::min<std::uint64_t>(bytes, payload.size() - record.summed);
    record.checksum = AddToChecksum(record.checksum, payload.data() + record.summed, count);
    record.summed += count;
    bytes -= count;
    if (record.summed < payload.size()) return false;
    record.head = PackRecordHead(head, record.checksum);
    return true;
}

/// Writes so many bytes of a record at most; whether it is written.
bool RecoveryJournal::WriteOn(WaitingRecord& record, std::uint64_t& bytes) {
    const auto writeOf = [&](const std::vector<std::uint8_t>& part, std::size_t from) {
        const std::size_t count = std::min<std::uint64_t>(bytes, part.size() - from);
        WriteAll(descriptor_, part.data() + from, count, path_);
        record.written += count;
        bytes -= count;
    };
    const std::size_t head = record.head.size();
    if (record.written < head) writeOf(record.head, record.written);
    if (record.written >= head) writeOf(*record.payload, record.written - head);
    return record.written == head + record.payload->size();
}

RecoveryJournal::Progress RecoveryJournal::Write(std::uint64_t bytes) {
    if (state_ != State::kChanged) return Progress::kDone;
    try {
        if (descriptor_ < 0) Open();
        std::uint64_t prepared = std::max(bytes, kJournalBytes);
        while (bytes > 0 && !waiting_.empty()) {
            WaitingRecord& first = waiting_.front();
            if (!Prepare(first, prepared) || !WriteOn(first, bytes)) break;
            waiting_.pop_front();
        }
    } catch (...) {
        state_ = State::kFailed;
        waiting_.clear();
        throw;
    }
    return waiting_.empty() ? Progress::kDone : Progress::kMore;
}

void RecoveryJournal::GiveUp() {
    Close();
    waiting_.clear();
    state_ = State::kFailed;
}

void RecoveryJournal::Leave() {
    Write(std::numeric_limits<std::uint64_t>::max());
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
    state_ = State::kFailed;
}

LeftJournal::~LeftJournal() {
    if (descriptor_ >= 0) close(descriptor_);
}

LeftJournal::LeftJournal(LeftJournal&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      positions_(std::move(other.positions_)),
      writtenAt_(other.writtenAt_) {}

void LeftJournal::Remove() { unlink(path_.c_str()); }

JournalContent LeftJournal::Read() {
    std::vector<std::uint8_t> bytes(fs::file_size(path_));
    std::size_t read = 0;
    while (read < bytes.size()) {
        const ssize_t got = ::read(descriptor_, bytes.data() + read, bytes.size() - read);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        read += static_cast<std::size_t>(got);
    }
    bytes.resize(read);
    struct stat found {};
    if (fstat(descriptor_, &found) == 0) writtenAt_ = found.st_mtim.tv_sec;
    return UnpackJournal(bytes, positions_);
}

LeftWork FindLeftWork(const std::string& folder) {
    std::vector<std::string> paths;
    std::error_code failure;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, failure)) {
        if (entry.path().extension() == kEnding) paths.push_back(entry.path().string());
    }
    // Their names begin with their time.
    std::sort(paths.begin(), paths.end());
    LeftWork left;
    for (const std::string& path : paths) {
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) continue;
        LeftJournal journal(path, descriptor);
        if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) continue;
        switch (journal.Read()) {
            case JournalContent::kChanges:
                left.journals.push_back(std::move(journal));
                break;
            case JournalContent::kNothing:
                journal.Remove();
                break;
            case JournalContent::kForeign:
                left.foreign.push_back(path);
                break;
        }
    }
    return left;
}

std::string RecoveryFolder() {
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return fs::path(value == nullptr ? "" : value);
    };
    fs::path state = variable("XDG_STATE_HOME");
    // The rule for these folders: a path that is not absolute is to be ignored.
    if (!state.is_absolute()) {
        const fs::path home = variable("HOME");
        if (!home.is_absolute()) return "";
        state = home / ".local" / "state";
    }
    return (state / "korvane" / "recovery").string();
}

}  // namespace Korvane
