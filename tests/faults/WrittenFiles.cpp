#include "faults/WrittenFiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "Calibration.h"
#include "MeasurementTable.h"
#include "PathText.h"
#include "ResultFiles.h"
#include "files/ImageFile.h"
#include "support/TestImages.h"

namespace korvane_test {

namespace {

void WriteLabels(const std::string& path, int which) {
    std::mt19937 random(static_cast<unsigned>(which) + 1);
    const auto labels = RandomImage<std::uint16_t>(random, 37, 23, 0, 9);
    Korvane::SaveLabels(Korvane::PathText(path), labels);
}

void WriteOverlay(const std::string& path, int which) {
    std::mt19937 random(static_cast<unsigned>(which) + 3);
    qvox::VoxelImage<qvox::Rgb8> picture;
    picture.Resize(23, 17, 1);
    for (qvox::Rgb8& pixel : picture) {
        const auto value = static_cast<std::uint8_t>(random());
        pixel = {value, value, static_cast<std::uint8_t>(random())};
    }
    qvox::SaveImageFile(path, picture);
}

void WriteTable(const std::string& path, int which) {
    std::vector<wxString> rows;
    for (std::uint16_t label = 1; label < 12; ++label) {
        Korvane::MeasuredObject object;
        object.label = label;
        object.perimeterNm = 40.0 + label + which;
        rows.push_back(Korvane::MeasurementRow("some picture.tif", object));
    }
    Korvane::WriteMeasurementTable(Korvane::PathText(path), rows);
}

/// Copies of one image with another pixel size.
void WriteCalibratedCopy(const std::string& path, int which) {
    static const TemporaryFolder folder;
    static const std::string original = [] {
        std::mt19937 random(5);
        std::string file = folder.File("a.tif");
        qvox::SaveImageFile(file, RandomImage<std::uint16_t>(random, 29, 31, 0, 60000));
        return file;
    }();
    Korvane::CopyChanges changes;
    changes.pixelsPerUm = which == 0 ? 672.0f : 500.0f;
    Korvane::WriteCopy(original, path, qvox::VoxelType::kUint16, changes);
}

}  // namespace

const std::vector<FileKind>& FileKinds() {
    static const std::vector<FileKind> kinds{{"labels", "seg_a.tif", WriteLabels},
                                             {"overlay", "export_a.tif", WriteOverlay},
                                             {"table", "results.txt", WriteTable},
                                             {"calibratedCopy", "calibrated_a.tif", WriteCalibratedCopy}};
    return kinds;
}

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> NamesIn(const TemporaryFolder& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> Contents(const FileKind& kind) {
    const TemporaryFolder folder;
    std::vector<std::string> contents;
    for (const int which : {0, 1}) {
        kind.write(folder.File(kind.fileName), which);
        contents.push_back(BytesOf(folder.File(kind.fileName)));
    }
    return contents;
}

}  // namespace korvane_test
