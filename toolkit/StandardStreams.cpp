#include "StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <initializer_list>

namespace qvox {

namespace {

bool IsClosed(int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; }

/// The lowest free descriptor, which is `descriptor` when all below it are open.
int OpenInPlaceOf(int descriptor) {
    const int taken = open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    // Where there are no devices, the root folder can be neither read as a file nor written.
    return taken >= 0 ? taken : open("/", O_RDONLY | O_DIRECTORY);
}

}  // namespace

void OpenStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (IsClosed(descriptor) && OpenInPlaceOf(descriptor) != descriptor) std::_Exit(EXIT_FAILURE);
    }
}

}  // namespace qvox
