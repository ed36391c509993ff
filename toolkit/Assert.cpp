#include "Assert.h"

#include <cstdio>
#include <cstdlib>

namespace qvox {

void AssertionFailed(const char* file, int line, const char* condition) noexcept {
    std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, condition);
    std::abort();
}

}  // namespace qvox
