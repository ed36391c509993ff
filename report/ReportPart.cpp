#include "ReportPart.h"

#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>

#include "ToolkitError.h"

namespace Korvane {

namespace {

using Json = nlohmann::ordered_json;

/// Numbers are written so that they are read as the same bits.
std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"; }

template <typename T>
Json OrNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

template <typename T>
std::optional<T> Optional(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional<T>(json.get<T>());
}

Json SelectionJson(const ObjectSelection& selection) {
    return {{"diameter", OrNull(selection.diameter)},
            {"minDiameterNm", OrNull(selection.minDiameterNm)},
            {"maxDiameterNm", OrNull(selection.maxDiameterNm)},
            {"minRoundness", OrNull(selection.minRoundness)},
            {"excludesEdge", selection.atEdge == ObjectsAtEdge::kLeftOut},
            {"countsFilled", selection.filled == FilledObjects::kCounted}};
}

ObjectSelection SelectionOf(const Json& json) {
    ObjectSelection selection;
    selection.diameter = Optional<std::string>(json.at("diameter"));
    selection.minDiameterNm = Optional<double>(json.at("minDiameterNm"));
    selection.maxDiameterNm = Optional<double>(json.at("maxDiameterNm"));
    selection.minRoundness = Optional<double>(json.at("minRoundness"));
    if (json.at("excludesEdge").get<bool>()) selection.atEdge = ObjectsAtEdge::kLeftOut;
    if (json.at("countsFilled").get<bool>()) selection.filled = FilledObjects::kCounted;
    return selection;
}

ReportPartHead HeadOf(const Json& json) {
    ReportPartHead head;
    head.version = json.at("reportPartOf").get<std::string>();
    head.selection = SelectionOf(json.at("selection"));
    head.binWidth = json.at("binWidth").get<double>();
    head.groups = json.at("groups").get<std::vector<std::string>>();
    head.images = json.at("images").get<std::size_t>();
    head.thumbnails = json.at("thumbnails").get<std::size_t>();
    head.part = json.at("part").get<std::string>();
    return head;
}

ReportPartImage ImageOf(const Json& json) {
    ReportPartImage part;
    part.place = json.at("place").get<std::size_t>();
    part.rows = json.at("rows").get<std::string>();
    part.thumbnail = json.at("thumbnail").get<std::string>();
    ReportedImage& image = part.image;
    image.path = json.at("path").get<std::string>();
    image.name = json.at("name").get<std::string>();
    image.group = json.at("group").get<std::size_t>();
    image.leftOutBecause = json.at("leftOutBecause").get<std::string>();
    image.widthPx = json.at("widthPx").get<std::uint64_t>();
    image.heightPx = json.at("heightPx").get<std::uint64_t>();
    image.areaUm2 = json.at("areaUm2").get<double>();
    image.pixelSize = json.at("pixelSize").get<std::string>();
    image.pixelSizeSource = json.at("pixelSizeSource").get<std::string>();
    const Json& origin = json.at("origin");
    image.origin = {origin.at(0).get<std::string>(), origin.at(1).get<std::string>(), origin.at(2).get<std::string>(),
                    origin.at(3).get<std::string>()};
    image.warnings = json.at("warnings").get<std::vector<std::string>>();
    for (const Json& object : json.at("counted")) {
        image.counted.push_back({object.at(0).get<double>(), object.at(1).get<double>()});
    }
    image.objects = json.at("objects").get<std::size_t>();
    image.atEdge = json.at("atEdge").get<std::size_t>();
    image.leftOut = json.at("leftOut").get<std::map<std::string, std::size_t>>();
    return part;
}

}  // namespace

std::string HeadLine(const ReportPartHead& head) {
    Json json;
    json["reportPartOf"] = head.version;
    json["selection"] = SelectionJson(head.selection);
    json["binWidth"] = head.binWidth;
    json["groups"] = head.groups;
    json["images"] = head.images;
    json["thumbnails"] = head.thumbnails;
    json["part"] = head.part;
    return Dump(json);
}

std::string ImageLine(const ReportPartImage& part) {
    const ReportedImage& image = part.image;
    Json json;
    json["place"] = part.place;
    json["path"] = image.path;
    json["name"] = image.name;
    json["group"] = image.group;
    json["leftOutBecause"] = image.leftOutBecause;
    json["widthPx"] = image.widthPx;
    json["heightPx"] = image.heightPx;
    json["areaUm2"] = image.areaUm2;
    json["pixelSize"] = image.pixelSize;
    json["pixelSizeSource"] = image.pixelSizeSource;
    const LabelOrigin& origin = image.origin;
    json["origin"] = Json::array({origin.command, origin.program, origin.parameters, origin.prepared});
    json["warnings"] = image.warnings;
    json["counted"] = Json::array();
    for (const ReportedObject& object : image.counted) {
        json["counted"].push_back(Json::array({object.diameterNm, object.roundness}));
    }
    json["objects"] = image.objects;
    json["atEdge"] = image.atEdge;
    json["leftOut"] = image.leftOut;
    json["rows"] = part.rows;
    json["thumbnail"] = part.thumbnail;
    return Dump(json);
}

ReportPartImage ReadImageLine(const std::string& line, const std::string& place) {
    try {
        return ImageOf(Json::parse(line));
    } catch (const Json::exception&) {
        throw qvox::ToolkitError("'" + place + "' has a line that is no image of a report.");
    }
}

struct ReportPartReader::File {
    std::ifstream stream;
    std::string line;
};

ReportPartReader::ReportPartReader(const std::string& folder)
    : path_(folder + "/" + kReportPartName), file_(std::make_unique<File>()) {
    file_->stream.open(path_, std::ios::binary);
    if (!file_->stream) {
        throw qvox::ToolkitError("Cannot read '" + path_ + "': " + std::generic_category().message(errno) + ".");
    }
    std::getline(file_->stream, file_->line);
    try {
        head_ = HeadOf(Json::parse(file_->line));
    } catch (const Json::exception&) {
        throw qvox::ToolkitError("'" + path_ + "' is no part of a report.");
    }
}

ReportPartReader::~ReportPartReader() = default;

bool ReportPartReader::Next(ReportPartImage& image) {
    if (!std::getline(file_->stream, file_->line)) return false;
    image = ReadImageLine(file_->line, path_);
    return true;
}

std::string PartDifference(const ReportPartHead& one, const ReportPartHead& other) {
    if (one.version != other.version) return "version " + one.version + " against " + other.version;
    if (one.images != other.images) {
        return std::to_string(one.images) + " images against " + std::to_string(other.images);
    }
    if (SelectionJson(one.selection) != SelectionJson(other.selection)) return "another choice of objects";
    if (one.thumbnails != other.thumbnails) return "another number of thumbnails";
    if (one.binWidth != other.binWidth) return "another width of bins";
    return one.groups == other.groups ? "" : "other groups";
}

}  // namespace Korvane
