#pragma once

#include <optional>

#include "CommandTable.h"
#include "OptionGroups.h"

namespace Korvane {

enum class ExistingPixelSize { kRefuse, kReplace };

struct CalibrateOptions {
    InputOptions input;
    Places places;
    std::optional<double> pixelSizeNm;  ///< to store; always there once parsed
    ExistingLabels existing = ExistingLabels::kSkip;
    ExistingPixelSize existingPixelSize = ExistingPixelSize::kRefuse;
    unsigned jobs = 0;  ///< 0: as many as the process may use processors
};

void AddCalibrateOptions(CLI::App& command, CalibrateOptions& options);

/// Copies each image with the pixel size stored in it.
int RunCalibrate(const CalibrateOptions& options, const Streams& streams);

}  // namespace Korvane
