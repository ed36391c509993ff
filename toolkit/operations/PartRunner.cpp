#include "operations/PartRunner.h"

#include <algorithm>

namespace qvox {

namespace {

// Several for each core of most machines, so that one that is slow, or busy, takes fewer.
constexpr std::uint64_t kMostParts = 32;

}  // namespace

void RunOneByOne(std::size_t count, const std::function<void(std::size_t)>& part) {
    for (std::size_t i = 0; i < count; ++i) part(i);
}

std::size_t PartsOf(std::uint64_t count, std::uint64_t fewest) {
    return static_cast<std::size_t>(std::clamp(count / fewest, std::uint64_t{1}, kMostParts));
}

void RunRanges(std::uint64_t count, std::uint64_t fewest, const PartRunner& run,
               const std::function<void(const PartRange&)>& work) {
    if (count == 0) return;
    const std::size_t parts = PartsOf(count, fewest);
    run(parts, [&](std::size_t part) { work({part, count * part / parts, count * (part + 1) / parts}); });
}

void RunRows(std::uint64_t rows, const PartRunner& run, const std::function<void(const PartRange&)>& work) {
    RunRanges(rows, kFewestRowsOfPart, run, work);
}

}  // namespace qvox
