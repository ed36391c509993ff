// Writes images for the benchmarks and comparisons of whole programs, as TIFF files of floats:
//     bench_images vesicles SIZE FILE         80 vesicles per megapixel on a stained film, for 1.488 nm per pixel
//     bench_images varied COUNT FOLDER        as many small images of other sizes, pixel sizes and looks
//     bench_images enlarged FACTOR FROM FILE  an image with FACTOR times as many pixels a side, interpolated
//     bench_images told NM FROM FILE          an image with another pixel size
//     bench_images nudged FROM FILE           an image with noise of half a 16-bit grey level of its range

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "generator/SamplePicture.h"
#include "support/Random.h"

namespace {

using Image = qvox::VoxelImage<float>;

constexpr double kNominalPixelNm = 1.488;

void TellPixelSize(Image& image, double nm) {
    const auto pixelsPerUm = static_cast<float>(1000.0 / nm);
    image.SetResolution({pixelsPerUm, pixelsPerUm, 0.0f});
}

Image Loaded(const std::string& path) {
    const auto as = [&path](auto voxel) {
        qvox::VoxelImage<decltype(voxel)> stored;
        qvox::LoadImageFile(path, stored);
        Image image;
        image.Resize(stored.SizeX(), stored.SizeY(), 1);
        image.SetResolution(stored.Resolution());
        for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<float>(stored[i]);
        return image;
    };
    switch (qvox::InspectImageFile(path).type) {
        case qvox::VoxelType::kUint8:
            return as(std::uint8_t{});
        case qvox::VoxelType::kUint16:
            return as(std::uint16_t{});
        case qvox::VoxelType::kFloat32:
            return as(0.0f);
        default:
            throw std::runtime_error(path + " is not a grey image.");
    }
}

/// As the vesicles of detection_profile.
Image Vesicles(std::uint64_t size) {
    std::mt19937 random(7);
    const double pixels = static_cast<double>(size) * static_cast<double>(size);
    std::vector<double> radii(static_cast<std::size_t>(std::ceil(80.0 * pixels / 1e6)));
    for (std::size_t i = 0; i < radii.size(); ++i) {
        radii[i] = 36.0 - 18.0 * static_cast<double>(i) / static_cast<double>(radii.size());
    }
    const auto vesicles = korvane_samples::PlaceVesicles(random, size, size, radii, 14.0);
    Image image = korvane_samples::DrawPicture(random, size, size, vesicles, {});
    TellPixelSize(image, kNominalPixelNm);
    return image;
}

/// 0.35 to 2.5 nm per pixel, 140 to 640 pixels a side; vesicles of 27 to 50 nm radius, from apart to touching, in more
/// and less grain and contrast.
Image Varied(std::uint32_t number) {
    std::mt19937 random(5000 + number);
    const double nm = 0.35 * std::exp(korvane_test::UniformDouble(random) * std::log(2.5 / 0.35));
    const std::uint64_t width = 140 + random() % 500;
    const std::uint64_t height = 140 + random() % 500;
    korvane_samples::Look look;
    look.grain = 0.01 + 0.05 * korvane_test::UniformDouble(random);
    look.coarseGrain = 0.03 * korvane_test::UniformDouble(random);
    look.haloDepth = 0.04 + 0.1 * korvane_test::UniformDouble(random);
    look.unevenness = 0.08 * korvane_test::UniformDouble(random);
    look.rimSoftnessPx = 1.3 * kNominalPixelNm / nm;
    look.haloWidthPx = 5.0 * kNominalPixelNm / nm;
    std::vector<double> radii;
    const double area = static_cast<double>(width) * static_cast<double>(height);
    for (double used = 0.0; used < 0.12 * area && radii.size() < 60;) {
        radii.push_back((27.0 + 23.0 * korvane_test::UniformDouble(random)) / nm);
        used += 3.1416 * radii.back() * radii.back();
    }
    std::sort(radii.rbegin(), radii.rend());
    const double gap = 14.0 * korvane_test::UniformDouble(random);
    const auto vesicles = korvane_samples::PlaceVesicles(random, width, height, radii, gap);
    Image image = korvane_samples::DrawPicture(random, width, height, vesicles, look);
    TellPixelSize(image, nm);
    return image;
}

/// Bilinear between the pixels' middles.
Image Enlarged(const Image& image, std::uint64_t factor) {
    Image large;
    large.Resize(image.SizeX() * factor, image.SizeY() * factor, 1);
    const auto place = [factor](std::uint64_t i, std::uint64_t size) {
        const double at = (static_cast<double>(i) + 0.5) / static_cast<double>(factor) - 0.5;
        return std::clamp(at, 0.0, static_cast<double>(size - 1));
    };
    for (std::uint64_t y = 0; y < large.SizeY(); ++y) {
        const double atY = place(y, image.SizeY());
        const auto above = static_cast<std::uint64_t>(atY);
        const std::uint64_t below = std::min(above + 1, image.SizeY() - 1);
        const auto partY = static_cast<float>(atY - static_cast<double>(above));
        for (std::uint64_t x = 0; x < large.SizeX(); ++x) {
            const double atX = place(x, image.SizeX());
            const auto left = static_cast<std::uint64_t>(atX);
            const std::uint64_t right = std::min(left + 1, image.SizeX() - 1);
            const auto partX = static_cast<float>(atX - static_cast<double>(left));
            const float top = image(left, above) * (1.0f - partX) + image(right, above) * partX;
            const float bottom = image(left, below) * (1.0f - partX) + image(right, below) * partX;
            large(x, y) = top * (1.0f - partY) + bottom * partY;
        }
    }
    TellPixelSize(large, 1000.0 / (static_cast<double>(image.Resolution().x) * static_cast<double>(factor)));
    return large;
}

Image Nudged(Image image) {
    std::mt19937 random(1);
    float low = 0.0f;
    float high = 0.0f;
    image.ValueRange(low, high);
    const float half = (high - low) / 131072.0f;
    for (float& value : image) value = std::clamp(value + korvane_test::Uniform(random, -half, half), low, high);
    return image;
}

int Write(const std::vector<std::string>& words) {
    const std::string kind = words.empty() ? "" : words[0];
    const auto number = [&words] { return std::strtod(words[1].c_str(), nullptr); };
    if (kind == "vesicles" && words.size() == 3 && number() >= 1.0) {
        qvox::SaveImageFile(words[2], Vesicles(static_cast<std::uint64_t>(number())));
    } else if (kind == "varied" && words.size() == 3) {
        for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(number()); ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/varied_%03u.tif", i);
            qvox::SaveImageFile(words[2] + name, Varied(i));
        }
    } else if (kind == "enlarged" && words.size() == 4 && number() >= 1.0) {
        qvox::SaveImageFile(words[3], Enlarged(Loaded(words[2]), static_cast<std::uint64_t>(number())));
    } else if (kind == "told" && words.size() == 4 && number() > 0.0) {
        Image image = Loaded(words[2]);
        TellPixelSize(image, number());
        qvox::SaveImageFile(words[3], image);
    } else if (kind == "nudged" && words.size() == 3) {
        qvox::SaveImageFile(words[2], Nudged(Loaded(words[1])));
    } else {
        std::cerr << "bench_images vesicles SIZE FILE | varied COUNT FOLDER | enlarged FACTOR FROM FILE |\n"
                     "             told NM FROM FILE | nudged FROM FILE\n";
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Write({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "bench_images: " << error.what() << "\n";
        return 1;
    }
}
