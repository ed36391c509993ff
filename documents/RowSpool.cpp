#include "RowSpool.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "ToolkitError.h"

namespace Korvane {

namespace {

int OpenNameless(const std::string& folder) {
    const int file = ::open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return file;
    std::string name = folder + "/.korvane-rows-XXXXXX";
    const int named = ::mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0) ::unlink(name.c_str());
    return named;
}

}  // namespace

RowSpool::RowSpool(std::size_t images, std::string folder, std::size_t bytesInMemory)
    : folder_(std::move(folder)), bytesInMemory_(bytesInMemory), places_(images) {}

RowSpool::~RowSpool() {
    if (file_ >= 0) ::close(file_);
}

void RowSpool::Add(std::size_t image, const std::vector<wxString>& rows) {
    std::string bytes;
    for (const wxString& row : rows) bytes += row.utf8_string() + "\n";
    AddText(image, bytes);
}

void RowSpool::AddText(std::size_t image, const std::string& bytes) {
    if (bytes.empty()) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (error_ != 0) return;
    places_[image] = {filed_ + recent_.size(), bytes.size()};
    recent_ += bytes;
    if (recent_.size() > bytesInMemory_) Spill();
}

void RowSpool::Spill() {
    if (file_ < 0) file_ = OpenNameless(folder_);
    std::size_t done = 0;
    while (file_ >= 0 && done < recent_.size()) {
        const ssize_t count =
            ::pwrite(file_, recent_.data() + done, recent_.size() - done, static_cast<off_t>(filed_ + done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    if (done < recent_.size()) error_ = errno != 0 ? errno : ENOSPC;
    filed_ += recent_.size();
    recent_.clear();
}

std::string RowSpool::Read(const Place& place) const {
    if (place.offset >= filed_) return recent_.substr(place.offset - filed_, place.length);
    std::string bytes(place.length, '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            ::pread(file_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(place.offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            throw qvox::ToolkitError("The rows that were kept in '" + folder_ + "' cannot be read: " +
                                     std::generic_category().message(count < 0 ? errno : EIO) + ".");
        }
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

void RowSpool::RequireKept() const {
    if (error_ == 0) return;
    throw qvox::ToolkitError("Rows cannot be kept in '" + folder_ + "': " + std::generic_category().message(error_) +
                             ".");
}

std::string RowSpool::Of(std::size_t image) {
    const std::lock_guard<std::mutex> lock(mutex_);
    RequireKept();
    return places_[image].length > 0 ? Read(places_[image]) : std::string();
}

bool RowSpool::Copy(const std::function<bool(const std::string& bytes)>& put) {
    const std::lock_guard<std::mutex> lock(mutex_);
    RequireKept();
    for (const Place& place : places_) {
        if (place.length > 0 && !put(Read(place))) return false;
    }
    return true;
}

}  // namespace Korvane
