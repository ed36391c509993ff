#include "FreedMemory.h"

#include <climits>
#include <cstdlib>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace qvox {

#ifdef __GLIBC__

namespace {

/// Blocks from the first size on are given back by themselves, and the end of the heap from the second on.
void SetThresholds(int block, int end) {
    mallopt(M_MMAP_THRESHOLD, block);
    mallopt(M_TRIM_THRESHOLD, end);
}

}  // namespace

FreedMemoryKeeper::FreedMemoryKeeper() { SetThresholds(INT_MAX, -1); }

// The values that the C library arrives at by itself when large blocks come and go.
FreedMemoryKeeper::~FreedMemoryKeeper() {
    SetThresholds(32 << 20, 64 << 20);
    malloc_trim(0);
}

#else

FreedMemoryKeeper::FreedMemoryKeeper() = default;
FreedMemoryKeeper::~FreedMemoryKeeper() = default;

#endif

}  // namespace qvox
