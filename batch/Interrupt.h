#pragma once

namespace Korvane {

/// From now on an interrupt (Ctrl-C), a request to end or the loss of the terminal lets the run come to a clean end
/// instead of ending it at once; a second one ends it at once. Where the clean end does not come within the grace (a
/// step on a huge image with a wrong pixel size can take hours), the program ends with kExitInterrupted, leaving whole
/// files but no report. Writing beyond a file size limit becomes an error of that write. A signal that the program
/// inherited as ignored stays so.
void CatchInterrupts(unsigned graceSeconds = 30);

/// True once the run was interrupted. May be called from any thread.
bool Interrupted();

/// The work has stopped; what is left to write may take its time.
void EndGrace();

/// Thrown out of an image's work when the run was interrupted.
struct RunInterrupted {};

}  // namespace Korvane
