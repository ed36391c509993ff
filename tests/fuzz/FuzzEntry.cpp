// The function that the fuzzing engine calls. One program is made of it per target, whose name the build defines.

#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    static const korvane_test::FuzzTarget* const target = korvane_test::FindFuzzTarget(KORVANE_FUZZ_TARGET);
    target->run(bytes, count);
    return 0;
}
