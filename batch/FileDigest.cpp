#include "FileDigest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{1} << 18;

// Without O_NONBLOCK a named pipe would hold the program until someone writes into it.
int OpenForReading(const std::string& path) { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }

struct Descriptor {
    explicit Descriptor(const std::string& path) : number(OpenForReading(path)) {}
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number;
};

std::string Hexadecimal(const unsigned char* bytes, std::size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4u];
        text += kDigits[bytes[i] & 15u];
    }
    return text;
}

[[noreturn]] void Fail(const std::string& file, int error) {
    throw qvox::ToolkitError("Cannot read " + file + ": " + std::generic_category().message(error) + ".");
}

void Require(bool done) {
    if (!done) throw qvox::ToolkitError("The checksum of a file cannot be computed.");
}

std::int64_t ModifiedNs(const struct stat& status) {
    return std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
}

FileDigest Size(int descriptor, const std::string& file) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) Fail(file, errno);
    FileDigest digest;
    digest.bytes = static_cast<std::uint64_t>(status.st_size);
    digest.modifiedNs = ModifiedNs(status);
    return digest;
}

FileDigest Digest(int descriptor, const std::string& file) {
    FileDigest digest = Size(descriptor, file);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> sum(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    Require(sum && EVP_DigestInit_ex(sum.get(), EVP_sha256(), nullptr) == 1);
    std::vector<unsigned char> piece(kPieceBytes);
    off_t at = 0;
    for (;;) {
        const ssize_t count = ::pread(descriptor, piece.data(), piece.size(), at);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) Fail(file, errno);
        if (count == 0) break;
        Require(EVP_DigestUpdate(sum.get(), piece.data(), static_cast<std::size_t>(count)) == 1);
        at += count;
        // A short piece that ends where the file does is the last one.
        if (count < static_cast<ssize_t>(piece.size()) && static_cast<std::uint64_t>(at) == digest.bytes) break;
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
    unsigned length = 0;
    Require(EVP_DigestFinal_ex(sum.get(), bytes.data(), &length) == 1);
    digest.sha256 = Hexadecimal(bytes.data(), length);
    return digest;
}

}  // namespace

FileDigest DigestOf(int descriptor) { return Digest(descriptor, "a file that was written"); }

FileDigest DigestOf(const std::string& path) {
    const Descriptor file(path);
    if (file.number < 0) Fail("'" + path + "'", errno);
    return Digest(file.number, "'" + path + "'");
}

SourceFile::SourceFile(std::string path)
    : path_(std::move(path)), descriptor_(OpenForReading(path_)), state_(StateOf(descriptor_)) {}

SourceFile::~SourceFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::optional<SourceFile::State> SourceFile::StateOf(int descriptor) {
    struct stat status {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) return std::nullopt;
    return State{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size), ModifiedNs(status)};
}

void SourceFile::RequireUnchanged(int descriptor) const {
    const std::optional<State> now = StateOf(descriptor);
    const auto key = [](const State& state) {
        return std::tie(state.device, state.number, state.bytes, state.modifiedNs);
    };
    if (now && state_ && key(*now) == key(*state_)) return;
    throw qvox::ToolkitError("'" + path_ + "' was changed after it was read.");
}

FileDigest SourceFile::Digest() const {
    // Opened anew: that is when a network file system looks for what other machines have done to the file.
    const Descriptor now(path_);
    if (now.number < 0 && errno == ENOENT) throw qvox::ToolkitError("'" + path_ + "' was removed after it was read.");
    if (now.number < 0) Fail("'" + path_ + "'", errno);
    RequireUnchanged(now.number);
    FileDigest digest = Korvane::Digest(now.number, "'" + path_ + "'");
    RequireUnchanged(now.number);
    return digest;
}

bool IsUnchanged(const std::string& path, const FileDigest& digest) {
    const Descriptor file(path);
    if (file.number < 0) return false;
    try {
        const FileDigest now = Size(file.number, path);
        if (now.bytes != digest.bytes) return false;
        if (now.modifiedNs == digest.modifiedNs) return true;
        return Digest(file.number, path).sha256 == digest.sha256;
    } catch (const qvox::ToolkitError&) {
        return false;
    }
}

}  // namespace Korvane
