#pragma once

namespace qvox {

/// The instruction sets that vector code is compiled for. Every variant of an operation computes the same IEEE
/// operations in the same order, so the choice never changes a bit.
enum class InstructionSet {
    kBaseline,  ///< SSE2, which every x86-64 processor has
    kAvx2,      ///< AVX2 with BMI and BMI2
    kAvx512,    ///< the above with AVX-512 F and VL
};

/// Whether this processor runs it.
bool RunsHere(InstructionSet set);

/// The widest that this processor runs.
InstructionSet WidestInstructionSet();

}  // namespace qvox
