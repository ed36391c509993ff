#include "LabelBlobs.h"

#include <algorithm>
#include <cstdint>

#include "ComponentImage.h"
#include "operations/Labelling.h"

namespace Korvane {

void LabelBlobs(const cv::Mat& blobs, qvox::LabelImage& labels) {
    labels.Resize(static_cast<std::uint64_t>(blobs.cols), static_cast<std::uint64_t>(blobs.rows), 1);
    for (int y = 0; y < blobs.rows; ++y) {
        const float* row = blobs.ptr<float>(y);
        std::transform(row, row + blobs.cols, labels.Row(static_cast<std::uint64_t>(y)),
                       [](float v) { return static_cast<std::uint16_t>(v > 0.0f); });
    }
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    std::copy(components.Identifiers().begin(), components.Identifiers().end(), labels.begin());
}

}  // namespace Korvane
