#include "LabelBlobs.h"

#include <algorithm>
#include <cstdint>

#include "ComponentImage.h"
#include "operations/Labelling.h"
#include "support/MarkerGrowth.h"

namespace Korvane {

void LabelBlobs(const cv::Mat& blobs, qvox::LabelImage& labels, const qvox::PartRunner& run) {
    labels.Resize(static_cast<std::uint64_t>(blobs.cols), static_cast<std::uint64_t>(blobs.rows), 1);
    qvox::RunRows(labels.SizeY(), run, [&](const qvox::PartRange& rows) {
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const float* row = blobs.ptr<float>(static_cast<int>(y));
            std::transform(row, row + blobs.cols, labels.Row(y),
                           [](float v) { return static_cast<std::uint16_t>(v > 0.0f); });
        }
    });
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    CopyLabels(components.Identifiers(), labels, run);
}

}  // namespace Korvane
