#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>
#include <vector>

#include "bits/Word.h"

namespace level_sweep {

/// A number of plain values that is mostly small: up to kInside of them lie in the object itself, so that asking for
/// them waits for no address.
template <typename Value, std::size_t kInside>
class SmallVector {
    static_assert(std::is_trivially_copyable<Value>::value, "values are copied as bytes");

public:
    std::size_t size() const { return size_; }
    Value* data() { return size_ <= kInside ? inside_.data() : outside_.data(); }
    const Value* data() const { return size_ <= kInside ? inside_.data() : outside_.data(); }
    Value& operator[](std::size_t i) { return data()[i]; }
    const Value& operator[](std::size_t i) const { return data()[i]; }

    /// Values that come to it are undefined.
    void Resize(std::size_t size) {
        if (size > kInside) {
            if (size_ <= kInside) {
                outside_.assign(inside_.begin(), inside_.begin() + size_);
            }
            outside_.resize(size);
        } else if (size_ > kInside) {
            std::copy(outside_.begin(), outside_.begin() + static_cast<std::ptrdiff_t>(size), inside_.begin());
        }
        size_ = size;
    }
    /// Puts other values in the place of those from first to end - 1.
    void Replace(std::size_t first, std::size_t end, const Value* values, std::size_t count) {
        const std::size_t behind = size_ - end;
        if (first + count > end) {
            Resize(first + count + behind);
            std::copy_backward(data() + end, data() + end + behind, data() + size_);
        } else {
            std::copy(data() + end, data() + size_, data() + first + count);
            Resize(first + count + behind);
        }
        std::copy(values, values + count, data() + first);
    }

private:
    std::array<Value, kInside> inside_{};
    std::size_t size_ = 0;
    std::vector<Value> outside_;
};

}  // namespace level_sweep
