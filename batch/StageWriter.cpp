#include "StageWriter.h"

#include "Interrupt.h"
#include "PathText.h"
#include "files/ImageFile.h"

namespace Korvane {

namespace {

const char* StagePrefix(DetectionStage stage) {
    switch (stage) {
        case DetectionStage::kEdges:
            return "edges_";
        case DetectionStage::kCandidates:
            return "candidates_";
        case DetectionStage::kFiltered:
            return "filtered_";
        case DetectionStage::kSeparated:
            return "separated_";
        case DetectionStage::kRelief:
            return "relief_";
        case DetectionStage::kMarkers:
            break;
    }
    return "markers_";
}

void LeaveWhenInterrupted() {
    if (Interrupted()) throw RunInterrupted();
}

}  // namespace

StageWriter::StageWriter(const BatchOptions& options, const ImageFiles& files, const qvox::PixelResolution& resolution,
                         Progress& progress)
    : options_(options), files_(files), resolution_(resolution), progress_(progress) {}

void StageWriter::UpdateProgress(int value, const std::string& message) {
    LeaveWhenInterrupted();
    progressValue_ = value;
    ++stagesTold_;
    progress_.StageBegun();
    // The message begins with "Image: " and a number that counts within this image only.
    const std::size_t stage = message.find(' ', message.find(' ') + 1);
    if (stage == std::string::npos) return;
    progress_.Trace(FileNameOf(files_.input) + ":" + wxString::FromUTF8(message.substr(stage)));
}

void StageWriter::Trace(const std::string& line) {
    LeaveWhenInterrupted();
    progress_.Trace(FileNameOf(files_.input) + ": " + wxString::FromUTF8(line));
}

bool StageWriter::WantsStage(DetectionStage) { return options_.stages.has_value(); }

template <typename T>
void StageWriter::Save(DetectionStage stage, const qvox::VoxelImage<T>& map) {
    const std::string path = PathBytes(StagePath(options_, files_, StagePrefix(stage)));
    qvox::VoxelImage<T> scaled(map);
    scaled.SetResolution(resolution_);
    qvox::SaveImageFile(path, scaled);
}

void StageWriter::StageFloat(DetectionStage stage, const qvox::VoxelImage<float>& map) { Save(stage, map); }

void StageWriter::StageByte(DetectionStage stage, const qvox::VoxelImage<std::uint8_t>& map) { Save(stage, map); }

void StageWriter::StageLabels(DetectionStage stage, const qvox::LabelImage& map) { Save(stage, map); }

}  // namespace Korvane
