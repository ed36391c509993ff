// Writes the sample images and their ground truth: make_samples FOLDER

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "files/ImageFile.h"
#include "generator/SamplePicture.h"

namespace {

using korvane_samples::Look;
using korvane_samples::Vesicle;

struct Sample {
    std::string name;
    std::uint32_t seed;
    std::uint64_t width;
    std::uint64_t height;
    float pixelsPerUm;
    double gapPx;
    std::vector<double> radiiPx;
    Look look;
};

std::vector<Sample> Samples() {
    Look faint;
    faint.haloDepth = 0.08;
    faint.grain = 0.04;
    Look smooth;
    smooth.grain = 0.02;
    smooth.unevenness = 0.06;
    return {
        {"vesicles_8bit.tif", 11, 480, 400, 672.0f, 14.0, {36, 32, 30, 28, 27, 26, 25, 24, 24, 23, 22, 20, 19}, Look{}},
        {"vesicles_16bit.tif",
         12,
         560,
         420,
         504.0f,
         12.0,
         {30, 28, 26, 24, 22, 21, 20, 20, 19, 18, 18, 17, 17, 16},
         faint},
        {"vesicles_float.tif", 13, 420, 420, 840.0f, 18.0, {44, 40, 36, 34, 32, 30, 28, 27}, smooth},
        {"neighbours_16bit.tif",
         14,
         480,
         400,
         672.0f,
         3.0,
         {34, 32, 31, 30, 30, 29, 28, 27, 26, 26, 25, 24, 24, 23, 22, 22},
         smooth},
    };
}

template <typename T>
void Save(const std::string& path, const Sample& sample, const qvox::VoxelImage<float>& drawn, float full) {
    qvox::VoxelImage<T> image;
    image.Resize(drawn.SizeX(), drawn.SizeY(), 1);
    image.SetResolution({sample.pixelsPerUm, sample.pixelsPerUm, 0.0f});
    for (std::uint64_t i = 0; i < drawn.VoxelCount(); ++i) {
        const float light = std::clamp(drawn[i], 0.0f, 1.0f);
        image[i] = static_cast<T>(std::is_floating_point_v<T> ? light : std::floor(light * full + 0.5f));
    }
    qvox::SaveImageFile(path, image);
}

void Write(const std::string& folder, const Sample& sample, std::ostream& truth) {
    std::mt19937 random(sample.seed);
    const std::vector<Vesicle> vesicles =
        korvane_samples::PlaceVesicles(random, sample.width, sample.height, sample.radiiPx, sample.gapPx);
    const qvox::VoxelImage<float> drawn =
        korvane_samples::DrawPicture(random, sample.width, sample.height, vesicles, sample.look);
    const std::string path = folder + "/" + sample.name;
    if (sample.name.find("_8bit") != std::string::npos) {
        Save<std::uint8_t>(path, sample, drawn, 255.0f);
    } else if (sample.name.find("_16bit") != std::string::npos) {
        Save<std::uint16_t>(path, sample, drawn, 60000.0f);
    } else {
        Save<float>(path, sample, drawn, 1.0f);
    }
    for (const Vesicle& vesicle : vesicles) {
        char line[160];
        std::snprintf(line, sizeof line, "%s\t%.3f\t%.3f\t%.3f\t%.3f\n", sample.name.c_str(), vesicle.x, vesicle.y,
                      vesicle.radiusPx, 2000.0 * vesicle.radiusPx / static_cast<double>(sample.pixelsPerUm));
        truth << line;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: make_samples FOLDER\n";
        return 2;
    }
    try {
        const std::string folder = argv[1];
        std::ofstream truth(folder + "/ground_truth.tsv");
        truth << "File\tX(px)\tY(px)\tRadius(px)\tDiameter(nm)\n";
        for (const Sample& sample : Samples()) Write(folder, sample, truth);
        truth.flush();
        if (!truth) throw std::runtime_error("cannot write the ground truth into " + folder);
    } catch (const std::exception& error) {
        std::cerr << "make_samples: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
