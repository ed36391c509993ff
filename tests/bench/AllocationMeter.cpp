#include "AllocationMeter.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

// The C library's own entry points under their other names; the counting ones below take their place.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<std::size_t> held{0};
std::atomic<std::size_t> peak{0};
std::atomic<std::size_t> base{0};

void* Count(void* block) {
    if (block != nullptr) {
        const std::size_t now = held.fetch_add(malloc_usable_size(block)) + malloc_usable_size(block);
        std::size_t seen = peak.load();
        while (seen < now && !peak.compare_exchange_weak(seen, now)) {
        }
    }
    return block;
}

void Discount(void* block) {
    if (block != nullptr) held.fetch_sub(malloc_usable_size(block));
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) { return Count(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) { return Count(__libc_calloc(count, size)); }
void* realloc(void* block, std::size_t size) {
    Discount(block);
    return Count(__libc_realloc(block, size));
}
void* memalign(std::size_t alignment, std::size_t size) { return Count(__libc_memalign(alignment, size)); }
void* aligned_alloc(std::size_t alignment, std::size_t size) { return Count(__libc_memalign(alignment, size)); }
int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    *block = Count(__libc_memalign(alignment, size));
    return *block == nullptr ? ENOMEM : 0;
}
void free(void* block) {
    Discount(block);
    __libc_free(block);
}
}

namespace korvane_bench {

void ResetPeakBytes() {
    base = held.load();
    peak = held.load();
}

std::size_t HeldBytes() { return held.load(); }

std::size_t PeakBytes() { return peak.load() - base.load(); }

}  // namespace korvane_bench
