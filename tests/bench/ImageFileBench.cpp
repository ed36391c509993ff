#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <random>

#include "bench/BenchSupport.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr std::uint64_t kSide = 2048;
constexpr std::uint32_t kRows = 64;

// 350 discs of radius 10 to 40, one label each.
qvox::LabelImage Labels() {
    qvox::LabelImage image;
    image.Resize(kSide, kSide, 1);
    image.Zero();
    std::mt19937 random(1);
    for (std::uint16_t label = 1; label <= 350; ++label) {
        const auto radius = static_cast<int>(10 + random() % 31);
        const auto centreX = static_cast<int>(random() % kSide);
        const auto centreY = static_cast<int>(random() % kSide);
        for (int y = std::max(0, centreY - radius); y <= std::min<int>(kSide - 1, centreY + radius); ++y) {
            for (int x = std::max(0, centreX - radius); x <= std::min<int>(kSide - 1, centreX + radius); ++x) {
                const int dx = x - centreX;
                const int dy = y - centreY;
                if (dx * dx + dy * dy > radius * radius) continue;
                image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = label;
            }
        }
    }
    return image;
}

void WritePlain(const std::string& path, qvox::LabelImage& image) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(kSide));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(kSide));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    TIFFSetField(tiff, TIFFTAG_ZIPQUALITY, 1);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kRows);
    for (std::uint32_t strip = 0; strip < kSide / kRows; ++strip) {
        TIFFWriteEncodedStrip(tiff, strip, image.Row(strip * kRows), static_cast<tmsize_t>(kRows * kSide * 2));
    }
    TIFFClose(tiff);
}

void ReadPlain(const std::string& path, qvox::LabelImage& image) {
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    image.Resize(kSide, kSide, 1);
    for (std::uint32_t strip = 0; strip < kSide / kRows; ++strip) {
        TIFFReadEncodedStrip(tiff, strip, image.Row(strip * kRows), static_cast<tmsize_t>(kRows * kSide * 2));
    }
    TIFFClose(tiff);
}

void Run(benchmark::State& state, void (*write)(const std::string&, qvox::LabelImage&),
         void (*read)(const std::string&, qvox::LabelImage&), bool reading) {
    const korvane_test::TemporaryFolder folder;
    const std::string path = folder.File("labels.tif");
    qvox::LabelImage labels = Labels();
    write(path, labels);
    qvox::LabelImage back;
    korvane_bench::PerPixel(
        state, kSide * kSide, [] {}, [&] { reading ? read(path, back) : write(path, labels); });
    state.counters["file B/px"] = static_cast<double>(std::filesystem::file_size(path)) / (kSide * kSide);
}

void Save(const std::string& path, qvox::LabelImage& image) { qvox::SaveImageFile(path, image); }
void Load(const std::string& path, qvox::LabelImage& image) { qvox::LoadImageFile(path, image); }

BENCHMARK_CAPTURE(Run, LabelTiffWrite, Save, Load, false);
BENCHMARK_CAPTURE(Run, LabelTiffWriteLibtiffAlone, WritePlain, ReadPlain, false);
BENCHMARK_CAPTURE(Run, LabelTiffRead, Save, Load, true);
BENCHMARK_CAPTURE(Run, LabelTiffReadLibtiffAlone, WritePlain, ReadPlain, true);

}  // namespace
