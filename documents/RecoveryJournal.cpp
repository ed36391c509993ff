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
    DropWaiting();
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

void RecoveryJournal::Put(std::uint8_t kind, std::size_t position, const std::vector<std::uint8_t>& payload) {
    if (state_ == State::kFailed) return;
    waiting_.push_back(PackRecord({kind, numbers_[position], payload}));
    state_ = State::kChanged;
}

void RecoveryJournal::Change(std::size_t position, const std::vector<std::uint8_t>& runs) {
    Put(kChangeRecord, position, runs);
}

void RecoveryJournal::Replace(std::size_t position, const std::vector<std::uint8_t>& runs) {
    Put(kReplaceRecord, position, runs);
}

void RecoveryJournal::Base(std::size_t position, const FileMark& labels) {
    if (state_ == State::kFailed) return;
    const std::vector<std::uint8_t> record = PackRecord({kBaseRecord, numbers_[position], PackMark(labels)});
    // Alone it is nothing that could be lost.
    if (state_ == State::kClean) {
        bases_[numbers_[position]] = record;
    } else {
        waiting_.push_back(record);
    }
}

void RecoveryJournal::Saved(const std::vector<std::optional<FileMark>>& results) {
    Close();
    DropWaiting();
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

RecoveryJournal::Progress RecoveryJournal::Write(std::uint64_t bytes) {
    if (state_ != State::kChanged) return Progress::kDone;
    try {
        if (descriptor_ < 0) Open();
        for (std::uint64_t left = bytes; left > 0 && !waiting_.empty();) {
            const std::vector<std::uint8_t>& first = waiting_.front();
            const std::size_t count = std::min<std::uint64_t>(left, first.size() - writtenOfFirst_);
            WriteAll(descriptor_, first.data() + writtenOfFirst_, count, path_);
            left -= count;
            writtenOfFirst_ += count;
            if (writtenOfFirst_ < first.size()) break;
            waiting_.pop_front();
            writtenOfFirst_ = 0;
        }
    } catch (...) {
        state_ = State::kFailed;
        DropWaiting();
        throw;
    }
    return waiting_.empty() ? Progress::kDone : Progress::kMore;
}

void RecoveryJournal::DropWaiting() {
    waiting_.clear();
    writtenOfFirst_ = 0;
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
