#include "LabelRecords.h"

#include "ImageList.h"
#include "PathText.h"
#include "Progress.h"

namespace Korvane {

std::optional<RecordEntry> LabelRecords::Making(ImageJob& job, const wxString& labels) {
    return IndexOf(PathBytes(FolderOf(labels)), job)->Making(PathBytes(FileNameOf(labels)));
}

std::shared_ptr<const RecordIndex> LabelRecords::IndexOf(const std::string& folder, ImageJob& job) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::shared_ptr<const RecordIndex>& index = indices_[folder];
    if (index) return index;
    index = std::make_shared<RecordIndex>(folder);
    const std::string damage = index->DamageText();
    if (!damage.empty()) job.Messages().Warning(PathText(damage));
    return index;
}

}  // namespace Korvane
