// Writes small images of vesicles for the comparison of processors: make_processor_images FOLDER

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <iostream>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "files/ImageFile.h"
#include "generator/SamplePicture.h"

namespace {

constexpr int kImages = 24;

struct Extent {
    std::uint64_t width;
    std::uint64_t height;
};

// The fifth has the width that gets a wider blur, the last is diffused in several strips.
constexpr Extent kExtents[] = {{200, 160}, {161, 203}, {240, 130}, {97, 260}, {1024, 70}, {180, 180}, {1100, 64}};
constexpr float kPixelsPerUm[] = {672.0f, 504.0f, 840.0f, 400.0f, 1000.0f};
constexpr double kNominalPixelsPerUm = 672.0;

template <typename T>
void Save(const std::string& path, const qvox::VoxelImage<float>& drawing, float pixelsPerUm, float full) {
    qvox::VoxelImage<T> image;
    image.Resize(drawing.SizeX(), drawing.SizeY(), 1);
    image.SetResolution({pixelsPerUm, pixelsPerUm, 0.0f});
    for (std::uint64_t i = 0; i < drawing.VoxelCount(); ++i) {
        const float light = std::clamp(drawing[i], 0.0f, 1.0f);
        image[i] = static_cast<T>(std::is_floating_point_v<T> ? light : std::floor(light * full + 0.5f));
    }
    qvox::SaveImageFile(path, image);
}

void Write(const std::string& folder, int number) {
    std::mt19937 random(static_cast<std::uint32_t>(1000 + number));
    const auto index = static_cast<std::size_t>(number);
    const Extent extent = kExtents[index % std::size(kExtents)];
    const float pixelsPerUm = kPixelsPerUm[index % std::size(kPixelsPerUm)];
    std::vector<double> radii;
    for (const double nominal : {30.0, 27.0, 25.0, 24.0, 22.0, 20.0, 18.0, 16.0}) {
        radii.push_back(nominal * static_cast<double>(pixelsPerUm) / kNominalPixelsPerUm);
    }
    const auto vesicles = korvane_samples::PlaceVesicles(random, extent.width, extent.height, radii, 4.0);
    const auto drawing = korvane_samples::DrawPicture(random, extent.width, extent.height, vesicles, {});
    const std::string path = folder + "/image_" + std::to_string(number) + ".tif";
    switch (number % 3) {
        case 0: return Save<std::uint8_t>(path, drawing, pixelsPerUm, 255.0f);
        case 1: return Save<std::uint16_t>(path, drawing, pixelsPerUm, 60000.0f);
        default: return Save<float>(path, drawing, pixelsPerUm, 1.0f);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: make_processor_images FOLDER\n";
        return 2;
    }
    try {
        for (int number = 0; number < kImages; ++number) Write(argv[1], number);
    } catch (const std::exception& error) {
        std::cerr << "make_processor_images: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
