#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvox {

/// Regions and the passes between them: for each region the least level to which one must climb on a way from it to
/// region 0. A region whose lowest pass leads to another one at level w can be left at no less than w, and at w one is
/// in the other; so both become one, and w is all that need be kept of it (Borůvka 1926: the regions' lowest passes
/// form trees). Each such round halves the number of regions at least. Among equally low passes of a region the one to
/// the lowest number counts; so lowest passes never run in a ring of three or more. `Number` numbers the regions; `Key`
/// has at least 16 bits more.
template <typename Number, typename Key>
class PassGraph {
public:
    struct Pass {
        Number a;
        Number b;
        std::uint16_t level;
    };

    /// Starts over with `count` regions and these passes, which stay the caller's and are overwritten; all regions but
    /// 0 are closed.
    void Begin(std::size_t count, Pass* passes, std::size_t passCount) {
        passes_ = passes;
        passCount_ = passCount;
        rounds_.clear();
        open_.assign(count, 0);
        lowest_.clear();
        into_.clear();
        open_[0] = 1;
    }

    /// An open region has passes that are not known here: it is never given to another one, but takes others in.
    void MarkOpen(Number region) { open_[region] = 1; }

    /// Joins closed regions until none is left that has a pass. What is left is numbered anew, in the same order.
    void Contract() {
        FindLowestPasses(open_.size());
        while (Round()) {
        }
        Compose();
    }

    /// Those passes between the remaining regions of which some lowest way between two regions needs each: at most one
    /// less than there are regions. The number of passes must fit below the level in `Key`. To be called once.
    const std::vector<Pass>& NeededPasses() {
        const std::size_t count = open_.size();
        group_.resize(count);
        for (std::size_t n = 0; n < count; ++n) group_[n] = static_cast<Number>(n);
        needed_.clear();
        while (passCount_ != 0) {
            FindLowestBetweenGroups(count);
            JoinGroups(count);
        }
        return needed_;
    }

    std::size_t Left() const { return open_.size(); }
    /// The highest pass on the way from a region that there was at the beginning to the one that it has become part of.
    std::uint16_t ClimbOf(std::size_t region) const { return rounds_.empty() ? std::uint16_t{0} : lowest_[region]; }
    Number PartOf(std::size_t region) const { return rounds_.empty() ? static_cast<Number>(region) : into_[region]; }

private:
    static constexpr Key kNoPass = static_cast<Key>(~Key{0});
    static constexpr unsigned kLevelShift = 8 * (sizeof(Key) - 2);

    void FindLowestPasses(std::size_t count) {
        best_.assign(count, kNoPass);
        Key* best = best_.data();
        for (const Pass *pass = passes_, *end = passes_ + passCount_; pass != end; ++pass) NotePass(best, *pass);
    }

    static void NotePass(Key* best, const Pass& pass) {
        const Key level = static_cast<Key>(static_cast<Key>(pass.level) << kLevelShift);
        const Key toB = static_cast<Key>(level | pass.b);
        const Key toA = static_cast<Key>(level | pass.a);
        const Key knownOfA = best[pass.a];
        const Key knownOfB = best[pass.b];
        best[pass.a] = toB < knownOfA ? toB : knownOfA;
        best[pass.b] = toA < knownOfB ? toA : knownOfB;
    }

    bool Round() {
        const std::size_t count = open_.size();
        const std::size_t begin = into_.size();
        into_.resize(begin + count);
        lowest_.resize(begin + count);
        Number* into = into_.data() + begin;
        std::uint16_t* lowest = lowest_.data() + begin;
        const std::uint8_t* open = open_.data();
        const Key* best = best_.data();
        std::size_t joined = 0;
        for (std::size_t n = 0; n < count; ++n) {
            const bool stays = (open[n] != 0) | (best[n] == kNoPass);
            into[n] = static_cast<Number>(stays ? n : best[n]);
            lowest[n] = static_cast<std::uint16_t>(stays ? 0 : best[n] >> kLevelShift);
            joined += stays ? 0u : 1u;
        }
        if (joined == 0) {
            into_.resize(begin);
            lowest_.resize(begin);
            return false;
        }
        for (std::size_t n = 0; n < count; ++n) {
            const bool first = (into[into[n]] == n) & (n < into[n]);
            into[n] = first ? static_cast<Number>(n) : into[n];
        }
        NumberAnew(into, count);
        rounds_.push_back(begin);
        DropInnerPasses(into);
        return true;
    }

    // Chains end at a region that leads to itself. `names_` gives each such region its new number.
    void NumberAnew(Number* into, std::size_t count) {
        names_.resize(count);
        Number* names = names_.data();
        std::uint8_t* open = open_.data();
        std::size_t left = 0;
        for (std::size_t n = 0; n < count; ++n) {
            names[n] = static_cast<Number>(left);
            const bool stays = into[n] == n;
            open[left] = open[n];
            left += stays ? 1u : 0u;
        }
        for (std::size_t n = 0; n < count; ++n) into[n] = into[into[n]];  // most chains are short
        for (std::size_t n = 0; n < count; ++n) {
            std::size_t at = n;
            while (into[into[at]] != into[at]) {
                const std::size_t next = into[at];
                into[at] = into[next];
                at = next;
            }
            into[n] = into[at];
        }
        for (std::size_t n = 0; n < count; ++n) into[n] = names[into[n]];
        open_.resize(left);
    }

    void FindLowestBetweenGroups(std::size_t count) {
        best_.assign(count, kNoPass);
        Key* best = best_.data();
        const Number* group = group_.data();
        Pass* passes = passes_;
        std::size_t kept = 0;
        for (std::size_t i = 0; i < passCount_; ++i) {
            const Pass pass = passes[i];
            const Number a = group[pass.a];
            const Number b = group[pass.b];
            const Key level = static_cast<Key>(static_cast<Key>(pass.level) << kLevelShift);
            const Key key = a == b ? kNoPass : static_cast<Key>(level | static_cast<Key>(kept));
            const Key knownOfA = best[a];
            const Key knownOfB = best[b];
            best[a] = key < knownOfA ? key : knownOfA;
            best[b] = key < knownOfB ? key : knownOfB;
            passes[kept] = pass;
            kept += static_cast<std::size_t>(a != b);
        }
        passCount_ = kept;
    }

    // Groups go by the number of one of their regions; `names_` is the group that each leads to.
    void JoinGroups(std::size_t count) {
        names_.resize(count);
        for (std::size_t n = 0; n < count; ++n) {
            names_[n] = static_cast<Number>(n);
            if (best_[n] == kNoPass) continue;
            const Pass& pass = PassOf(best_[n]);
            names_[n] = static_cast<Number>(group_[pass.a] ^ group_[pass.b] ^ static_cast<Number>(n));
        }
        for (std::size_t n = 0; n < count; ++n) {
            if (best_[n] == kNoPass) continue;
            if (names_[names_[n]] == n && n < names_[n]) {
                names_[n] = static_cast<Number>(n);
            } else {
                needed_.push_back(PassOf(best_[n]));
            }
        }
        for (std::size_t n = 0; n < count; ++n) {
            std::size_t at = group_[n];
            while (names_[at] != at) at = names_[at] = names_[names_[at]];
            group_[n] = static_cast<Number>(at);
        }
    }

    const Pass& PassOf(Key best) const {
        return passes_[static_cast<std::size_t>(best & ((Key{1} << kLevelShift) - 1))];
    }

    void DropInnerPasses(const Number* into) {
        Pass* passes = passes_;
        std::size_t kept = 0;
        for (std::size_t i = 0; i < passCount_; ++i) {
            const Pass pass = passes[i];
            const Number a = into[pass.a];
            const Number b = into[pass.b];
            passes[kept] = {a, b, pass.level};
            kept += static_cast<std::size_t>(a != b);
        }
        passCount_ = kept;
        FindLowestPasses(open_.size());
    }

    void Compose() {
        if (rounds_.empty()) return;
        for (std::size_t round = rounds_.size() - 1; round-- > 0;) {
            const std::size_t next = rounds_[round + 1];
            for (std::size_t n = rounds_[round]; n < next; ++n) {
                const std::size_t part = next + into_[n];
                lowest_[n] = std::max(lowest_[n], lowest_[part]);
                into_[n] = into_[part];
            }
        }
    }

    Pass* passes_ = nullptr;
    std::size_t passCount_ = 0;
    std::vector<Pass> needed_;
    std::vector<Number> group_;
    std::vector<Key> best_;
    std::vector<Number> names_;
    std::vector<std::uint8_t> open_;
    std::vector<std::size_t> rounds_;  // where each round's regions begin in the two lists below
    std::vector<std::uint16_t> lowest_;
    std::vector<Number> into_;
};

}  // namespace qvox
