#pragma once

namespace Korvane {

/// From now on an interrupt (Ctrl-C) or a request to end lets the run come to a clean end instead of ending it at once;
/// a second one ends it at once. Writing beyond a file size limit becomes an error of that write.
void CatchInterrupts();

/// True once the run was interrupted. May be asked from any thread.
bool Interrupted();

/// Thrown out of an image's work when the run was interrupted.
struct RunInterrupted {};

}  // namespace Korvane
