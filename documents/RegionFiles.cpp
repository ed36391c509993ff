#include "RegionFiles.h"

#include <zip.h>

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "CompleteFile.h"
#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

/// Every file of an archive gets this date, the first that there is, so that archives do not depend on the clock.
constexpr zip_uint16_t kFirstOfJanuary1980 = 1 << 5 | 1;

[[noreturn]] void Fail(const std::string& cause) {
    throw qvox::ToolkitError("Cannot make the archive of the regions: " + cause + ".");
}

/// An archive in memory.
class Archive {
public:
    Archive() {
        zip_error_t error;
        zip_error_init(&error);
        source_ = zip_source_buffer_create(nullptr, 0, 0, &error);
        if (source_ != nullptr) archive_ = zip_open_from_source(source_, ZIP_TRUNCATE, &error);
        if (archive_ == nullptr) {
            const std::string cause = zip_error_strerror(&error);
            if (source_ != nullptr) zip_source_free(source_);
            zip_error_fini(&error);
            Fail(cause);
        }
        // The archive takes its own hold of it; ours is kept for Bytes.
        zip_source_keep(source_);
        zip_error_fini(&error);
    }
    ~Archive() {
        if (archive_ != nullptr) zip_discard(archive_);
        zip_source_free(source_);
    }
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    /// The bytes must stay where they are until Bytes.
    void Add(const std::string& name, const std::string& bytes) {
        zip_source_t* const entry = zip_source_buffer(archive_, bytes.data(), bytes.size(), 0);
        const zip_int64_t index = entry != nullptr ? zip_file_add(archive_, name.c_str(), entry, ZIP_FL_ENC_UTF_8) : -1;
        if (index < 0) {
            if (entry != nullptr) zip_source_free(entry);
            Fail(zip_strerror(archive_));
        }
        if (zip_file_set_dostime(archive_, static_cast<zip_uint64_t>(index), 0, kFirstOfJanuary1980, 0) != 0) {
            Fail(zip_strerror(archive_));
        }
    }

    /// Closes the archive.
    std::string Bytes() {
        if (zip_close(archive_) != 0) Fail(zip_strerror(archive_));
        archive_ = nullptr;
        zip_stat_t status;
        if (zip_source_open(source_) != 0 || zip_source_stat(source_, &status) != 0) Fail("it cannot be read back");
        std::string bytes(status.size, '\0');
        const zip_int64_t count = zip_source_read(source_, bytes.data(), bytes.size());
        zip_source_close(source_);
        if (count != static_cast<zip_int64_t>(bytes.size())) Fail("it cannot be read back");
        return bytes;
    }

private:
    zip_source_t* source_ = nullptr;
    zip_t* archive_ = nullptr;
};

using Json = nlohmann::ordered_json;

/// The ring with its first point at its end again; fractions to a thousandth of a pixel.
Json Coordinates(const ClosedCurve& ring, double sign) {
    const auto rounded = [](double value) { return std::round((value + 0.5) * 1000.0) / 1000.0; };
    Json points = Json::array();
    const bool isReversed = SignedArea(ring) * sign < 0.0;
    for (std::size_t i = 0; i <= ring.size(); ++i) {
        const std::size_t at = i % ring.size();
        const CurvePoint& point = ring[isReversed ? ring.size() - 1 - at : at];
        points.push_back({rounded(point.x), rounded(point.y)});
    }
    return points;
}

Json Rings(const OutlinePolygon& polygon) {
    Json rings = Json::array({Coordinates(polygon.exterior, 1.0)});
    for (const ClosedCurve& hole : polygon.holes) rings.push_back(Coordinates(hole, -1.0));
    return rings;
}

Json Feature(const ImageRegion& region) {
    Json geometry;
    if (region.polygons.size() == 1) {
        geometry = {{"type", "Polygon"}, {"coordinates", Rings(region.polygons.front())}};
    } else {
        Json all = Json::array();
        for (const OutlinePolygon& polygon : region.polygons) all.push_back(Rings(polygon));
        geometry = {{"type", "MultiPolygon"}, {"coordinates", std::move(all)}};
    }
    return {{"type", "Feature"},
            {"geometry", std::move(geometry)},
            {"properties", {{"objectType", "annotation"}, {"name", region.name}}}};
}

}  // namespace

std::string ImageJRegionSet(const std::vector<ImageRegion>& regions) {
    // The library writes no archive without files; this is one.
    if (regions.empty()) return std::string("PK\5\6") + std::string(18, '\0');
    std::vector<std::string> files;
    files.reserve(regions.size());
    Archive archive;
    for (const ImageRegion& region : regions) {
        files.push_back(ImageJRegion(region));
        archive.Add(region.name + ".roi", files.back());
    }
    return archive.Bytes();
}

std::string GeoJsonRegions(const std::vector<ImageRegion>& regions) {
    std::string text = "{\"type\": \"FeatureCollection\", \"features\": [";
    for (const ImageRegion& region : regions) text += (text.back() == '[' ? "\n" : ",\n") + Feature(region).dump();
    return text + "\n]}\n";
}

void WriteRegions(const wxString& path, const std::vector<ImageRegion>& regions, RegionFormat format) {
    WriteCompleteFile(PathBytes(path),
                      format == RegionFormat::kImageJ ? ImageJRegionSet(regions) : GeoJsonRegions(regions));
}

}  // namespace Korvane
