#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace korvane_test {

/// One way of feeding bytes from outside to the program. `run` throws BrokenPromise when the code under test does
/// something that its documentation excludes; a failure that is documented (ToolkitError, an unsupported kind) is
/// swallowed. Everything else that is wrong shows as a crash or as a sanitizer's report.
struct FuzzTarget {
    const char* name;
    void (*run)(const std::uint8_t* bytes, std::size_t count);
};

const std::vector<FuzzTarget>& FuzzTargets();

/// The target of that name; null when there is none.
const FuzzTarget* FindFuzzTarget(const char* name);

}  // namespace korvane_test
