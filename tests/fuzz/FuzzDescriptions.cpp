// The texts that files carry: ImageJ's, OME's and this program's own.

#include <cstdint>
#include <optional>
#include <string>

#include "ParametersFile.h"
#include "ToolkitError.h"
#include "files/ImageJDescription.h"
#include "files/OmeXml.h"
#include "files/PixelSize.h"
#include "files/StoredDescription.h"
#include "fuzz/FuzzSupport.h"

namespace korvane_test {

namespace {

void PromiseStack(const qvox::StackLayout& stack) {
    Promise(stack.planes >= 1 && stack.pageStride >= 1, "a stack has a plane, and its pages follow each other");
}

/// Resolution entries as they stand beside a description, picked by its length so that a text alone decides.
qvox::ResolutionTags TagsFor(std::size_t length) {
    qvox::ResolutionTags tags;
    if (length % 2 == 0) tags.x = length % 5 == 0 ? 0.0 : 1000.0 / static_cast<double>(1 + length % 7);
    if (length % 3 == 0) tags.y = length % 4 == 0 ? -1.0 : 254.0;
    if (length % 4 != 3) tags.unit = static_cast<int>(length % 4) + 1;
    return tags;
}

void FindAll(const std::string& text) {
    const qvox::PixelSize size = qvox::FindPixelSize(text, TagsFor(text.size()));
    PromiseSensible(size.resolution);
    PromiseStack(size.stack);
    const bool defined = size.resolution.x > 0.0f || size.resolution.y > 0.0f;
    Promise(defined == (size.source != qvox::ResolutionSource::kNone), "a size has a source, and only a size has one");
    Promise(!size.note.empty(), "a size, or that there is none, is explained");
}

}  // namespace

void FuzzImageJ(const std::uint8_t* bytes, std::size_t count) {
    const std::string text = "ImageJ=" + TextOf(bytes, count);
    const qvox::Description entries = qvox::ImageJEntries(text);
    Promise(!entries.empty(), "the first line is an entry");
    PromiseSensible(qvox::ResolutionFromImageJ(entries, TagsFor(count)).resolution);
    PromiseStack(qvox::StackFromImageJ(entries));
    FindAll(text);
}

void FuzzOme(const std::uint8_t* bytes, std::size_t count) {
    const std::string text = TextOf(bytes, count);
    const qvox::OmeFinding finding = qvox::ReadOmeXml(text);
    PromiseSensible(finding.size.resolution);
    PromiseStack(finding.stack);
    FindAll(text);
}

void FuzzStoredDescription(const std::uint8_t* bytes, std::size_t count) {
    const std::string text = TextOf(bytes, count);
    // Any map comes back from the text that is made of it.
    qvox::StoredProperties made;
    made.description["key " + text.substr(0, count / 2)] = text.substr(count / 2);
    const std::optional<qvox::StoredProperties> again = qvox::PropertiesFromText(qvox::DescriptionText(made, 1));
    Promise(again && again->description == made.description, "a description comes back from its text");
    // What is read of any text comes back too.
    for (const std::string& head : {std::string(), qvox::DescriptionText(made, 1) + "\n"}) {
        const std::optional<qvox::StoredProperties> found = qvox::PropertiesFromText(head + text);
        if (!found) continue;
        PromiseSensible(found->resolution);
        const auto back = qvox::PropertiesFromText(qvox::DescriptionText(*found, 3));
        Promise(back && back->description == found->description && back->resolution == found->resolution,
                "what was read can be stored");
    }
    FindAll(text);
}

void FuzzParameters(const std::uint8_t* bytes, std::size_t count) {
    Korvane::ParametersFile file;
    try {
        file = Korvane::ReadParametersText({reinterpret_cast<const char*>(bytes), count}, "p.json");
    } catch (const qvox::ToolkitError&) {
        return;
    }
    const Korvane::ParametersFile again = Korvane::ReadParametersText(Korvane::ParametersText(file), "p.json");
    for (const Korvane::ParameterRange& range : Korvane::kParameterRanges) {
        const float value = file.parameters.*range.field;
        Promise(value >= range.minimum && value <= range.maximum, "a parameter lies in its range");
        Promise(value == again.parameters.*range.field, "what is written is read again");
    }
    Promise(file.comment == again.comment, "a comment stays");
}

}  // namespace korvane_test
