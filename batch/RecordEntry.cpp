#include "RecordEntry.h"

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "ShortestText.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

struct ParameterName {
    const char* text;
    float AnalysisParameters::*field;

    const char* Key() const {
        const auto* range = kParameterRanges.begin();
        while (range->field != field) ++range;
        return range->key;
    }
};

constexpr std::array<ParameterName, 6> kParameterNames{{
    {"edge contrast", &AnalysisParameters::edgeContrast},
    {"area fraction", &AnalysisParameters::areaFraction},
    {"roundness", &AnalysisParameters::roundnessThreshold},
    {"minimum diameter", &AnalysisParameters::minObjectDiameterUm},
    {"maximum cluster size", &AnalysisParameters::maxRelativeClusterSize},
    {"exosome size", &AnalysisParameters::relativeExosomeSize},
}};

template <typename T>
Json OrNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json DigestJson(const std::optional<FileDigest>& digest) {
    if (!digest) return nullptr;
    return {{"bytes", digest->bytes}, {"modifiedNs", digest->modifiedNs}, {"sha256", digest->sha256}};
}

std::string Text(const Json& json, const char* key) {
    const auto at = json.find(key);
    return at == json.end() || !at->is_string() ? std::string() : at->get<std::string>();
}

template <typename T>
std::optional<T> Number(const Json& json, const char* key) {
    const auto at = json.find(key);
    if (at == json.end() || !at->is_number()) return std::nullopt;
    return at->get<T>();
}

FileDigest ReadDigest(const Json& json) {
    return {json.at("bytes").get<std::uint64_t>(), json.at("modifiedNs").get<std::int64_t>(),
            json.at("sha256").get<std::string>()};
}

std::optional<FileDigest> ReadDigest(const Json& json, const char* key) {
    const auto at = json.find(key);
    if (at == json.end() || !at->is_object()) return std::nullopt;
    return ReadDigest(*at);
}

Json UsedFileJson(const UsedFile& file) {
    Json json;
    json["path"] = file.path;
    json.update(DigestJson(file.digest));
    return json;
}

std::optional<UsedFile> ReadUsedFile(const Json& json, const char* key) {
    const auto at = json.find(key);
    if (at == json.end() || !at->is_object()) return std::nullopt;
    return UsedFile{Text(*at, "path"), ReadDigest(*at)};
}

std::optional<AnalysisParameters> ReadParameters(const Json& json) {
    if (json.is_null()) return std::nullopt;
    AnalysisParameters parameters;
    for (const ParameterName& name : kParameterNames) parameters.*name.field = json.at(name.Key()).get<float>();
    return parameters;
}

/// The fields that line and document have in common. Cut to milliseconds: no clock here is better.
void AddMaking(Json& json, const RecordEntry& entry) {
    json["result"] = entry.result;
    json["pixelSizeNm"] = {{"x", OrNull(entry.pixelSize.x)}, {"y", OrNull(entry.pixelSize.y)}};
    json["pixelSizeSource"] = TextOrNull(entry.pixelSizeSource);
    json["objects"] = OrNull(entry.objects);
    json["seconds"] = static_cast<double>(static_cast<long>(entry.seconds * 1000.0)) / 1000.0;
    if (!entry.error.empty()) json["error"] = entry.error;
    json["command"] = entry.command;
    json["page"] = OrNull(entry.page);
    json["parameters"] = ParametersJson(entry.parameters);
    if (entry.parametersFile) json["parametersFile"] = UsedFileJson(*entry.parametersFile);
    if (!entry.preparation.empty()) json["preparation"] = entry.preparation;
    if (!entry.prepared.empty()) json["prepared"] = entry.prepared;
    json["version"] = entry.version;
    json["commit"] = TextOrNull(entry.commit);
    json["started"] = entry.started;
    json["time"] = entry.time;
    json["input"] = DigestJson(entry.input);
    if (entry.seeds) json["seeds"] = DigestJson(entry.seeds);
    if (entry.imported) json["imported"] = UsedFileJson(*entry.imported);
    if (entry.annotations) json["annotations"] = UsedFileJson(*entry.annotations);
    json["output"] = DigestJson(entry.output);
}

/// Bytes that are no text become the replacement character instead of a failure.
std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"; }

template <typename Value, typename Read>
std::optional<Value> ReadLine(const std::string& line, Read read) {
    try {
        const Json json = Json::parse(line);
        if (!json.is_object()) return std::nullopt;
        return read(json);
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

void AddDifference(std::string& text, const std::string& name, const std::string& made, const std::string& asked) {
    if (made == asked) return;
    text += (text.empty() ? "" : ", ") + name + " " + made + ", now " + asked;
}

void AddDifference(std::string& text, const std::string& name, const std::optional<double>& made,
                   const std::optional<double>& asked) {
    if (made && asked && std::abs(*made - *asked) <= 1e-6 * *asked) return;
    const auto nm = [](const std::optional<double>& size) {
        return size ? qvox::ShortestText(static_cast<float>(*size)) + " nm" : "none";
    };
    AddDifference(text, name, nm(made), nm(asked));
}

/// The options of the preparation without the name that the file of annotations was given by.
std::string WithoutFileName(const RecordEntry& entry) {
    const std::string option = "--annotations ";
    const std::size_t at = entry.preparation.find(option + entry.annotations->path);
    if (at == std::string::npos) return entry.preparation;
    return std::string(entry.preparation).erase(at + option.size(), entry.annotations->path.size());
}

void AddPreparationDifference(std::string& text, const RecordEntry& made, const RecordEntry& asked) {
    const bool areKnown = made.annotations && asked.annotations;
    const bool areSame = areKnown && made.annotations->digest.sha256 == asked.annotations->digest.sha256;
    // A file of two names is one file.
    if (areSame && WithoutFileName(made) == WithoutFileName(asked)) return;
    const auto orNone = [](const std::string& preparation) { return preparation.empty() ? "none" : preparation; };
    AddDifference(text, "preparation", orNone(made.preparation), orNone(asked.preparation));
    if (!areKnown || areSame || made.preparation != asked.preparation) return;
    text += std::string(text.empty() ? "" : ", ") + "another file of annotations";
}

}  // namespace

Json ParametersJson(const std::optional<AnalysisParameters>& parameters) {
    if (!parameters) return nullptr;
    Json json;
    for (const ParameterName& name : kParameterNames)
        json[name.Key()] = qvox::ShortestDouble((*parameters).*name.field);
    return json;
}

std::string EntryLine(const RecordEntry& entry) {
    Json json;
    json["labels"] = entry.labels;
    json["path"] = entry.path;
    AddMaking(json, entry);
    return Dump(json);
}

std::string RunLine(const RecordRun& run) {
    Json json;
    json["run"] = run.started;
    json["command"] = run.command;
    json["parameters"] = ParametersJson(run.parameters);
    json["version"] = run.version;
    json["commit"] = TextOrNull(run.commit);
    json["interrupted"] = run.interrupted;
    return Dump(json);
}

std::optional<RecordEntry> ReadEntry(const std::string& line) {
    return ReadLine<RecordEntry>(line, [](const Json& json) -> std::optional<RecordEntry> {
        if (!json.contains("labels")) return std::nullopt;
        RecordEntry entry;
        entry.labels = Text(json, "labels");
        entry.path = Text(json, "path");
        entry.result = Text(json, "result");
        entry.command = Text(json, "command");
        entry.page = Number<std::uint64_t>(json, "page");
        entry.parameters = ReadParameters(json.at("parameters"));
        entry.parametersFile = ReadUsedFile(json, "parametersFile");
        entry.preparation = Text(json, "preparation");
        entry.prepared = Text(json, "prepared");
        entry.pixelSize = {Number<double>(json.at("pixelSizeNm"), "x"), Number<double>(json.at("pixelSizeNm"), "y")};
        entry.pixelSizeSource = Text(json, "pixelSizeSource");
        entry.objects = Number<std::size_t>(json, "objects");
        entry.seconds = Number<double>(json, "seconds").value_or(0.0);
        entry.version = Text(json, "version");
        entry.commit = Text(json, "commit");
        entry.started = Text(json, "started");
        entry.time = Text(json, "time");
        entry.error = Text(json, "error");
        entry.input = ReadDigest(json, "input");
        entry.seeds = ReadDigest(json, "seeds");
        entry.imported = ReadUsedFile(json, "imported");
        entry.annotations = ReadUsedFile(json, "annotations");
        entry.output = ReadDigest(json, "output");
        return entry;
    });
}

std::optional<RecordRun> ReadRun(const std::string& line) {
    return ReadLine<RecordRun>(line, [](const Json& json) -> std::optional<RecordRun> {
        if (!json.contains("run")) return std::nullopt;
        RecordRun run;
        run.command = Text(json, "command");
        run.parameters = ReadParameters(json.at("parameters"));
        run.version = Text(json, "version");
        run.commit = Text(json, "commit");
        run.started = Text(json, "run");
        run.interrupted = json.at("interrupted").get<bool>();
        return run;
    });
}

Json EntryJson(const RecordEntry& entry, const std::string& labelsPath) {
    Json json;
    json["path"] = entry.path;
    json["labels"] = labelsPath;
    AddMaking(json, entry);
    return json;
}

std::string DifferenceText(const RecordEntry& made, const RecordEntry& asked) {
    std::string text;
    AddDifference(text, "command", made.command, asked.command);
    if (made.page && asked.page)
        AddDifference(text, "page", qvox::ShortestText(*made.page), qvox::ShortestText(*asked.page));
    if (made.parameters && asked.parameters) {
        for (const ParameterName& name : kParameterNames) {
            AddDifference(text, name.text, qvox::ShortestText((*made.parameters).*name.field),
                          qvox::ShortestText((*asked.parameters).*name.field));
        }
    }
    AddPreparationDifference(text, made, asked);
    AddDifference(text, "pixel width", made.pixelSize.x, asked.pixelSize.x);
    AddDifference(text, "pixel height", made.pixelSize.y, asked.pixelSize.y);
    return text;
}

}  // namespace Korvane
