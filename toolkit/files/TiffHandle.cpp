#include "files/TiffHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <memory>
#include <system_error>

#include "ToolkitError.h"
#include "files/AtomicFile.h"

namespace qvox {

namespace {

constexpr std::uint64_t kSingleAllocation = std::uint64_t{48} << 20;

std::string Formatted(const char* format, va_list arguments) {
    char text[512];
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    if (length < 0) return "unknown error";
    std::string message = text;
    while (!message.empty() && (message.back() == '.' || message.back() == '\n')) message.pop_back();
    // Text from a broken file may hold anything; what a person reads may not.
    for (char& c : message) {
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    }
    return message;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
int KeepError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    std::string& kept = static_cast<TiffHandle::Messages*>(user)->error;
    const std::string text = Formatted(format, arguments);
    // Said of every unknown private entry of no type; it stops nothing and would hide the cause.
    if (text.compare(0, 22, "Defined set_field_type") == 0) return 1;
    if (kept.empty()) kept = text;
    return 1;
}

int KeepWarning(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto& messages = *static_cast<TiffHandle::Messages*>(user);
    messages.warning = Formatted(format, arguments);
    if (messages.warning.compare(0, 8, "IO error") == 0 && messages.lostEntry.empty()) {
        for (const char* entry : {"\"ImageDescription\"", "\"XResolution\"", "\"YResolution\"", "\"ColorMap\""}) {
            if (messages.warning.find(entry) != std::string::npos) messages.lostEntry = messages.warning;
        }
    }
    return 1;
}
#pragma GCC diagnostic pop

struct OptionsDeleter {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using Options = std::unique_ptr<TIFFOpenOptions, OptionsDeleter>;

Options MakeOptions(TiffHandle::Messages& messages, std::uint64_t singleAllocation) {
    Options options(TIFFOpenOptionsAlloc());
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), KeepError, &messages);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), KeepWarning, &messages);
    if (singleAllocation != 0) {
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(singleAllocation));
    }
    return options;
}

AtomicFile& FileOf(thandle_t handle) { return *static_cast<AtomicFile*>(handle); }
tmsize_t ReadFrom(thandle_t handle, void* bytes, tmsize_t count) {
    return FileOf(handle).Read(bytes, static_cast<std::size_t>(count));
}
tmsize_t WriteTo(thandle_t handle, void* bytes, tmsize_t count) {
    return FileOf(handle).Write(bytes, static_cast<std::size_t>(count));
}
toff_t SeekIn(thandle_t handle, toff_t offset, int whence) {
    return static_cast<toff_t>(FileOf(handle).Seek(static_cast<std::int64_t>(offset), whence));
}
toff_t SizeOf(thandle_t handle) {
    AtomicFile& file = FileOf(handle);
    const std::int64_t at = file.Seek(0, SEEK_CUR);
    const std::int64_t end = file.Seek(0, SEEK_END);
    file.Seek(at, SEEK_SET);
    return static_cast<toff_t>(end);
}
int LeaveOpen(thandle_t) { return 0; }
int RefuseMapping(thandle_t, void**, toff_t*) { return 0; }
void NothingToUnmap(thandle_t, void*, toff_t) {}

}  // namespace

TiffHandle::TiffHandle(const std::string& path) : path_(path) {
    if (path.find('\0') != std::string::npos) FailReading(std::generic_category().message(EINVAL));
    // Without O_NONBLOCK a named pipe would hold the program until someone writes into it.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) FailReading(std::generic_category().message(errno));
    struct stat status {};
    std::string trouble;
    if (fstat(fd, &status) != 0)
        trouble = std::generic_category().message(errno);
    else if (S_ISDIR(status.st_mode))
        trouble = std::generic_category().message(EISDIR);
    else if (!S_ISREG(status.st_mode))
        trouble = "it is not a regular file";
    else if (status.st_size == 0)
        trouble = "it is empty";
    if (trouble.empty()) {
        fileBytes_ = static_cast<std::uint64_t>(status.st_size);
        // A strip that is stored must be readable, however large; what is merely claimed must not be believed.
        const Options options = MakeOptions(messages_, std::max(kSingleAllocation, fileBytes_ + (1u << 20)));
        // "m": no mapping, since a mapped file that shrinks meanwhile kills the process.
        tiff_ = TIFFFdOpenExt(fd, path.c_str(), "rm", options.get());
        if (tiff_ != nullptr) return;
        trouble = "it is not a TIFF file that can be read";
    }
    close(fd);
    FailReading(trouble);
}

TiffHandle::TiffHandle(const std::string& path, AtomicFile& file, Layout layout) : path_(path) {
    const Options options = MakeOptions(messages_, 0);
    tiff_ = TIFFClientOpenExt(path.c_str(), layout == Layout::kBig ? "w8m" : "wm", &file, ReadFrom, WriteTo, SeekIn,
                              LeaveOpen, SizeOf, RefuseMapping, NothingToUnmap, options.get());
    if (tiff_ == nullptr) {
        const std::string cause = file.Error() != 0 ? std::generic_category().message(file.Error()) : messages_.error;
        throw ToolkitError("Cannot write '" + path + "': " + cause + ".");
    }
}

TiffHandle::~TiffHandle() {
    if (tiff_ != nullptr) TIFFClose(tiff_);
}

ByteReader TiffHandle::Reader() const {
    return [fd = TIFFFileno(tiff_)](std::uint64_t offset, void* to, std::size_t count) -> std::size_t {
        if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return 0;
        std::size_t done = 0;
        while (done < count) {
            const ssize_t got =
                pread(fd, static_cast<char*>(to) + done, count - done, static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            done += static_cast<std::size_t>(got);
        }
        return done;
    };
}

void TiffHandle::FailReading(const std::string& cause) const {
    const std::string detail = messages_.error.empty() ? "" : " (" + messages_.error + ")";
    throw ToolkitError("Cannot read '" + path_ + "': " + cause + detail + ".");
}

}  // namespace qvox
