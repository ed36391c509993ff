#include "StageWriter.h"

#include <utility>

#include "Interrupt.h"
#include "PathText.h"
#include "files/ImageFile.h"
#include "files/StoredDescription.h"

namespace Korvane {

StageWriter::StageWriter(const Places& places, const ImageFiles& files, const qvox::VoxelImage<float>& raw,
                         Progress& progress, const Deadline& deadline)
    : places_(places),
      files_(files),
      resolution_(raw.Resolution()),
      orientation_(qvox::OrientationOf(raw.Metadata())),
      progress_(progress),
      deadline_(deadline) {}

void StageWriter::LeaveInTime() const {
    if (Interrupted()) throw RunInterrupted();
    deadline_.Check();
}

void StageWriter::BeginStage(DetectionStage stage, const StageProgress& progress) {
    LeaveInTime();
    progressValue_ = progress.value;
    ++stagesTold_;
    progress_.StageBegun();
    progress_.Trace(FileNameOf(files_.input) + ": " + wxString::FromUTF8(std::string(RowOf(stage).text)));
}

void StageWriter::Trace(const std::string& line) {
    LeaveInTime();
    progress_.Trace(FileNameOf(files_.input) + ": " + wxString::FromUTF8(line));
}

bool StageWriter::WantsStage(DetectionStage) { return places_.stages.has_value(); }

template <typename T>
void StageWriter::Save(DetectionStage stage, const qvox::VoxelImage<T>& map) {
    const std::string path = PathBytes(StagePath(places_, files_, stage));
    qvox::VoxelImage<T> scaled(map);
    scaled.SetResolution(resolution_);
    qvox::Description description = scaled.Metadata();
    qvox::SetOrientation(description, orientation_);
    scaled.SetMetadata(std::move(description));
    qvox::SaveImageFile(path, scaled);
}

void StageWriter::StageFloat(DetectionStage stage, const qvox::VoxelImage<float>& map) { Save(stage, map); }

void StageWriter::StageByte(DetectionStage stage, const qvox::VoxelImage<std::uint8_t>& map) { Save(stage, map); }

void StageWriter::StageLabels(DetectionStage stage, const qvox::LabelImage& map) { Save(stage, map); }

}  // namespace Korvane
