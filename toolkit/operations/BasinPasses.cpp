#include "operations/BasinPasses.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace qvox {

namespace {

constexpr unsigned kDigitBits = 11;
constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;

std::size_t Digit(const BasinPass& pass, unsigned shift) {
    return ((static_cast<std::uint32_t>(pass.level) ^ 0x80000000u) >> shift) % kDigits;
}

}  // namespace

void SortByLevel(std::vector<BasinPass>& passes) {
    constexpr std::size_t kFewPasses = 500;
    if (passes.size() < kFewPasses) {
        std::stable_sort(passes.begin(), passes.end(),
                         [](const BasinPass& a, const BasinPass& b) { return a.level < b.level; });
        return;
    }
    std::vector<BasinPass> sorted(passes.size());
    for (unsigned shift = 0; shift < 32; shift += kDigitBits) {
        std::array<std::size_t, kDigits + 1> places{};
        for (const BasinPass& pass : passes) ++places[Digit(pass, shift) + 1];
        std::partial_sum(places.begin(), places.end(), places.begin());
        for (const BasinPass& pass : passes) sorted[places[Digit(pass, shift)]++] = pass;
        passes.swap(sorted);
    }
}

BasinSets::BasinSets(std::size_t basins) : parents_(basins), ranks_(basins, 0) {
    std::iota(parents_.begin(), parents_.end(), std::uint32_t{0});
}

std::uint32_t BasinSets::Root(std::uint32_t basin) {
    while (parents_[basin] != basin) {
        parents_[basin] = parents_[parents_[basin]];
        basin = parents_[basin];
    }
    return basin;
}

std::uint32_t BasinSets::Join(std::uint32_t a, std::uint32_t b) {
    if (ranks_[a] < ranks_[b]) std::swap(a, b);
    parents_[b] = a;
    if (ranks_[a] == ranks_[b]) ++ranks_[a];
    return a;
}

void KeepJoiningPasses(std::vector<BasinPass>& passes, std::size_t basins) {
    SortByLevel(passes);
    BasinSets sets(basins);
    const auto joinsNothing = [&sets](const BasinPass& pass) {
        const std::uint32_t a = sets.Root(pass.a);
        const std::uint32_t b = sets.Root(pass.b);
        if (a == b) return true;
        sets.Join(a, b);
        return false;
    };
    passes.erase(std::remove_if(passes.begin(), passes.end(), joinsNothing), passes.end());
}

}  // namespace qvox
