#pragma once

#include "bits/Word.h"

/// How functions of the labelling of tiles are compiled for an instruction set. Inlined ones take the set of the
/// function that calls them.
#define KORVANE_INLINED inline __attribute__((always_inline))
#define KORVANE_AVX2 __attribute__((target("avx2,bmi,bmi2")))
#define KORVANE_AVX512 __attribute__((target("avx512f,avx512vl,bmi,bmi2")))
