#include "InstructionSet.h"

namespace qvox {
namespace {

bool HasAvx2() {
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
           __builtin_cpu_supports("bmi2") != 0;
}

bool HasAvx512() {
    return HasAvx2() && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0;
}

}  // namespace

bool RunsHere(InstructionSet set) {
    switch (set) {
        case InstructionSet::kAvx512: return HasAvx512();
        case InstructionSet::kAvx2: return HasAvx2();
        case InstructionSet::kBaseline: break;
    }
    return true;
}

InstructionSet WidestInstructionSet() {
    static const InstructionSet widest = HasAvx512() ? InstructionSet::kAvx512
                                         : HasAvx2() ? InstructionSet::kAvx2
                                                     : InstructionSet::kBaseline;
    return widest;
}

}  // namespace qvox
