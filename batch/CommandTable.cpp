#include "CommandTable.h"

#include "CalibrateCommand.h"
#include "CompareCommand.h"
#include "DetectCommand.h"
#include "ImportCommand.h"
#include "InfoCommand.h"
#include "MeasureCommand.h"
#include "MergeCommand.h"
#include "OverlayCommand.h"
#include "RecordCommand.h"
#include "ReportCommand.h"
#include "RoisCommand.h"
#include "SegmentCommand.h"
#include "TuneCommand.h"

namespace Korvane {

namespace {

template <typename Options, void (*Add)(CLI::App&, Options&), int (*Run)(const Options&, const Streams&)>
std::unique_ptr<ParsedCommand> Prepare(CLI::App& command) {
    auto parsed = std::make_unique<ParsedCommandOf<Options>>(Run);
    Add(command, parsed->options);
    return parsed;
}

}  // namespace

const std::vector<BatchCommand>& BatchCommands() {
    static const std::vector<BatchCommand> commands{
        {"detect", "Detect exosomes; writes seg_NAME per image", Prepare<DetectOptions, AddDetectOptions, RunDetect>},
        {"segment", "Seeded segmentation of existing seg_NAME files",
         Prepare<SegmentOptions, AddSegmentOptions, RunSegment>},
        {"measure", "Measurement table of existing seg_NAME files",
         Prepare<MeasureOptions, AddMeasureOptions, RunMeasure>},
        {"overlay", "export_NAME pictures of existing seg_NAME files",
         Prepare<OverlayOptions, AddOverlayOptions, RunOverlay>},
        {"rois", "Regions of existing seg_NAME files for other programs",
         Prepare<RoisOptions, AddRoisOptions, RunRois>},
        {"report", "Sizes of the objects of existing seg_NAME files: statistics, figures, a page",
         Prepare<ReportCommandOptions, AddReportOptions, RunReport>},
        {"compare", "Scores of existing seg_NAME files beside true labels",
         Prepare<CompareOptions, AddCompareOptions, RunCompare>},
        {"tune", "Parameters learnt from images with true labels; writes parameters.json",
         Prepare<TuneOptions, AddTuneOptions, RunTune>},
        {"calibrate", "Copies of images with a pixel size stored in them",
         Prepare<CalibrateOptions, AddCalibrateOptions, RunCalibrate>},
        {"import", "seg_NAME files from label images of other programs",
         Prepare<ImportOptions, AddImportOptions, RunImport>},
        {"info", "Size, voxel type, pixel size and where it was found", Prepare<InfoOptions, AddInfoOptions, RunInfo>},
        {"merge", "One table, record or report of those of shards", Prepare<MergeOptions, AddMergeOptions, RunMerge>},
        {"record", "How the labels of a folder were made, as one JSON document",
         Prepare<RecordOptions, AddRecordOptions, RunRecordCommand>},
    };
    return commands;
}

}  // namespace Korvane
