#include "PngEncoding.h"

#include <png.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "ToolkitError.h"
#include "files/StoredDescription.h"

namespace Korvane {

namespace {

/// The first of the eight orientations that TIFF and Exif number alike.
constexpr std::uint16_t kUpright = 1;

[[noreturn]] void Fail(png_structp, png_const_charp cause) { throw qvox::ToolkitError(std::string("PNG: ") + cause); }

void Ignore(png_structp, png_const_charp) {}

void Append(png_structp png, png_bytep bytes, png_size_t count) {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<const char*>(bytes), count);
}

void Flush(png_structp) {}

/// The library's state of one file.
class Encoder {
public:
    explicit Encoder(std::string& bytes)
        : png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &Fail, &Ignore)),
          info_(png_ != nullptr ? png_create_info_struct(png_) : nullptr) {
        if (info_ == nullptr) {
            png_destroy_write_struct(&png_, nullptr);
            throw qvox::ToolkitError("PNG: no memory");
        }
        png_set_write_fn(png_, &bytes, &Append, &Flush);
    }
    ~Encoder() { png_destroy_write_struct(&png_, &info_); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    png_structp Png() { return png_; }
    png_infop Info() { return info_; }

private:
    png_structp png_;
    png_infop info_;
};

/// 0 where the number cannot be stored.
png_uint_32 PixelsPerMetre(float pixelsPerUm) {
    const double number = std::round(1e6 * static_cast<double>(pixelsPerUm));
    return number >= 1.0 && number <= double{PNG_UINT_31_MAX} ? static_cast<png_uint_32>(number) : 0;
}

/// An Exif block whose only entry is the orientation (tag 274, one 16-bit number), most significant bytes first.
std::array<png_byte, 26> OrientationBlock(std::uint16_t orientation) {
    return {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 18, 0, 3, 0, 0, 0, 1, 0, static_cast<png_byte>(orientation)};
}

/// Rows are handed to the library as they are.
template <typename T>
std::string Encode(const qvox::VoxelImage<T>& image, int colourType) {
    constexpr std::uint64_t kLargest = PNG_UINT_31_MAX;
    if (image.Empty() || image.SizeZ() != 1 || image.SizeX() > kLargest || image.SizeY() > kLargest) {
        throw qvox::ToolkitError("PNG: the format takes one plane of up to 2147483647 pixels a side");
    }
    std::string bytes;
    Encoder encoder(bytes);
    png_set_user_limits(encoder.Png(), PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(encoder.Png(), encoder.Info(), static_cast<png_uint_32>(image.SizeX()),
                 static_cast<png_uint_32>(image.SizeY()), 8, colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const png_uint_32 x = PixelsPerMetre(image.Resolution().x);
    const png_uint_32 y = PixelsPerMetre(image.Resolution().y);
    if (x > 0 && y > 0) png_set_pHYs(encoder.Png(), encoder.Info(), x, y, PNG_RESOLUTION_METER);
    const std::uint16_t orientation = qvox::OrientationOf(image.Metadata());
    if (orientation != kUpright) {
        std::array<png_byte, 26> block = OrientationBlock(orientation);
        png_set_eXIf_1(encoder.Png(), encoder.Info(), static_cast<png_uint_32>(block.size()), block.data());
    }
    png_write_info(encoder.Png(), encoder.Info());
    for (std::uint64_t row = 0; row < image.SizeY(); ++row)
        png_write_row(encoder.Png(), reinterpret_cast<png_const_bytep>(image.Row(row)));
    png_write_end(encoder.Png(), nullptr);
    return bytes;
}

}  // namespace

std::string EncodePng(const qvox::VoxelImage<qvox::Rgb8>& image) {
    static_assert(sizeof(qvox::Rgb8) == 3, "three bytes a pixel");
    return Encode(image, PNG_COLOR_TYPE_RGB);
}

std::string EncodePng(const qvox::VoxelImage<std::uint8_t>& image) { return Encode(image, PNG_COLOR_TYPE_GRAY); }

}  // namespace Korvane
