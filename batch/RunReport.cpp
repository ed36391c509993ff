#include "RunReport.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <ctime>
#include <exception>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "CompleteFile.h"
#include "ExceptionText.h"
#include "PathText.h"
#include "Version.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

/// A float as the shortest decimal that stands for it: 0.15, not 0.15000000596046448.
double Shortest(float value) {
    std::array<char, 64> text;
    const char* const end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    double number = 0.0;
    std::from_chars(text.data(), end, number);
    return number;
}

const char* StateText(ImageState state) {
    switch (state) {
        case ImageState::kNotStarted:
            return "not started";
        case ImageState::kDone:
            return "done";
        case ImageState::kSkipped:
            return "skipped";
        case ImageState::kNoLabels:
            return "no seeds";
        case ImageState::kFailed:
            return "failed";
        case ImageState::kAbandoned:
            break;
    }
    return "abandoned";
}

Json PixelSizeNm(float perUm) {
    // The quotient in double precision, rounded once: a size that was given in nanometres comes back as it was given.
    return perUm > 0.0f ? Json(Shortest(static_cast<float>(1000.0 / static_cast<double>(perUm)))) : Json(nullptr);
}

Json ImageJson(const ImageFiles& files, const ImageOutcome& outcome) {
    Json image;
    image["path"] = files.input.utf8_string();
    image["labels"] = files.labels.utf8_string();
    image["result"] = StateText(outcome.state);
    const bool loaded = !outcome.resolutionSource.empty();
    image["pixelSizeNm"] = {{"x", PixelSizeNm(outcome.resolution.x)}, {"y", PixelSizeNm(outcome.resolution.y)}};
    image["pixelSizeSource"] = loaded ? Json(outcome.resolutionSource.utf8_string()) : Json(nullptr);
    image["objects"] = outcome.state == ImageState::kDone ? Json(outcome.objectCount) : Json(nullptr);
    image["seconds"] = static_cast<double>(static_cast<long>(outcome.seconds * 1000.0)) / 1000.0;
    if (!outcome.error.empty()) image["error"] = outcome.error.utf8_string();
    return image;
}

Json ParametersJson(const AnalysisParameters& parameters) {
    return {{"edgeContrast", Shortest(parameters.edgeContrast)},
            {"areaFraction", Shortest(parameters.areaFraction)},
            {"roundnessThreshold", Shortest(parameters.roundnessThreshold)},
            {"minObjectDiameterUm", Shortest(parameters.minObjectDiameterUm)},
            {"maxRelativeClusterSize", Shortest(parameters.maxRelativeClusterSize)},
            {"relativeExosomeSize", Shortest(parameters.relativeExosomeSize)}};
}

bool WorkedOn(ImageState state) { return state == ImageState::kDone || state == ImageState::kFailed; }

}  // namespace

std::string TimeText() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    std::array<char, 32> text;
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return std::string(text.data(), length);
}

std::string ReportText(const RunReport& report, const wxString& folder) {
    Json json;
    json["program"] = "korvane-batch";
    json["version"] = kVersion;
    json["command"] = report.record.command;
    json["started"] = report.started;
    json["interrupted"] = report.interrupted;
    json["parameters"] = ParametersJson(report.record.parameters);
    json["images"] = Json::array();
    for (std::size_t i = 0; i < report.images.size(); ++i) {
        if (FolderOf(report.images[i].labels) != folder) continue;
        json["images"].push_back(ImageJson(report.images[i], report.outcomes[i]));
    }
    return json.dump(2) + "\n";
}

std::vector<wxString> WriteReports(const RunReport& report) {
    std::set<wxString> folders;
    for (std::size_t i = 0; i < report.images.size(); ++i) {
        if (WorkedOn(report.outcomes[i].state)) folders.insert(FolderOf(report.images[i].labels));
    }
    std::vector<wxString> failures;
    for (const wxString& folder : folders) {
        try {
            WriteCompleteFile(PathBytes(ReportPath(folder)), ReportText(report, folder));
        } catch (...) {
            failures.push_back("The run is not recorded! (" + ExceptionText(std::current_exception()) + ")");
        }
    }
    return failures;
}

}  // namespace Korvane
