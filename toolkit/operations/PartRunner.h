#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace qvox {

/// Calls part(0) .. part(count - 1), each once, in any order, possibly at the same time.
using PartRunner = std::function<void(std::size_t count, const std::function<void(std::size_t)>& part)>;
void RunOneByOne(std::size_t count, const std::function<void(std::size_t)>& part);

/// A part of numbers that follow each other: rows of an image, say. Where it begins and ends depends on
/// how many there are in all, never on who runs it.
struct PartRange {
    std::size_t part = 0;  ///< its number among the parts
    std::uint64_t first = 0;
    std::uint64_t end = 0;  ///< one behind the last
};

/// Into how many parts `count` numbers are divided: one of at least `fewest` numbers each, 32 at most, 1 at least.
std::size_t PartsOf(std::uint64_t count, std::uint64_t fewest);

/// Divides the numbers 0 .. count - 1 into PartsOf(count, fewest) ranges of nearly equal length and calls work for each
/// as a part. Without numbers there is no call.
void RunRanges(std::uint64_t count, std::uint64_t fewest, const PartRunner& run,
               const std::function<void(const PartRange&)>& work);

/// Where one pass over voxels is all that is done: a smaller part takes less time than a thread takes to begin it.
inline constexpr std::uint64_t kFewestVoxelsOfPart = std::uint64_t{1} << 18;

/// So few rows of an image are a part.
inline constexpr std::uint64_t kFewestRowsOfPart = 16;
void RunRows(std::uint64_t rows, const PartRunner& run, const std::function<void(const PartRange&)>& work);

}  // namespace qvox
