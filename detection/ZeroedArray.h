#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace Korvane {

/// A fixed number of plain values, all bits 0 at first. Unlike a vector's, pages that are never written to cost neither
/// time nor memory: most of a picture is never part of a network.
template <typename Value>
class ZeroedArray {
public:
    explicit ZeroedArray(std::size_t size)
        : values_(static_cast<Value*>(std::calloc(size, sizeof(Value)))), size_(size) {
        if (values_ == nullptr && size > 0) {
            throw std::bad_alloc();
        }
    }
    Value& operator[](std::size_t i) { return values_.get()[i]; }
    const Value& operator[](std::size_t i) const { return values_.get()[i]; }
    Value* data() { return values_.get(); }
    const Value* data() const { return values_.get(); }
    std::size_t size() const { return size_; }

private:
    struct Free {
        void operator()(Value* values) const { std::free(values); }
    };
    std::unique_ptr<Value, Free> values_;
    std::size_t size_;
};

}  // namespace Korvane
