#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bits/Pixels.h"

namespace level_sweep {

/// The pixels of a path in the order in which it took them. A pixel less than 8 rows and columns from the one before,
/// or from the path's end for the first, is a byte. Paths run along lines: only the pixel that follows a fork can be
/// further away.
class PathCode {
public:
    using Code = std::uint8_t;

    void Begin(PixelPosition end) {
        size_ = 0;
        last_ = end;
    }
    /// Begins with the codes of some pixels, the last of which is `last`; the end if there are none.
    void Begin(const Code* codes, std::size_t size, PixelPosition last) {
        codes_.resize(std::max(codes_.size(), size));
        std::copy_n(codes, size, codes_.begin());
        size_ = size;
        last_ = last;
    }
    void Add(int x, int y) {
        if (size_ + kLongestCode > codes_.size()) {
            codes_.resize(2 * codes_.size() + kLongestCode);
        }
        const int dx = x - last_.x + kReach;
        const int dy = y - last_.y + kReach;
        last_.x = x;
        last_.y = y;
        if (dx > 0 && dx < 2 * kReach && dy > 0 && dy < 2 * kReach) {
            codes_[size_++] = static_cast<Code>(dy * 16 + dx);
            return;
        }
        codes_[size_] = kFar;
        std::memcpy(codes_.data() + size_ + 1, &last_, sizeof(last_));
        size_ += kLongestCode;
    }
    const Code* Codes() const { return codes_.data(); }
    std::size_t Size() const { return size_; }

    /// Walks along the pixels of a path from its end.
    class Walk {
    public:
        Walk(PixelPosition end, const Code* codes, std::size_t size)
            : at_(end), first_(codes), next_(codes), last_(codes + size) {}
        bool Next() {
            if (next_ == last_) {
                return false;
            }
            const Code code = *next_++;
            if (code == kFar) {
                std::memcpy(&at_, next_, sizeof(at_));
                next_ += sizeof(at_);
            } else {
                at_.x += code % 16 - kReach;
                at_.y += code / 16 - kReach;
            }
            return true;
        }
        PixelPosition At() const { return at_; }
        /// Size of the codes up to the present pixel, which is included.
        std::size_t SizeSoFar() const { return static_cast<std::size_t>(next_ - first_); }

    private:
        PixelPosition at_;
        const Code* first_;
        const Code* next_;
        const Code* last_;
    };

private:
    static constexpr int kReach = 8;
    static constexpr Code kFar = 0;  // the position follows
    static constexpr std::size_t kLongestCode = 1 + sizeof(PixelPosition);

    std::vector<Code> codes_;
    std::size_t size_ = 0;
    PixelPosition last_{0, 0};
};

}  // namespace level_sweep
