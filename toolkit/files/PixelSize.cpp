#include "files/PixelSize.h"

#include <tiff.h>

#include <utility>

#include "files/LengthUnit.h"
#include "files/OmeXml.h"

namespace qvox {

namespace {

bool IsDefined(const ResolutionFinding& finding) { return finding.resolution.x > 0.0f || finding.resolution.y > 0.0f; }

void Take(PixelSize& size, ResolutionFinding finding, ResolutionSource source) {
    size.resolution = finding.resolution;
    size.note = std::move(finding.note);
    size.source = IsDefined(finding) ? source : ResolutionSource::kNone;
}

void FromTags(PixelSize& size, const ResolutionTags& tags, const std::string& otherwise) {
    ResolutionFinding finding = ResolutionFromTags(tags);
    if (!IsDefined(finding) && !otherwise.empty()) finding.note = otherwise + "; " + finding.note;
    Take(size, std::move(finding), ResolutionSource::kResolutionTags);
}

// The entries of a file written here are per micrometre. Where they have got another unit since, another program has
// replaced them.
void FromStored(PixelSize& size, const Description& entries, const ResolutionTags& tags) {
    const PixelResolution& stored = size.stored->resolution;
    if (tags.unit.value_or(RESUNIT_NONE) != RESUNIT_NONE) {
        FromTags(size, tags, "");
    } else {
        const auto unit = entries.find("unit");
        const double micrometres = unit == entries.end() ? 1.0 : MicrometresPerUnit(unit->second).value_or(1.0);
        size.resolution.x = ExactWhereEntryAgrees(PixelsPerMicrometre(tags.x, micrometres), stored.x);
        size.resolution.y = ExactWhereEntryAgrees(PixelsPerMicrometre(tags.y, micrometres), stored.y);
        const bool defined = size.resolution.x > 0.0f || size.resolution.y > 0.0f;
        size.source = defined ? ResolutionSource::kImageJ : ResolutionSource::kNone;
        size.note =
            defined ? "ImageJ description: resolution entry in pixels per um" : "the file defines no pixel size";
    }
    const auto spacing = entries.find("spacing");
    const std::optional<double> step = spacing == entries.end() ? std::nullopt : DecimalNumber(spacing->second);
    const float entry = step && *step > 0.0 ? PixelsPerMicrometre(1.0 / *step, 1.0) : stored.z;
    size.resolution.z = ExactWhereEntryAgrees(entry, stored.z);
}

PixelSize FromDescriptionAndTags(const std::string& description, const ResolutionTags& tags) {
    PixelSize size;
    if (IsImageJDescription(description)) {
        const Description entries = ImageJEntries(description);
        size.stack = StackFromImageJ(entries);
        size.stored = PropertiesFromText(description);
        if (size.stored) {
            FromStored(size, entries, tags);
            return size;
        }
        ResolutionFinding finding = ResolutionFromImageJ(entries, tags);
        if (IsDefined(finding))
            Take(size, std::move(finding), ResolutionSource::kImageJ);
        else
            FromTags(size, tags, finding.note);
        return size;
    }
    OmeFinding ome = ReadOmeXml(description);
    size.stack = ome.stack;
    if (IsDefined(ome.size)) {
        Take(size, std::move(ome.size), ResolutionSource::kOmeXml);
        return size;
    }
    FromTags(size, tags, ome.size.note);
    // Writers of OME files put exactly 1 um into the entries of an image whose pixel size they do not know.
    if (ome.isOme && size.resolution.x == 1.0f && size.resolution.y == 1.0f) {
        Take(size, {{}, ome.size.note + "; 1 um in the resolution entry is its writers' default"},
             ResolutionSource::kNone);
    }
    return size;
}

}  // namespace

PixelSize FindPixelSize(const std::string& description, const ResolutionTags& tags, const VendorFinding& vendor) {
    PixelSize size = FromDescriptionAndTags(description, tags);
    if (vendor.size) {
        size.resolution.x = static_cast<float>(1000.0 / vendor.size->x);
        size.resolution.y = static_cast<float>(1000.0 / vendor.size->y);
        size.source = vendor.source;
        size.note = vendor.note;
    } else if (size.source == ResolutionSource::kNone && !vendor.note.empty()) {
        size.note = vendor.note + "; " + size.note;
    }
    return size;
}

}  // namespace qvox
