#include "files/TiffHandle.h"

#include <sys/mman.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <system_error>

#include "ToolkitError.h"
#include "files/AtomicFile.h"

namespace qvox {

namespace {

constexpr std::uint64_t kSingleAllocation = std::uint64_t{24} << 20;

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

// In the words of the TIFF library (seen in 4.5) and of those for packings. What is beyond a limit set here is not
// meant.
bool TellsOfMemory(const std::string& text) {
    if (text.find("(0 elements of") != std::string::npos) return false;  // said of an empty directory
    for (const char* words :
         {"Out of memory", "Not enough memory", "No space ", "Failed to allocate", "Cannot allocate",
          "Unable to allocate", "Insufficient memory", "insufficient memory", "cannot allocate memory", "malloc("}) {
        if (text.find(words) != std::string::npos) return true;
    }
    return false;
}

bool IsBeyondALimit(const std::string& text) { return text.find("limit defined in open options") != std::string::npos; }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
int KeepError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto& messages = *static_cast<TiffHandle::Messages*>(user);
    std::string& kept = messages.error;
    const std::string text = Formatted(format, arguments);
    // Said of every unknown private entry of no type; it stops nothing and would hide the cause.
    if (text.compare(0, 22, "Defined set_field_type") == 0) return 1;
    messages.outOfMemory = messages.outOfMemory || (TellsOfMemory(text) && !IsBeyondALimit(kept));
    if (kept.empty()) kept = text;
    return 1;
}

int KeepWarning(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto& messages = *static_cast<TiffHandle::Messages*>(user);
    messages.warning = Formatted(format, arguments);
    messages.outOfMemory = messages.outOfMemory || (TellsOfMemory(messages.warning) && !IsBeyondALimit(messages.error));
    if (messages.warning.compare(0, 8, "IO error") == 0 && messages.lostEntry.empty()) {
        for (const char* entry : {"\"ImageDescription\"", "\"XResolution\"", "\"YResolution\"", "\"ColorMap\""}) {
            if (messages.warning.find(entry) != std::string::npos) messages.lostEntry = messages.warning;
        }
    }
    return 1;
}
#pragma GCC diagnostic pop

// Mapped rather than allocated: the allocator keeps more for itself after a large block has been freed.
bool CanMap(std::uint64_t bytes) {
    void* const room = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) return false;
    munmap(room, bytes);
    return true;
}

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
TiffSource& SourceOf(thandle_t handle) { return *static_cast<TiffSource*>(handle); }
tmsize_t ReadFromSource(thandle_t handle, void* bytes, tmsize_t count) {
    return SourceOf(handle).Read(bytes, static_cast<std::size_t>(count));
}
tmsize_t WriteNothing(thandle_t, void*, tmsize_t) { return -1; }
toff_t SeekInSource(thandle_t handle, toff_t offset, int whence) {
    return static_cast<toff_t>(SourceOf(handle).Seek(static_cast<std::int64_t>(offset), whence));
}
toff_t SizeOfSource(thandle_t handle) { return SourceOf(handle).Bytes(); }
int RefuseMapping(thandle_t, void**, toff_t*) { return 0; }
void NothingToUnmap(thandle_t, void*, toff_t) {}

}  // namespace

TiffHandle::TiffHandle(const std::string& path) : path_(path), source_(std::make_unique<TiffSource>(path)) {
    if (!source_->Trouble().empty()) FailReading(source_->Trouble());
    const Options options = MakeOptions(messages_, kSingleAllocation);
    tiff_ = TIFFClientOpenExt(path.c_str(), "rm", source_.get(), ReadFromSource, WriteNothing, SeekInSource, LeaveOpen,
                              SizeOfSource, RefuseMapping, NothingToUnmap, options.get());
    if (tiff_ == nullptr) FailReading("it is not a TIFF file that can be read");
}

TiffHandle::TiffHandle(const std::string& path, AtomicFile& file, Layout layout) : path_(path) {
    const Options options = MakeOptions(messages_, 0);
    tiff_ = TIFFClientOpenExt(path.c_str(), layout == Layout::kBig ? "w8m" : "wm", &file, ReadFrom, WriteTo, SeekIn,
                              LeaveOpen, SizeOf, RefuseMapping, NothingToUnmap, options.get());
    if (tiff_ == nullptr) {
        const std::string cause = file.Error() != 0 ? std::generic_category().message(file.Error()) : messages_.error;
        throw FileError(FileError::Task::kWrite, path, cause);
    }
}

TiffHandle::~TiffHandle() {
    if (tiff_ != nullptr) TIFFClose(tiff_);
}

ByteReader TiffHandle::Reader() const {
    return [fd = source_->Descriptor()](std::uint64_t offset, void* to, std::size_t count) -> std::size_t {
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

void TiffHandle::ForgetMessages() {
    const bool outOfMemory = messages_.outOfMemory;
    messages_ = {};
    messages_.outOfMemory = outOfMemory;
}

void TiffHandle::ThrowIfOutOfMemory(std::uint64_t wanted) const {
    constexpr std::uint64_t kLeast = std::uint64_t{64} << 10;
    const std::uint64_t entries = source_ ? 2 * source_->LargestEntry() : 0;
    if (messages_.outOfMemory || !CanMap(std::max({kLeast, entries, wanted}))) throw std::bad_alloc();
}

void TiffHandle::ThrowIfChanged() const {
    if (!source_->HasChanged()) return;
    throw FileError(FileError::Task::kRead, path_, "the file was changed while it was read");
}

void TiffHandle::FailReading(const std::string& cause) const {
    ThrowIfOutOfMemory();
    // What is wrong with a mixture of two states is not wrong with the file.
    ThrowIfChanged();
    const std::string detail = messages_.error.empty() ? "" : " (" + messages_.error + ")";
    throw FileError(FileError::Task::kRead, path_, cause + detail);
}

}  // namespace qvox
