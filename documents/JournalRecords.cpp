#include "JournalRecords.h"

#include <zlib.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace Korvane {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The number behind it, up to the end of the line, is that of the format.
constexpr std::string_view kMagic = "Korvane journal ";
constexpr std::string_view kFormat = "2\n";
/// Its images have one plane each.
constexpr std::string_view kFormatOfPlanes = "1\n";
constexpr std::uint8_t kHeadRecord = 0;
/// Kind, position, length of the payload, checksum.
constexpr std::size_t kRecordHead = 1 + 4 + 8 + 4;

template <typename Number>
void Put(Bytes& bytes, Number number) {
    const auto value = static_cast<std::uint64_t>(number);
    for (std::size_t i = 0; i < sizeof(Number); ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void PutMark(Bytes& bytes, const FileMark& mark) {
    Put<std::uint32_t>(bytes, static_cast<std::uint32_t>(mark.path.size()));
    bytes.insert(bytes.end(), mark.path.begin(), mark.path.end());
    Put(bytes, mark.bytes);
    Put(bytes, mark.modifiedNs);
}

/// What of the head the checksum covers.
Bytes PackFields(const RecordHead& head) {
    Bytes bytes;
    bytes.reserve(kRecordHead);
    Put(bytes, head.kind);
    Put(bytes, head.position);
    Put(bytes, head.length);
    return bytes;
}

/// Takes numbers off bytes; nothing where they end too early.
class Taker {
public:
    Taker(const std::uint8_t* bytes, std::size_t count) : at_(bytes), end_(bytes + count) {}

    template <typename Number>
    std::optional<Number> Take() {
        if (static_cast<std::size_t>(end_ - at_) < sizeof(Number)) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof(Number); ++i) value |= static_cast<std::uint64_t>(*at_++) << (8 * i);
        return static_cast<Number>(value);
    }

    std::optional<FileMark> TakeMark() {
        const auto length = Take<std::uint32_t>();
        if (!length || static_cast<std::size_t>(end_ - at_) < *length) return std::nullopt;
        FileMark mark;
        mark.path.assign(at_, at_ + *length);
        at_ += *length;
        const auto bytes = Take<std::uint64_t>();
        const auto modified = Take<std::int64_t>();
        if (!bytes || !modified) return std::nullopt;
        mark.bytes = *bytes;
        mark.modifiedNs = *modified;
        return mark;
    }

private:
    const std::uint8_t* at_;
    const std::uint8_t* end_;
};

/// The record at a place, which moves behind it; nothing when it is torn or damaged.
std::optional<JournalRecord> TakeRecord(const Bytes& bytes, std::size_t& at) {
    Taker taker(bytes.data() + at, bytes.size() - at);
    const auto kind = taker.Take<std::uint8_t>();
    const auto position = taker.Take<std::uint32_t>();
    const auto length = taker.Take<std::uint64_t>();
    const auto checksum = taker.Take<std::uint32_t>();
    if (!kind || !position || !length || !checksum || *length > bytes.size() - at - kRecordHead) return std::nullopt;
    const std::uint8_t* const payload = bytes.data() + at + kRecordHead;
    const RecordHead head{*kind, *position, *length};
    if (AddToChecksum(HeadChecksum(head), payload, *length) != *checksum) return std::nullopt;
    at += kRecordHead + *length;
    return JournalRecord{*kind, *position, Bytes(payload, payload + *length)};
}

/// The sizes that a head tells of each image.
enum class HeadSizes { kTwo, kThree };

bool TakeHead(const JournalRecord& record, HeadSizes sizes, std::vector<RecoveredPosition>& positions) {
    if (record.kind != kHeadRecord) return false;
    Taker taker(record.payload.data(), record.payload.size());
    for (std::uint32_t i = 0; i < record.position; ++i) {
        const auto mark = taker.TakeMark();
        const auto width = taker.Take<std::uint64_t>();
        const auto height = taker.Take<std::uint64_t>();
        const auto depth = sizes == HeadSizes::kThree ? taker.Take<std::uint64_t>() : std::optional<std::uint64_t>(1);
        if (!mark || !width || !height || !depth) return false;
        positions.push_back({{*mark, *width, *height, *depth}, std::nullopt, {}});
    }
    return true;
}

void TakeInto(RecoveredPosition& position, JournalRecord record) {
    if (record.kind == kBaseRecord) {
        position.base = Taker(record.payload.data(), record.payload.size()).TakeMark();
        position.runs.clear();
        return;
    }
    if (record.kind == kReplaceRecord) {
        position.base.reset();
        position.runs.clear();
    }
    position.runs.push_back(std::move(record.payload));
}

}  // namespace

std::uint32_t AddToChecksum(std::uint32_t begun, const std::uint8_t* bytes, std::size_t count) {
    // The library takes a null pointer, which stands for no bytes here, for a question about the first value.
    return count == 0 ? begun : static_cast<std::uint32_t>(crc32_z(begun, bytes, count));
}

std::uint32_t HeadChecksum(const RecordHead& head) {
    const Bytes bytes = PackFields(head);
    return AddToChecksum(0, bytes.data(), bytes.size());
}

Bytes PackRecordHead(const RecordHead& head, std::uint32_t checksum) {
    Bytes bytes = PackFields(head);
    Put(bytes, checksum);
    return bytes;
}

Bytes PackRecord(const JournalRecord& record) {
    const RecordHead head{record.kind, record.position, record.payload.size()};
    Bytes bytes =
        PackRecordHead(head, AddToChecksum(HeadChecksum(head), record.payload.data(), record.payload.size()));
    bytes.insert(bytes.end(), record.payload.begin(), record.payload.end());
    return bytes;
}

Bytes PackHead(const std::vector<JournalImage>& images) {
    Bytes payload;
    for (const JournalImage& image : images) {
        PutMark(payload, image.file);
        Put(payload, image.width);
        Put(payload, image.height);
        Put(payload, image.depth);
    }
    const std::string begin = std::string(kMagic) + std::string(kFormat);
    Bytes bytes(begin.begin(), begin.end());
    const Bytes record = PackRecord({kHeadRecord, static_cast<std::uint32_t>(images.size()), payload});
    bytes.insert(bytes.end(), record.begin(), record.end());
    return bytes;
}

Bytes PackMark(const FileMark& mark) {
    Bytes bytes;
    PutMark(bytes, mark);
    return bytes;
}

JournalContent UnpackJournal(const Bytes& bytes, std::vector<RecoveredPosition>& positions) {
    positions.clear();
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::size_t at = kMagic.size() + kFormat.size();
    // A beginning that was cut short has nothing behind it.
    const std::string_view magic = text.substr(0, kMagic.size());
    if (magic != kMagic.substr(0, magic.size())) return JournalContent::kForeign;
    if (text.size() < at) return JournalContent::kNothing;
    const std::string_view format = text.substr(kMagic.size(), kFormat.size());
    if (format != kFormat && format != kFormatOfPlanes) return JournalContent::kForeign;
    const std::optional<JournalRecord> head = TakeRecord(bytes, at);
    if (!head || !TakeHead(*head, format == kFormat ? HeadSizes::kThree : HeadSizes::kTwo, positions)) {
        return JournalContent::kNothing;
    }
    while (std::optional<JournalRecord> record = TakeRecord(bytes, at)) {
        if (record->position >= positions.size()) break;
        TakeInto(positions[record->position], std::move(*record));
    }
    const bool hasChanges = std::any_of(positions.begin(), positions.end(),
                                        [](const RecoveredPosition& position) { return !position.runs.empty(); });
    return hasChanges ? JournalContent::kChanges : JournalContent::kNothing;
}

}  // namespace Korvane
