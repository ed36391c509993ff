#include "InfoJson.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "ImageLoading.h"
#include "PathText.h"
#include "RunRecorder.h"
#include "Version.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

/// Bytes that are no text become the replacement character.
std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json OrNull(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }

}  // namespace

std::string InfoJsonBegin() {
    return "{\n  \"program\": \"korvane-batch\",\n  \"version\": " + Dump(Json(kVersion)) + ",\n  \"images\": [";
}

std::string InfoJsonEnd() { return "\n  ]\n}\n"; }

std::string ImageInfoJson(const wxString& path, const qvox::ImageFileInfo& info,
                          const std::vector<wxString>& warnings) {
    Json json;
    json["path"] = path.utf8_string();
    json["width"] = info.sizeX;
    json["height"] = info.sizeY;
    json["planes"] = info.sizeZ;
    json["page"] = info.page;
    json["pages"] = info.pages;
    json["type"] = info.typeText;
    json["supported"] = IsInputType(info.type);
    json["pixelSizeNm"] = {{"x", OrNull(PixelSizeInNm(info.resolution.x))},
                           {"y", OrNull(PixelSizeInNm(info.resolution.y))}};
    json["pixelSizeSource"] =
        info.resolutionNote.empty() ? Json(nullptr) : Json(PathText(info.resolutionNote).utf8_string());
    json["warnings"] = Json::array();
    for (const wxString& warning : warnings) json["warnings"].push_back(warning.utf8_string());
    return Dump(json);
}

std::string FailureInfoJson(const wxString& path, const wxString& error) {
    Json json;
    json["path"] = path.utf8_string();
    json["error"] = error.utf8_string();
    return Dump(json);
}

}  // namespace Korvane
