#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "RecoveryJournal.h"

// The bytes of a recovery journal: a head that names the images, then records, each with its length and checksum.

namespace Korvane {

inline constexpr std::uint8_t kChangeRecord = 1;   ///< runs
inline constexpr std::uint8_t kReplaceRecord = 2;  ///< runs over 0
inline constexpr std::uint8_t kBaseRecord = 3;     ///< the mark of a result file

struct JournalRecord {
    std::uint8_t kind;
    std::uint32_t position;
    std::vector<std::uint8_t> payload;
};

/// What stands before the payload of a record.
struct RecordHead {
    std::uint8_t kind;
    std::uint32_t position;
    std::uint64_t length;  ///< of the payload, in bytes
};

/// The checksum of a record before its payload, and how it goes on over parts of the payload.
std::uint32_t HeadChecksum(const RecordHead& head);
std::uint32_t AddToChecksum(std::uint32_t begun, const std::uint8_t* bytes, std::size_t count);

/// The bytes before the payload; the checksum is that of all of it.
std::vector<std::uint8_t> PackRecordHead(const RecordHead& head, std::uint32_t checksum);
std::vector<std::uint8_t> PackRecord(const JournalRecord& record);
std::vector<std::uint8_t> PackHead(const std::vector<JournalImage>& images);
std::vector<std::uint8_t> PackMark(const FileMark& mark);

/// The positions of a journal. Reads up to the first record that is torn or damaged; of a damaged head nothing is left.
JournalContent UnpackJournal(const std::vector<std::uint8_t>& bytes, std::vector<RecoveredPosition>& positions);

}  // namespace Korvane
