#include "RecordLog.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

std::string RecordPath(const std::string& folder) { return folder + "/" + kRecordName; }

/// The file system's name of a label file that the record names.
std::string FilePath(const std::string& folder, const std::string& labels) {
    return folder + "/" + PathBytes(wxString::FromUTF8(labels));
}

bool EndsLine(int fd, off_t size) {
    char last = '\n';
    return size == 0 || (::pread(fd, &last, 1, size - 1) == 1 && last == '\n');
}

RecordRun RunOf(const RecordEntry& entry) {
    return {entry.command, entry.parameters, entry.version, entry.commit, entry.started, true};
}

}  // namespace

std::string UnopenedRecordText(const std::string& folder) {
    const std::string path = RecordPath(folder);
    const auto text = [&path](const std::string& cause) { return "'" + path + "' cannot be read: " + cause + "."; };
    struct stat status {};
    // Nothing else is opened: a pipe would wait for a writer.
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return text("It is no regular file");
    if (::access(path.c_str(), R_OK) == 0 || errno == ENOENT || errno == ENOTDIR) return "";
    return text(std::generic_category().message(errno));
}

std::string UnreadableLinesText(const std::string& folder, std::size_t count) {
    if (count == 0) return "";
    return std::to_string(count) + (count == 1 ? " line" : " lines") + " of '" + RecordPath(folder) +
           "' cannot be read.";
}

RecordLock::RecordLock(const std::string& folder)
    : path_(RecordPath(folder)), fd_(::open(path_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666)) {
    if (fd_ < 0) Fail(errno);
    // Where the file system has no locks, a single appending write is what keeps lines whole.
    while (::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
    }
}

RecordLock::~RecordLock() { ::close(fd_); }

void RecordLock::Fail(int error) const {
    throw qvox::ToolkitError("Cannot write '" + path_ + "': " + std::generic_category().message(error) + ".");
}

void RecordLock::Append(const std::string& line) {
    struct stat status {};
    if (::fstat(fd_, &status) != 0) Fail(errno);
    const std::string bytes = EndsLine(fd_, status.st_size) ? line : "\n" + line;
    ssize_t done = -1;
    do {
        done = ::write(fd_, bytes.data(), bytes.size());
    } while (done < 0 && errno == EINTR);
    if (done != static_cast<ssize_t>(bytes.size())) {
        const int error = done < 0 ? errno : ENOSPC;
        const int shortened = ::ftruncate(fd_, status.st_size);
        static_cast<void>(shortened);  // a torn line is skipped by readers
        Fail(error);
    }
    if (::fdatasync(fd_) != 0) Fail(errno);
}

RecordIndex::RecordIndex(const std::string& folder) : folder_(folder) { Refresh(); }

void RecordIndex::Refresh() {
    unopened_ = UnopenedRecordText(folder_);
    if (!unopened_.empty()) return;
    std::ifstream file(RecordPath(folder_), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(size_));
    std::string line;
    endsForeign_ = false;
    while (std::getline(file, line)) {
        // A last line without its end is still being written, or was torn.
        if (file.eof()) {
            endsForeign_ = line.front() != '{';
            break;
        }
        const Place place{size_, line.size()};
        size_ += line.size() + 1;
        if (const std::optional<RecordEntry> entry = ReadEntry(line)) {
            entries_[entry->labels].push_back(place);
            // No entry of a run follows its end.
            lastRun_ = RunOf(*entry);
        } else if (std::optional<RecordRun> run = ReadRun(line)) {
            lastRun_ = std::move(run);
        } else if (!line.empty()) {
            ++unreadable_;
        }
    }
}

std::string RecordIndex::DamageText() const {
    if (!unopened_.empty()) return unopened_;
    return UnreadableLinesText(folder_, unreadable_ + (endsForeign_ ? 1 : 0));
}

std::vector<std::string_view> RecordIndex::Labels() const {
    std::vector<std::string_view> names;
    names.reserve(entries_.size());
    for (const auto& [name, places] : entries_) names.push_back(name);
    return names;
}

std::string RecordIndex::Line(const Place& place) const {
    std::string line(place.length, '\0');
    const int file = ::open(RecordPath(folder_).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    // A shorter line is no entry any more.
    const ssize_t got = ::pread(file, line.data(), line.size(), static_cast<off_t>(place.offset));
    ::close(file);
    line.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return line;
}

std::optional<RecordEntry> RecordIndex::Making(const std::string& labels) const {
    const auto found = entries_.find(labels);
    if (found == entries_.end()) return std::nullopt;
    const std::string path = FilePath(folder_, labels);
    for (auto place = found->second.rbegin(); place != found->second.rend(); ++place) {
        std::optional<RecordEntry> entry = ReadEntry(Line(*place));
        if (entry && entry->output && IsUnchanged(path, *entry->output)) return entry;
    }
    return std::nullopt;
}

std::optional<RecordEntry> RecordIndex::Newest(const std::string& labels) const {
    const auto found = entries_.find(labels);
    return found == entries_.end() ? std::nullopt : ReadEntry(Line(found->second.back()));
}

std::optional<RecordRun> RecordIndex::LastRun() const { return lastRun_; }

}  // namespace Korvane
