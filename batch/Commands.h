#pragma once

#include <cstdio>

#include "Options.h"

namespace Korvane {

/// How a run ended; the program's exit status.
inline constexpr int kExitDone = 0;
inline constexpr int kExitSomeFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

/// Does what was asked for. Results for programs go to `output`, everything for people to `messages`. Throws
/// UsageError before any work when it cannot be done as asked.
int RunBatch(const BatchOptions& options, std::FILE* output, std::FILE* messages);

}  // namespace Korvane
