#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

#include <sys/mman.h>

#include "Assert.h"

namespace qvox {

/// An array that MakeLargePageArray made, or none. Whether the values may change is theirs to say, as with a pointer: an
/// array that is const gives its values as they are.
template <typename T>
class LargePageArray {
public:
    LargePageArray() = default;
    /// Takes over `count` values that std::free gives back.
    LargePageArray(T* values, std::size_t count) : values_(values), count_(count) {}

    T* get() const { return values_.get(); }
    T& operator[](std::size_t i) const {
        KORVANE_ASSERT(i < count_);
        return values_[i];
    }

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    std::unique_ptr<T[], Free> values_;
    std::size_t count_ = 0;
};

/// Undefined values for work that reaches all over them: where the system allows it, large arrays lie in pages of 2
/// MiB, which spares the faults for small ones and misses of the address cache. Throws std::bad_alloc.
template <typename T>
LargePageArray<T> MakeLargePageArray(std::size_t count) {
    static_assert(std::is_trivial<T>::value, "the values are not constructed");
    constexpr std::size_t kPage = std::size_t{1} << 21;
    if (count > (~std::size_t{0} - kPage) / sizeof(T)) throw std::bad_alloc();
    std::size_t bytes = count == 0 ? 1 : count * sizeof(T);
    const bool large = bytes >= 2 * kPage;
    if (large) bytes = (bytes + kPage - 1) / kPage * kPage;
    void* memory = large ? std::aligned_alloc(kPage, bytes) : std::malloc(bytes);
    if (memory == nullptr) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    if (large) static_cast<void>(madvise(memory, bytes, MADV_HUGEPAGE));  // a wish; refused, the pages are small
#endif
    return LargePageArray<T>(static_cast<T*>(memory), count);
}

}  // namespace qvox
