#include "fuzz/FuzzSupport.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>

namespace korvane_test {

void PromiseSensible(const qvox::PixelResolution& resolution) {
    for (const float axis : {resolution.x, resolution.y, resolution.z}) {
        Promise(std::isfinite(axis) && axis >= 0.0f, "a resolution is finite and not negative");
    }
}

int FileDescriptorWith(const std::uint8_t* bytes, std::size_t count) {
    static const int fd = memfd_create("korvane-fuzz", MFD_CLOEXEC);
    Promise(fd >= 0 && ftruncate(fd, 0) == 0, "there is a file in memory");
    std::size_t done = 0;
    while (done < count) {
        const ssize_t written = pwrite(fd, bytes + done, count - done, static_cast<off_t>(done));
        Promise(written > 0, "the file in memory takes the bytes");
        done += static_cast<std::size_t>(written);
    }
    return fd;
}

std::string FileWith(const std::uint8_t* bytes, std::size_t count) {
    return "/proc/self/fd/" + std::to_string(FileDescriptorWith(bytes, count));
}

}  // namespace korvane_test
