#include "MergedRecords.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "FileDigest.h"
#include "PathText.h"
#include "RecordDocument.h"
#include "RecordLog.h"
#include "ResultFiles.h"
#include "TablePart.h"
#include "ToolkitError.h"
#include "VoxelImage.h"
#include "files/AtomicFile.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

using Fact = MergedRecords::Fact;

std::string RecordPath(const std::string& folder) { return folder + "/" + kRecordName; }

/// Gives each whole line of a record with its offset.
void ForEachLine(const std::string& folder,
                 const std::function<void(const std::string& line, std::uint64_t offset)>& look) {
    const std::string trouble = UnopenedRecordText(folder);
    if (!trouble.empty()) throw qvox::ToolkitError(trouble);
    std::ifstream file(RecordPath(folder), std::ios::binary);
    if (!file) throw qvox::ToolkitError("There is no record in the folder '" + folder + "'.");
    std::string line;
    // A last line without its end was torn.
    for (std::uint64_t offset = 0; std::getline(file, line) && !file.eof(); offset += line.size() + 1) {
        look(line, offset);
    }
}

std::string LabelsPath(const std::string& folder, const RecordEntry& entry) {
    return folder + "/" + PathBytes(wxString::FromUTF8(entry.labels));
}

/// True of labels that are no longer those that the entry tells of: somebody corrected them, and how they were made
/// says nothing about them.
bool IsCorrected(const std::string& path, const RecordEntry& entry) {
    std::error_code unreachable;
    return entry.output && std::filesystem::exists(path, unreachable) && !IsUnchanged(path, *entry.output);
}

struct FolderFacts {
    std::vector<Fact> facts;
    std::size_t unreadable = 0;  // lines
};

FolderFacts FactsOf(const std::string& folder, std::uint32_t number) {
    FolderFacts found;
    std::vector<Fact>& facts = found.facts;
    std::unordered_map<std::uint64_t, std::size_t> places;
    ForEachLine(folder, [&](const std::string& line, std::uint64_t offset) {
        const std::optional<RecordEntry> entry = ReadEntry(line);
        if (!entry && !line.empty() && !ReadRun(line)) ++found.unreadable;
        if (!entry) return;
        const Fact fact{ImageKey(entry->path), ImageKey(entry->labels),       offset, number,
                        entry->MadeLabels(),   entry->objects.value_or(1) > 0};
        const auto [place, isNew] = places.try_emplace(fact.labels, facts.size());
        if (isNew) {
            facts.push_back(fact);
        } else if (fact.madeLabels || !facts[place->second].madeLabels) {
            facts[place->second] = fact;
        }
    });
    return found;
}

/// How many parts the ends of two full paths have in common: each begins with "/".
std::size_t SharedParts(const std::string& a, const std::string& b) {
    const auto end = std::mismatch(a.rbegin(), a.rend(), b.rbegin(), b.rend()).first;
    return static_cast<std::size_t>(std::count(a.rbegin(), end, '/'));
}

/// Without what images may differ in.
RecordEntry Making(RecordEntry entry) {
    entry.page.reset();
    entry.pixelSize = {};
    return entry;
}

std::string VersionText(const RecordEntry& entry) {
    return entry.version + (entry.commit.empty() ? "" : " (" + entry.commit + ")");
}

}  // namespace

MergedRecords::MergedRecords(std::vector<std::string> folders) : folders_(std::move(folders)) {
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        const FolderFacts found = FactsOf(folders_[i], static_cast<std::uint32_t>(i));
        facts_.insert(facts_.end(), found.facts.begin(), found.facts.end());
        const std::string damage = UnreadableLinesText(folders_[i], found.unreadable);
        if (!damage.empty()) damages_.push_back(damage);
    }
    for (std::size_t i = 0; i < facts_.size(); ++i) {
        byImage_.emplace_back(facts_[i].image, static_cast<std::uint32_t>(i));
    }
    std::sort(byImage_.begin(), byImage_.end());
}

const Fact* MergedRecords::Of(const std::string& imagePath) const {
    const std::uint64_t key = ImageKey(imagePath);
    const Fact* found = nullptr;
    const auto first = std::lower_bound(byImage_.begin(), byImage_.end(), std::make_pair(key, std::uint32_t{0}));
    for (auto at = first; at != byImage_.end() && at->first == key; ++at) {
        const Fact& fact = facts_[at->second];
        if (found == nullptr || fact.madeLabels) found = &fact;
    }
    return found != nullptr ? found : OfMoved(imagePath);
}

const MergedRecords::Places& MergedRecords::ByLabels() const {
    if (byLabels_.empty()) {
        for (std::size_t i = 0; i < facts_.size(); ++i) {
            byLabels_.emplace_back(facts_[i].labels, static_cast<std::uint32_t>(i));
        }
        std::sort(byLabels_.begin(), byLabels_.end());
    }
    return byLabels_;
}

bool MergedRecords::TellOf(const std::string& labelsPath) const {
    namespace fs = std::filesystem;
    const fs::path asked = fs::path(labelsPath).lexically_normal();
    const Places& places = ByLabels();
    const std::uint64_t key = ImageKey(PathText(asked.filename().string()).utf8_string());
    auto at = std::lower_bound(places.begin(), places.end(), std::make_pair(key, std::uint32_t{0}));
    for (; at != places.end() && at->first == key; ++at) {
        const Fact& fact = facts_[at->second];
        if (!fact.madeLabels) continue;
        if ((fs::path(folders_[fact.folder]) / asked.filename()).lexically_normal() == asked) return true;
    }
    return false;
}

const Fact* MergedRecords::OfMoved(const std::string& imagePath) const {
    const Places& places = ByLabels();
    const std::uint64_t key = ImageKey(kLabelsPrefix + imagePath.substr(imagePath.rfind('/') + 1));
    const Fact* found = nullptr;
    std::size_t longest = 0;
    bool isTie = false;
    auto at = std::lower_bound(places.begin(), places.end(), std::make_pair(key, std::uint32_t{0}));
    for (; at != places.end() && at->first == key; ++at) {
        const std::string recorded = Entry(facts_[at->second]).path;
        const std::size_t shared = SharedParts(recorded, imagePath);
        std::error_code unreachable;
        if (shared < longest || shared == 0) continue;
        if (std::filesystem::exists(PathBytes(wxString::FromUTF8(recorded)), unreachable)) continue;
        isTie = shared == longest;
        longest = shared;
        found = &facts_[at->second];
    }
    return isTie ? nullptr : found;
}

RecordEntry MergedRecords::Entry(const Fact& fact) const {
    std::ifstream file(RecordPath(folders_[fact.folder]), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(fact.offset));
    std::string line;
    std::getline(file, line);
    return ReadEntry(line).value_or(RecordEntry{});
}

bool MergedRecords::WereEmptied(const Fact& fact) const {
    const RecordEntry entry = Entry(fact);
    const std::string path = LabelsPath(folders_[fact.folder], entry);
    return IsCorrected(path, entry) && HasNoLabels(path);
}

void MergedRecords::RequireOneWay(MergeProblems& problems) const {
    std::optional<RecordEntry> first;
    std::vector<std::uint64_t> offsets;
    for (std::uint32_t folder = 0; folder < folders_.size(); ++folder) {
        offsets.clear();
        for (const Fact& fact : facts_) {
            if (fact.folder == folder && fact.madeLabels) offsets.push_back(fact.offset);
        }
        std::sort(offsets.begin(), offsets.end());
        ForEachLine(folders_[folder], [&](const std::string& line, std::uint64_t offset) {
            if (!std::binary_search(offsets.begin(), offsets.end(), offset)) return;
            const RecordEntry entry = Making(ReadEntry(line).value_or(RecordEntry{}));
            if (IsCorrected(LabelsPath(folders_[folder], entry), entry)) return;
            if (!first) first = entry;
            std::string difference = DifferenceText(entry, *first);
            if (VersionText(entry) != VersionText(*first)) {
                difference += (difference.empty() ? "" : ", ") + ("version " + VersionText(entry)) + ", now " +
                              VersionText(*first);
            }
            if (difference.empty()) return;
            // "A, now B" is said of one file in time; here it is of two images.
            for (std::size_t at = difference.find(", now "); at != std::string::npos; at = difference.find(", now ")) {
                difference.replace(at, 6, " against ");
            }
            problems.Add("were made otherwise", "The labels of '" + entry.path +
                                                    "' were made in another way than those of '" + first->path +
                                                    "': " + difference + ".");
        });
    }
}

void MergedRecords::RequireDistinct(MergeProblems& problems) const {
    const auto folderOf = [this](const Fact& fact) { return "'" + folders_[fact.folder] + "'"; };
    const auto compare = [&](std::uint64_t Fact::*key, const char* kind, const auto& nameOf) {
        std::vector<const Fact*> sorted;
        for (const Fact& fact : facts_) {
            if (fact.madeLabels) sorted.push_back(&fact);
        }
        std::stable_sort(sorted.begin(), sorted.end(),
                         [key](const Fact* a, const Fact* b) { return a->*key < b->*key; });
        for (std::size_t i = 0; i + 1 < sorted.size(); ++i) {
            const Fact& one = *sorted[i];
            const Fact& other = *sorted[i + 1];
            if (one.*key != other.*key) continue;
            const std::string name = nameOf(Entry(one));
            if (name == nameOf(Entry(other))) {
                problems.Add(kind, "'" + name + "' is in " + folderOf(one) + " and in " + folderOf(other) + ".");
            }
        }
    };
    compare(&Fact::image, "come twice", [](const RecordEntry& entry) { return entry.path; });
    compare(&Fact::labels, "have one name of labels", [](const RecordEntry& entry) { return entry.labels; });
}

void MergedRecords::Write(const std::string& folder) const {
    RecordRun run;
    bool isInterrupted = false;
    {
        qvox::AtomicFile file(RecordPath(folder));
        for (const std::string& part : folders_) {
            bool hasEnd = false;
            ForEachLine(part, [&](const std::string& line, std::uint64_t) {
                if (const std::optional<RecordRun> end = ReadRun(line)) {
                    run = *end;
                    hasEnd = !end->interrupted;
                    return;
                }
                if (!ReadEntry(line)) return;
                hasEnd = false;
                file.Write((line + "\n").data(), line.size() + 1);
            });
            isInterrupted = isInterrupted || !hasEnd;
        }
        run.interrupted = isInterrupted;
        const std::string end = RunLine(run);
        file.Write(end.data(), end.size());
        // A write that failed makes Commit throw with its cause.
        file.Commit();
    }
    WriteDocument(RecordLock(folder), folder);
}

bool HasNoLabels(const std::string& labelsPath) {
    try {
        qvox::LabelImage labels;
        qvox::LoadImageFile(labelsPath, labels, qvox::StoredValues());
        return std::all_of(labels.begin(), labels.end(), [](std::uint16_t label) { return label == 0; });
    } catch (const qvox::ToolkitError&) {
        return false;  // nothing is known of what cannot be read
    }
}

}  // namespace Korvane
