#pragma once

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace qvox {

struct FreeMemory {
    void operator()(void* block) const { std::free(block); }
};

/// Working memory of `count` elements, undefined contents. Blocks of several megabytes ask the system for large pages:
/// operations that jump about in an image then spend no time on address translation, and first use costs less.
template <typename T>
std::unique_ptr<T[], FreeMemory> MakeLargeBuffer(std::size_t count) {
    static_assert(std::is_trivially_destructible_v<T> && std::is_trivially_copyable_v<T>);
    constexpr std::size_t kLargePage = std::size_t{2} << 20;
    if (count > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T)) throw std::bad_alloc();
    const std::size_t bytes = count * sizeof(T);
    void* block = nullptr;
    const bool large = bytes >= 2 * kLargePage;
    if (posix_memalign(&block, large ? kLargePage : 64, bytes) != 0) throw std::bad_alloc();
#ifdef __linux__
    // Only a wish: without large pages everything works the same, slower.
    if (large) static_cast<void>(madvise(block, bytes, MADV_HUGEPAGE));
#endif
    return std::unique_ptr<T[], FreeMemory>(static_cast<T*>(block));
}

}  // namespace qvox
