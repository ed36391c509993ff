#include "RecordPlaces.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <system_error>

#include "ImageRun.h"
#include "PathText.h"
#include "RecordLog.h"

namespace Korvane {

namespace {

/// Why a file that is there cannot be written; empty where it can, or is not there.
std::string Trouble(const std::string& path) {
    std::error_code failure;
    if (std::filesystem::is_fifo(path, failure)) {
        return "'" + path + "' cannot be written to: It is no regular file.";
    }
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (file >= 0) {
        ::close(file);
        return "";
    }
    if (errno == ENOENT) return "";
    return "'" + path + "' cannot be written to: " + std::generic_category().message(errno) + ".";
}

std::string TroubleOfFolder(const std::string& folder, RecordFiles files) {
    std::string trouble = Trouble(folder + "/" + kRecordName);
    if (!trouble.empty() || files == RecordFiles::kLines) return trouble;
    return Trouble(PathBytes(ReportPath(PathText(folder))));
}

[[noreturn]] void Refuse(const std::string& trouble) { throw UsageError("The run cannot be recorded: " + trouble); }

bool IsSkipped(const ImageRun& run, const ImageFiles& files) {
    if (run.dryRun.kept == nullptr) return false;
    std::error_code unreachable;
    return std::filesystem::exists(PathBytes(files.*run.dryRun.kept), unreachable);
}

}  // namespace

void RequireRecordCanBe(const std::string& folder, RecordFiles files) {
    const std::string trouble = TroubleOfFolder(folder, files);
    if (!trouble.empty()) Refuse(trouble);
}

void RequireRecordsCanBe(const ImageRun& run, const FilePlan& plan) {
    if (run.recorder == nullptr) return;
    const RecordFiles written = run.input.shard ? RecordFiles::kLines : RecordFiles::kLinesAndDocument;
    std::map<std::string, std::string> troubles;
    for (std::size_t i = 0; i < plan.Count(); ++i) {
        const ImageFiles files = plan.Files(i);
        const std::string folder = PathBytes(FolderOf(files.labels));
        const auto [place, isNew] = troubles.try_emplace(folder);
        if (isNew) place->second = TroubleOfFolder(folder, written);
        if (!place->second.empty() && !IsSkipped(run, files)) Refuse(place->second);
    }
}

}  // namespace Korvane
