#include "RecordDocument.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "FilePlan.h"
#include "ImageList.h"
#include "PathList.h"
#include "PathText.h"
#include "files/AtomicFile.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

/// Indented by so many more spaces; a string of JSON holds no line feed.
std::string Dump(const Json& json, const std::string& indentation) {
    const std::string text = json.dump(2, ' ', false, Json::error_handler_t::replace);
    std::string indented;
    for (const char character : text) {
        indented += character;
        if (character == '\n') indented += indentation;
    }
    return indented;
}

/// All of the document but the images, without its closing brace.
std::string Head(const RecordIndex& index) {
    const RecordRun run = index.LastRun().value_or(RecordRun{});
    Json json;
    json["program"] = "korvane-batch";
    json["version"] = run.version;
    json["commit"] = run.commit.empty() ? Json(nullptr) : Json(run.commit);
    json["command"] = run.command;
    json["started"] = run.started;
    json["interrupted"] = run.interrupted;
    json["parameters"] = ParametersJson(run.parameters);
    std::string text = Dump(json, "");
    text.resize(text.size() - 2);
    return text;
}

Json ImageJson(const RecordIndex& index, const std::string& folder, const std::string& labels) {
    const std::optional<RecordEntry> newest = index.Newest(labels);
    const std::optional<RecordEntry> making = index.Making(labels);
    const std::string labelsPath = JoinPath(PathText(folder), wxString::FromUTF8(labels)).utf8_string();
    Json json = EntryJson(making ? *making : *newest, labelsPath);
    std::error_code unreachable;
    const bool exists = std::filesystem::exists(PathBytes(wxString::FromUTF8(labelsPath)), unreachable);
    json["describesLabels"] = exists ? Json(making.has_value()) : Json(nullptr);
    if (making && !newest->error.empty()) json["laterFailure"] = {{"time", newest->time}, {"error", newest->error}};
    return json;
}

/// Label files in natural order of their images.
std::vector<std::string_view> InOrder(const RecordIndex& index) {
    const std::vector<std::string_view> labels = index.Labels();
    PathList images;
    for (const std::string_view name : labels) images.push_back(index.Newest(std::string(name))->path);
    std::vector<std::uint32_t> order(labels.size());
    std::iota(order.begin(), order.end(), std::uint32_t{0});
    std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        const std::string pathA = images[a];
        const std::string pathB = images[b];
        return pathA != pathB ? NaturalLess(pathA, pathB) : labels[a] < labels[b];
    });
    std::vector<std::string_view> ordered;
    ordered.reserve(order.size());
    for (const std::uint32_t place : order) ordered.push_back(labels[place]);
    return ordered;
}

}  // namespace

bool PutDocument(const RecordIndex& index, const std::string& folder, const PutBytes& put) {
    if (!put(Head(index) + ",\n  \"images\": [")) return false;
    const char* separator = "\n    ";
    for (const std::string_view labels : InOrder(index)) {
        if (!put(separator + Dump(ImageJson(index, folder, std::string(labels)), "    "))) return false;
        separator = ",\n    ";
    }
    return put("\n  ]\n}\n");
}

void WriteDocument(const RecordLock&, const std::string& folder) {
    const RecordIndex index(folder);
    qvox::AtomicFile file(PathBytes(ReportPath(PathText(folder))));
    PutDocument(index, folder, [&file](const std::string& bytes) {
        return file.Write(bytes.data(), bytes.size()) == static_cast<std::ptrdiff_t>(bytes.size());
    });
    // A write that failed makes Commit throw with its cause.
    file.Commit();
}

}  // namespace Korvane
