#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "AnalysisParameters.h"
#include "FileDigest.h"

namespace Korvane {

/// Pixel size in nanometres; none where it is not known.
struct PixelSizeNm {
    std::optional<double> x;
    std::optional<double> y;
};

/// How one image's labels were made, or why they were not: one line of a folder's record. All text is UTF-8.
struct RecordEntry {
    std::string labels;  ///< name of the label file in the record's folder
    std::string path;    ///< full path of the image
    std::string result;  ///< "done", "failed", "no seeds" or "no label file"
    std::string command;
    std::optional<AnalysisParameters> parameters;  ///< none: the command has no analysis
    std::optional<UsedFile> parametersFile;        ///< that some of the parameters were read from
    std::optional<std::uint64_t> page;             ///< of the image's file, from 1; none: not known
    std::string preparation;  ///< options that leave out or fill parts of the image
    std::string prepared;     ///< the same as it was done
    PixelSizeNm pixelSize;
    std::string pixelSizeSource;  ///< empty: the image was not read
    std::optional<std::size_t> objects;
    double seconds = 0.0;
    std::string version;
    std::string commit;   ///< empty: not known
    std::string started;  ///< the run; UTC, ISO 8601
    std::string time;     ///< the entry
    std::string error;    ///< of an image that failed
    std::optional<FileDigest> input;
    std::optional<FileDigest> seeds;   ///< that segmentation began from
    std::optional<UsedFile> imported;  ///< the other program's label file
    std::optional<UsedFile> annotations;  ///< the image of what was filled
    std::optional<FileDigest> output;

    bool MadeLabels() const { return output.has_value(); }
};

/// Which run wrote into the folder, and whether it came to its end.
struct RecordRun {
    std::string command;
    std::optional<AnalysisParameters> parameters;
    std::string version;
    std::string commit;
    std::string started;
    bool interrupted = false;
};

/// Null without parameters.
nlohmann::ordered_json ParametersJson(const std::optional<AnalysisParameters>& parameters);

/// One line each, with its line feed; the same in every locale.
std::string EntryLine(const RecordEntry& entry);
std::string RunLine(const RecordRun& run);

/// The entry in a line of the record; none when the line holds something else or was torn.
std::optional<RecordEntry> ReadEntry(const std::string& line);
std::optional<RecordRun> ReadRun(const std::string& line);

/// The entry as the printed document shows it. Its label file is named with the folder.
nlohmann::ordered_json EntryJson(const RecordEntry& entry, const std::string& labelsPath);

/// A text that says in which ways an image's labels were made other than `asked`; empty when they were not. Command,
/// page, parameters, preparation with the file of annotations, and pixel size count, as far as both know them; a pixel
/// size that only one of them has is another one.
std::string DifferenceText(const RecordEntry& made, const RecordEntry& asked);

}  // namespace Korvane
