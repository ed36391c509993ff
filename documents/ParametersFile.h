#pragma once

#include <string>
#include <string_view>

#include "AnalysisParameters.h"

namespace Korvane {

/// The contents of a parameters file: a JSON object with a number for each parameter that is not at its default, under
/// the keys of kParameterRanges, and a text `comment` that no analysis reads. Every member may be missing.
struct ParametersFile {
    AnalysisParameters parameters;
    std::string comment;
};

/// Reads a file by its name, of the file system's bytes. Throws ToolkitError that names the file and the key: for an
/// unreadable file, one above 64 KiB, text that is not such an object, a key that is not known or stands twice, a value
/// that is not a number or out of its range.
ParametersFile ReadParametersFile(const std::string& path);

/// The same for text that was read; `name` stands for the file in messages.
ParametersFile ReadParametersText(std::string_view text, const std::string& name);

/// All parameters, in the order of kParameterRanges, each as the shortest decimal that gives its value again; the same
/// bytes in every locale. An empty comment is left out.
std::string ParametersText(const ParametersFile& file);

/// Writes that text, complete or absent. Throws ToolkitError.
void WriteParametersFile(const std::string& path, const ParametersFile& file);

}  // namespace Korvane
