#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

#include "Assert.h"
#include "bits/Word.h"

namespace level_sweep {

/// A fixed number of plain values, all bits 0 at first; the first begins a cache line. Unlike a vector's, pages that
/// are never written to cost neither time nor memory: most of a map is never part of a network.
template <typename Value>
class ZeroedArray {
    static_assert(std::is_trivially_copyable<Value>::value, "no constructor runs");

public:
    explicit ZeroedArray(std::size_t size) : memory_(std::calloc(size * sizeof(Value) + kCacheLine, 1)), size_(size) {
        if (memory_ == nullptr) {
            throw std::bad_alloc();
        }
        const auto address = reinterpret_cast<std::uintptr_t>(memory_.get());
        values_ = reinterpret_cast<Value*>((address + kCacheLine - 1) / kCacheLine * kCacheLine);
    }
    Value& operator[](std::size_t i) {
        KORVANE_ASSERT(i < size_);
        return values_[i];
    }
    const Value& operator[](std::size_t i) const {
        KORVANE_ASSERT(i < size_);
        return values_[i];
    }
    Value* data() { return values_; }
    const Value* data() const { return values_; }
    std::size_t size() const { return size_; }

private:
    static constexpr std::size_t kCacheLine = 64;
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    std::unique_ptr<void, Free> memory_;
    Value* values_;
    std::size_t size_;
};

}  // namespace level_sweep
