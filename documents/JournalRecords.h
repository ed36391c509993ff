#pragma once

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

std::vector<std::uint8_t> PackRecord(const JournalRecord& record);
std::vector<std::uint8_t> PackHead(const std::vector<JournalImage>& images);
std::vector<std::uint8_t> PackMark(const FileMark& mark);

/// The positions of a journal. Reads up to the first record that is torn or damaged; of a damaged head nothing is left.
JournalContent UnpackJournal(const std::vector<std::uint8_t>& bytes, std::vector<RecoveredPosition>& positions);

}  // namespace Korvane
