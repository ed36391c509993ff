#include "TablePlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include "ExceptionText.h"
#include "FolderLock.h"
#include "ImageList.h"
#include "ImageRun.h"
#include "PathText.h"
#include "RunFolders.h"
#include "ToolkitError.h"
#include "files/AtomicFile.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

wxString SystemText(int error) { return wxString(std::generic_category().message(error)); }

bool IsOutput(const std::string& path) {
    struct stat target {};
    struct stat output {};
    return ::stat(path.c_str(), &target) == 0 && ::fstat(STDOUT_FILENO, &output) == 0 &&
           target.st_dev == output.st_dev && target.st_ino == output.st_ino;
}

/// True for names of open descriptors: /dev/stderr, /dev/fd/3, /proc/self/fd/3. They may lead to a regular file, which
/// must not be replaced under its writer.
bool IsDescriptor(const std::string& path) {
    fs::path place = path;
    std::error_code failure;
    constexpr int kMostLinks = 40;
    for (int i = 0; i < kMostLinks; ++i) {
        const std::string folder = fs::weakly_canonical(place.parent_path(), failure).string();
        if (folder.rfind("/proc/", 0) == 0 && folder.size() > 3 && folder.compare(folder.size() - 3, 3, "/fd") == 0) {
            return true;
        }
        const fs::path next = fs::read_symlink(place, failure);
        if (failure) return false;
        place = next.is_absolute() ? next : place.parent_path() / next;
    }
    return false;
}

TableKind KindOf(const std::string& given, const std::string& path) {
    if (given == "-" || IsOutput(path)) return TableKind::kStream;
    struct stat status {};
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    if (isThere && S_ISDIR(status.st_mode)) throw UsageError("The table '" + given + "' is a folder.");
    const bool isOther = isThere && !S_ISREG(status.st_mode);
    return isOther || IsDescriptor(path) ? TableKind::kDevice : TableKind::kFile;
}

/// The contents that --append finds in the file, with the end of its last line.
void CopyTable(const std::string& path, qvox::AtomicFile& file) {
    std::ifstream old(path, std::ios::binary);
    std::vector<char> piece(std::size_t{1} << 18);
    char last = '\n';
    while (old.read(piece.data(), static_cast<std::streamsize>(piece.size())) || old.gcount() > 0) {
        const auto count = static_cast<std::size_t>(old.gcount());
        file.Write(piece.data(), count);
        last = piece[count - 1];
    }
    if (!old.eof()) throw qvox::ToolkitError("Cannot read '" + path + "'.");
    if (last != '\n') file.Write("\n", 1);
}

std::string WithoutEnd(std::string line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    return line;
}

bool HasBytes(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

}  // namespace

TablePlace::TablePlace(const TableContents& contents, const TableRules& rules, TableKind withoutPath,
                       const std::vector<std::string>& foldersToBe)
    : name_(contents.name), likeIt_(contents.likeIt), header_(contents.header), rules_(rules), kind_(withoutPath) {
    if (!contents.path) return;
    given_ = *contents.path;
    path_ = FullPath(given_);
    kind_ = KindOf(given_, path_);
    if (kind_ == TableKind::kFile) RequireFile(foldersToBe);
    if (kind_ == TableKind::kDevice && ::access(path_.c_str(), W_OK) != 0) {
        throw UsageError("The table '" + given_ + "' cannot be written to: " + std::generic_category().message(errno) +
                         ".");
    }
}

wxString TablePlace::Missing(const wxString& cause) const { return "The " + name_ + " is missing! (" + cause + ")"; }

bool TablePlace::IsThere() const { return HasBytes(path_); }

void TablePlace::RequireFile(const std::vector<std::string>& foldersToBe) const {
    const auto refuse = [this](const std::string& cause) { throw UsageError("The table '" + given_ + "' " + cause); };
    std::error_code failure;
    if (fs::path(path_).filename() == kRecordName) refuse("would be written where the record of the labels goes.");
    if (fs::exists(path_, failure) && ::access(path_.c_str(), W_OK) != 0) {
        refuse("cannot be replaced: " + std::generic_category().message(errno) + ".");
    }
    const std::string folder = fs::path(path_).parent_path().string();
    if (!WouldBeMade(folder, foldersToBe) && ::access(folder.c_str(), W_OK | X_OK) != 0) {
        refuse("cannot be written: " + std::generic_category().message(errno) + ".");
    }
    // An empty file holds nothing that could be lost.
    if (!IsThere()) return;
    if (rules_.existing == ExistingTable::kRefuse) {
        refuse("exists already: --overwrite-table replaces it, --append adds rows to it.");
    }
    if (rules_.existing == ExistingTable::kAppend) RequireOwnHeader();
}

void TablePlace::RequireOwnHeader() const {
    std::ifstream file(path_, std::ios::binary);
    std::string line;
    std::getline(file, line);
    if (WithoutEnd(line) == WithoutEnd(header_)) return;
    throw UsageError("The table '" + given_ + "' does not begin with the header of a " + likeIt_ +
                     ": rows are not added to it.");
}

std::string TablePlace::SpoolFolder() const {
    if (kind_ == TableKind::kFile) return fs::path(path_).parent_path().string();
    std::error_code failure;
    const fs::path folder = fs::temp_directory_path(failure);
    return failure ? std::string("/tmp") : folder.string();
}

wxString TablePlace::Write(RowSpool& rows, const TableRun& run, std::FILE* output) const {
    try {
        switch (kind_) {
            case TableKind::kNone:
                return wxString();
            case TableKind::kStream: {
                const auto put = [output](const std::string& bytes) { return WriteOut(output, bytes); };
                if (put(header_) && rows.Copy(put)) return wxString();
                return "Cannot write the " + name_ + " to the standard output! (" + SystemText(errno) + ")";
            }
            case TableKind::kDevice:
                return WriteDevice(rows);
            case TableKind::kFile:
                break;
        }
        const FolderLock lock({FolderOfFile(path_)});
        if (IsThere() && rules_.existing == ExistingTable::kRefuse) {
            return Missing("'" + PathText(path_) + "' was made by another program meanwhile and is kept");
        }
        const bool keepsOld = rules_.partial == PartialTable::kKeepOld && rules_.existing == ExistingTable::kReplace;
        if (run.hasFailed && keepsOld && IsThere()) {
            return "The " + name_ + " '" + PathText(path_) + "' is kept as it was: " +
                   (run.failed > 0 ? wxString::Format("%zu of %zu images failed", run.failed, run.images)
                                   : wxString("no image could be worked on")) +
                   ". --partial-table writes the rows of the others.";
        }
        return WriteFile(rows);
    } catch (...) {
        return Missing(ExceptionText(std::current_exception()));
    }
}

wxString TablePlace::WriteFile(RowSpool& rows) const {
    const bool adds = rules_.existing == ExistingTable::kAppend && IsThere();
    qvox::AtomicFile file(path_);
    const auto put = [&file](const std::string& bytes) {
        return file.Write(bytes.data(), bytes.size()) == static_cast<std::ptrdiff_t>(bytes.size());
    };
    if (adds) {
        CopyTable(path_, file);
    } else {
        put(header_);
    }
    rows.Copy(put);
    // A write that failed makes Commit throw with its cause.
    file.Commit();
    return wxString();
}

wxString TablePlace::WriteDevice(RowSpool& rows) const {
    const auto fail = [this](int error) {
        return Missing("Cannot write to '" + PathText(given_) + "': " + SystemText(error));
    };
    const int fd = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return fail(errno);
    std::FILE* const device = ::fdopen(fd, "a");
    if (device == nullptr) {
        const int error = errno;
        ::close(fd);
        return fail(error);
    }
    int error = 0;
    const auto put = [&](const std::string& bytes) {
        if (!WriteOut(device, bytes)) error = errno;
        return error == 0;
    };
    try {
        if (put(header_)) rows.Copy(put);
    } catch (...) {
        std::fclose(device);
        throw;
    }
    std::fclose(device);
    return error == 0 ? wxString() : fail(error);
}

}  // namespace Korvane
