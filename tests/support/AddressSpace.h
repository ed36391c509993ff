#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>

namespace korvane_test {

/// The sanitizers need address space of their own, beyond any limit.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

/// The bytes of address space that this process has now.
inline std::uint64_t AddressSpace() {
    std::ifstream statm("/proc/self/statm");
    std::uint64_t pages = 0;
    statm >> pages;
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

/// Lets this process have so many bytes of address space in all.
inline void LimitAddressSpace(std::uint64_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_AS, &limit);
}

}  // namespace korvane_test
