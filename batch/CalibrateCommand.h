#pragma once

#include <optional>

#include "CommandTable.h"
#include "OptionGroups.h"

namespace Korvane {

enum class ExistingPixelSize { kRefuse, kReplace };

struct CalibrateOptions {
    InputOptions input;
    Places places;
    std::optional<double> pixelSizeNm;  ///< to store; may be missing only where colours become grey
    std::optional<double> barLengthNm;  ///< of the image's own scale bar, which gives the pixel size
    ExistingLabels existing = ExistingLabels::kSkip;
    ExistingPixelSize existingPixelSize = ExistingPixelSize::kRefuse;
    qvox::ColourRule colour = qvox::ColourRule::kRefuse;
    JobOptions jobs;
};

void AddCalibrateOptions(CLI::App& command, CalibrateOptions& options);

/// Copies each image with the pixel size stored in it, or in grey.
int RunCalibrate(const CalibrateOptions& options, const Streams& streams);

}  // namespace Korvane
