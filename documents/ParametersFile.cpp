#include "ParametersFile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "CompleteFile.h"
#include "ShortestText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kCommentKey = "comment";
/// More than any such file needs; what is larger was named by mistake.
constexpr std::size_t kLargestFileBytes = std::size_t{64} << 10;
/// A number up to here becomes a float whatever it is.
constexpr double kBeyondAllRanges = 1e30;

[[noreturn]] void Refuse(const std::string& name, const std::string& cause) {
    throw qvox::ToolkitError("'" + name + "' cannot be used as a parameters file: " + cause + ".");
}

std::string Quoted(const std::string& key) { return '"' + key + '"'; }

std::string KnownKeys() {
    std::string keys;
    for (const ParameterRange& range : kParameterRanges) keys += Quoted(range.key) + ", ";
    return keys + Quoted(kCommentKey);
}

/// Without the library's own prefix, "[json.exception.parse_error.101] ".
std::string CauseOf(const Json::exception& failure) {
    const std::string text = failure.what();
    const std::size_t prefix = text.find("] ");
    return prefix == std::string::npos ? text : text.substr(prefix + 2);
}

/// The text as an object of plain members, no key twice.
Json ParseObject(std::string_view text, const std::string& name) {
    std::set<std::string> keys;
    const auto check = [&](int depth, Json::parse_event_t event, Json& value) {
        if (event == Json::parse_event_t::key && !keys.insert(value.get<std::string>()).second) {
            Refuse(name, "the key " + Quoted(value.get<std::string>()) + " stands twice");
        }
        const bool opens = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
        if (opens && depth > 0) Refuse(name, "it holds an object or a list inside of the object");
        return true;
    };
    try {
        Json json = Json::parse(text.begin(), text.end(), check);
        if (!json.is_object()) Refuse(name, "it holds no JSON object");
        return json;
    } catch (const Json::exception& failure) {
        Refuse(name, "it is not JSON (" + CauseOf(failure) + ")");
    }
}

float ReadValue(const Json& json, const ParameterRange& range, const std::string& name) {
    // Compared in single precision: 0.1 is the lower end where that is the float 0.1.
    if (json.is_number() && std::abs(json.get<double>()) < kBeyondAllRanges) {
        const auto value = static_cast<float>(json.get<double>());
        if (value >= range.minimum && value <= range.maximum) return value;
    }
    Refuse(name, Quoted(range.key) + " needs a number from " + qvox::ShortestText(range.minimum) + " to " +
                     qvox::ShortestText(range.maximum) + ", not " +
                     json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace

ParametersFile ReadParametersText(std::string_view text, const std::string& name) {
    ParametersFile file;
    const Json json = ParseObject(text, name);
    for (const auto& [key, value] : json.items()) {
        if (key == kCommentKey) {
            if (!value.is_string()) Refuse(name, Quoted(kCommentKey) + " needs a text");
            file.comment = value.get<std::string>();
            continue;
        }
        const auto* const range =
            std::find_if(kParameterRanges.begin(), kParameterRanges.end(),
                         [&key = key](const ParameterRange& candidate) { return key == candidate.key; });
        if (range == kParameterRanges.end()) {
            Refuse(name, "the key " + Quoted(key) + " is not known; known are " + KnownKeys());
        }
        file.parameters.*range->field = ReadValue(value, *range, name);
    }
    return file;
}

ParametersFile ReadParametersFile(const std::string& path) {
    using Task = qvox::FileError::Task;
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw qvox::FileError(Task::kRead, path, "the file cannot be opened");
    std::string text(kLargestFileBytes + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad()) throw qvox::FileError(Task::kRead, path, "reading failed");
    const auto length = static_cast<std::size_t>(stream.gcount());
    if (length > kLargestFileBytes) Refuse(path, "it is larger than 64 KiB");
    text.resize(length);
    return ReadParametersText(text, path);
}

std::string ParametersText(const ParametersFile& file) {
    Json json;
    if (!file.comment.empty()) json[kCommentKey] = file.comment;
    for (const ParameterRange& range : kParameterRanges)
        json[range.key] = qvox::ShortestDouble(file.parameters.*range.field);
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

void WriteParametersFile(const std::string& path, const ParametersFile& file) {
    WriteCompleteFile(path, ParametersText(file));
}

}  // namespace Korvane
