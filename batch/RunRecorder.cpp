#include "RunRecorder.h"

#include <array>
#include <charconv>
#include <chrono>
#include <ctime>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "ExceptionText.h"
#include "ImageJob.h"
#include "PathText.h"
#include "ProgramVersion.h"
#include "RecordDocument.h"
#include "ToolkitError.h"
#include "Version.h"

namespace Korvane {

namespace {

std::string FolderBytes(const ImageFiles& files) { return PathBytes(FolderOf(files.labels)); }

std::string LabelsName(const ImageFiles& files) { return FileNameOf(files.labels).utf8_string(); }

}  // namespace

std::optional<double> PixelSizeInNm(float perUm) {
    if (!(perUm > 0.0f)) return std::nullopt;
    std::array<char, 64> text;
    // The quotient in double precision, rounded once.
    const auto nm = static_cast<float>(1000.0 / static_cast<double>(perUm));
    const char* const end = std::to_chars(text.data(), text.data() + text.size(), nm).ptr;
    double number = 0.0;
    std::from_chars(text.data(), end, number);
    return number;
}

std::string TimeText() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    std::array<char, 32> text;
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return std::string(text.data(), length);
}

RunRecorder::RunRecorder(RunRecord record) : record_(std::move(record)), started_(TimeText()) {}

RecordEntry RunRecorder::Entry(const ImageFiles& files, const ImageOutcome& outcome) const {
    RecordEntry entry;
    entry.labels = LabelsName(files);
    entry.path = files.input.utf8_string();
    entry.command = record_.command;
    entry.page = outcome.page;
    entry.parameters = record_.parameters;
    entry.parametersFile = record_.parametersFile;
    entry.preparation = record_.preparation;
    entry.prepared = outcome.prepared;
    entry.pixelSize = {PixelSizeInNm(outcome.resolution.x), PixelSizeInNm(outcome.resolution.y)};
    // A size that was given is recorded as it was given, not as the quotient of its single-precision inverse.
    if (outcome.givenPixelSizeNm) entry.pixelSize = {outcome.givenPixelSizeNm, outcome.givenPixelSizeNm};
    entry.pixelSizeSource = outcome.resolutionSource.utf8_string();
    entry.seconds = outcome.seconds;
    entry.version = kVersion;
    entry.commit = ProgramCommit();
    entry.started = started_;
    entry.time = TimeText();
    return entry;
}

void RunRecorder::NoteFailure(Folder& folder) {
    // One text for each folder, not for each image.
    if (std::exchange(folder.hasFailed, true)) return;
    failures_.push_back("The run is not recorded! (" + ExceptionText(std::current_exception()) + ")");
}

void RunRecorder::Append(const ImageFiles& files, const RecordEntry& entry) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Folder& folder = folders_[FolderBytes(files)];
    try {
        RecordLock(FolderBytes(files)).Append(EntryLine(entry));
        folder.hasEntries = true;
    } catch (...) {
        NoteFailure(folder);
    }
}

RecordIndex& RunRecorder::IndexOf(const ImageFiles& files) {
    Folder& folder = folders_[FolderBytes(files)];
    if (!folder.index) folder.index.emplace(FolderBytes(files));
    return *folder.index;
}

std::optional<RecordEntry> RunRecorder::Making(const ImageFiles& files) {
    const std::lock_guard<std::mutex> lock(mutex_);
    RecordIndex& index = IndexOf(files);
    if (std::optional<RecordEntry> entry = index.Making(LabelsName(files))) return entry;
    // Another process may have made the labels meanwhile.
    index.Refresh();
    return index.Making(LabelsName(files));
}

bool RunRecorder::Knows(const ImageFiles& files) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return IndexOf(files).Newest(LabelsName(files)).has_value();
}

wxString RunRecorder::UntoldDamage(const ImageFiles& files) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string damage = IndexOf(files).DamageText();
    if (damage.empty() || std::exchange(folders_[FolderBytes(files)].isDamageTold, true)) return {};
    return PathText(damage);
}

std::optional<UsedFile> RunRecorder::Annotations() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (annotations_) return *annotations_;
    annotations_.emplace();
    if (!record_.annotationsFile) return std::nullopt;
    try {
        *annotations_ = UsedFile{*record_.annotationsFile, DigestOf(*record_.annotationsFile)};
    } catch (const qvox::ToolkitError&) {
        // An image whose labels are kept does without the file.
    }
    return *annotations_;
}

void RunRecorder::RecordNoImages(const std::string& folder) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::error_code unreachable;
    if (!std::filesystem::exists(folder + "/" + kRecordName, unreachable)) folders_[folder].hasEntries = true;
}

std::vector<wxString> RunRecorder::Finish(bool interrupted, RunDocument document) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [path, folder] : folders_) {
        if (!folder.hasEntries) continue;
        try {
            RecordLock record(path);
            record.Append(
                RunLine({record_.command, record_.parameters, kVersion, ProgramCommit(), started_, interrupted}));
            if (document == RunDocument::kWritten) WriteDocument(record, path);
        } catch (...) {
            NoteFailure(folder);
        }
    }
    return failures_;
}

}  // namespace Korvane
