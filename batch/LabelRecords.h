#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <wx/string.h>

#include "ImageJob.h"
#include "RecordLog.h"

namespace Korvane {

/// The records of the folders that a run reads labels from, each read once. Jobs may ask at the same time.
class LabelRecords {
public:
    /// How the label file that the job has read was made; none where no record tells. Says once of a folder that lines
    /// of its record cannot be read.
    std::optional<RecordEntry> Making(ImageJob& job, const wxString& labels);

private:
    std::shared_ptr<const RecordIndex> IndexOf(const std::string& folder, ImageJob& job);

    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<const RecordIndex>> indices_;
};

}  // namespace Korvane
