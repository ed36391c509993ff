#include "files/StoredDescription.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>

#include "files/ImageJDescription.h"

namespace qvox {

namespace {

const std::string kEntryPrefix = "qvox.entry.";
const std::string kOrientation = "Orientation";

// The most that the lines before the entries may take.
constexpr std::uint64_t kHeadBytes = 4096;

bool IsEscaped(char c, char alsoEscaped) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte > 0x7E || c == '%' || c == '\\' || c == alsoEscaped;
}

std::uint64_t EscapedBytes(const std::string& text, char alsoEscaped) {
    const auto escaped =
        std::count_if(text.begin(), text.end(), [alsoEscaped](char c) { return IsEscaped(c, alsoEscaped); });
    return text.size() + 2 * static_cast<std::uint64_t>(escaped);
}

// The room for entries, as they are put into a text one after the other.
class EntryRoom {
public:
    // False when the entry does not fit, which then takes nothing.
    bool Take(const std::string& key, const std::string& value) {
        const std::uint64_t bytes = kEntryPrefix.size() + EscapedBytes(key, '=') + EscapedBytes(value, '%') + 2;
        if (bytes > bytes_ || entries_ == 0) return false;
        bytes_ -= bytes;
        --entries_;
        return true;
    }

private:
    std::uint64_t bytes_ = kLongestOwnDescription - kHeadBytes;
    std::uint64_t entries_ = kMostDescriptionEntries;
};

std::string Escaped(const std::string& text, char alsoEscaped) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (IsEscaped(c, alsoEscaped)) {
            escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            escaped += c;
        }
    }
    return escaped;
}

int DigitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

std::string Unescaped(const std::string& text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool whole = text[i] == '%' && text.size() - i > 2;
        const int high = whole ? DigitOf(text[i + 1]) : -1;
        const int low = whole ? DigitOf(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            plain += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

std::string Shortest(float value) {
    std::array<char, 64> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    static_cast<void>(error);
    return std::string(text.data(), end);
}

std::string Triple(float x, float y, float z) { return Shortest(x) + ' ' + Shortest(y) + ' ' + Shortest(z); }

std::optional<std::array<float, 3>> TripleFrom(const std::string& text) {
    std::array<float, 3> values{};
    const char* at = text.data();
    const char* last = text.data() + text.size();
    for (float& value : values) {
        while (at != last && *at == ' ') ++at;
        const auto [end, error] = std::from_chars(at, last, value);
        if (error != std::errc()) return std::nullopt;
        at = end;
    }
    return values;
}

bool IsPlainZero(float value) { return value == 0.0f && !std::signbit(value); }

}  // namespace

PixelResolution StorableResolution(const PixelResolution& resolution) {
    const auto storable = [](float value) { return std::isfinite(value) && value > 0.0f ? value : 0.0f; };
    return {storable(resolution.x), storable(resolution.y), storable(resolution.z)};
}

bool FitsRational(float pixelsPerMicrometre) { return pixelsPerMicrometre >= 1e-6f && pixelsPerMicrometre <= 1e9f; }

float ExactWhereEntryAgrees(float entry, float stored) {
    if (!std::isfinite(stored) || stored < 0.0f) return entry;
    if (entry <= 0.0f) return FitsRational(stored) ? entry : stored;
    return std::abs(entry - stored) <= 1e-6f * entry ? stored : entry;
}

bool IsStorable(const Description& entries) {
    EntryRoom room;
    return std::all_of(entries.begin(), entries.end(),
                       [&room](const auto& entry) { return room.Take(entry.first, entry.second); });
}

void LeaveOutUnstorable(Description& entries) {
    EntryRoom room;
    for (auto at = entries.begin(); at != entries.end();) {
        at = room.Take(at->first, at->second) ? std::next(at) : entries.erase(at);
    }
}

std::uint16_t OrientationOf(const Description& entries) {
    const auto at = entries.find(kOrientation);
    const bool known = at != entries.end() && at->second.size() == 1 && at->second[0] >= '1' && at->second[0] <= '8';
    return known ? static_cast<std::uint16_t>(at->second[0] - '0') : std::uint16_t{1};
}

void SetOrientation(Description& entries, std::uint16_t orientation) {
    if (orientation < 1 || orientation > 8 || orientation == OrientationOf(entries)) return;
    if (orientation == 1)
        entries.erase(kOrientation);
    else
        entries[kOrientation] = std::to_string(orientation);
}

std::string DescriptionText(const StoredProperties& properties, std::uint64_t planes) {
    const PixelResolution& resolution = properties.resolution;
    const VoxelOffset& offset = properties.offset;
    std::string text = "ImageJ=1.11a\n";
    if (planes > 1) {
        const std::string count = std::to_string(planes);
        text += "images=" + count + "\nslices=" + count + "\n";
    }
    if (resolution.x > 0.0f || resolution.y > 0.0f) {
        text += "unit=um\n";
        if (resolution.z > 0.0f) text += "spacing=" + Shortest(1.0f / resolution.z) + "\n";
    }
    text += "qvox=1\nqvox.resolution=" + Triple(resolution.x, resolution.y, resolution.z) + "\n";
    if (!IsPlainZero(offset.x) || !IsPlainZero(offset.y) || !IsPlainZero(offset.z)) {
        text += "qvox.offset=" + Triple(offset.x, offset.y, offset.z) + "\n";
    }
    for (const auto& [key, value] : properties.description) {
        text += kEntryPrefix + Escaped(key, '=') + "=" + Escaped(value, '%') + "\n";
    }
    return text;
}

std::optional<StoredProperties> PropertiesFromText(const std::string& text) {
    if (!IsImageJDescription(text)) return std::nullopt;
    const Description entries = ImageJEntries(text);
    const auto mark = entries.find("qvox");
    if (mark == entries.end() || mark->second != "1") return std::nullopt;
    StoredProperties properties;
    const auto triple = [&entries](const char* key) {
        const auto at = entries.find(key);
        return at == entries.end() ? std::nullopt : TripleFrom(at->second);
    };
    if (const auto found = triple("qvox.resolution")) {
        properties.resolution = StorableResolution({(*found)[0], (*found)[1], (*found)[2]});
    }
    if (const auto found = triple("qvox.offset")) properties.offset = {(*found)[0], (*found)[1], (*found)[2]};
    for (auto at = entries.lower_bound(kEntryPrefix);
         at != entries.end() && at->first.compare(0, kEntryPrefix.size(), kEntryPrefix) == 0; ++at) {
        properties.description.emplace(Unescaped(at->first.substr(kEntryPrefix.size())), Unescaped(at->second));
    }
    return properties;
}

}  // namespace qvox
