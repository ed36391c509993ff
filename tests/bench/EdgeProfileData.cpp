// edge_profile IMAGE LABELS LABEL: prints the mean profile of an object, aligned at its flank, for the manual's pictures.
// First a line with the kind of outline and the places of label, flank and rim in nanometres, then one for each sample:
// distance from the flank in nanometres, positive outwards, and grey level.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "EdgeProfiles.h"
#include "FlankPath.h"
#include "PixelScale.h"
#include "ProfileSampling.h"
#include "files/ImageFile.h"

namespace {

const char* NameOf(Korvane::RimKind kind) {
    switch (kind) {
        case Korvane::RimKind::kRim:
            return "rim";
        case Korvane::RimKind::kEdge:
            return "edge";
        case Korvane::RimKind::kNone:
            break;
    }
    return "none";
}

int Print(const std::string& imagePath, const std::string& labelsPath, int label) {
    qvox::VoxelImage<float> image;
    qvox::VoxelImage<std::uint8_t> grey;
    qvox::LoadImageFile(imagePath, grey);
    image.Resize(grey.SizeX(), grey.SizeY(), 1);
    for (std::uint64_t i = 0; i < grey.VoxelCount(); ++i) image[i] = grey[i];
    qvox::LabelImage labels;
    qvox::LoadImageFile(labelsPath, labels);
    const double unit = Korvane::ScaleOf(labels.Resolution()).UnitNm();
    for (const Korvane::LabelExtent& extent : Korvane::LabelExtents(labels)) {
        if (extent.label != label) continue;
        const Korvane::ProfileSet profiles = Korvane::SampleProfiles(image, labels, nullptr, extent);
        if (profiles.length == 0) break;
        const Korvane::FlankPath flank = Korvane::FindInnerFlank(profiles);
        const Korvane::RimEstimate rim = Korvane::EstimateRim(profiles, flank);
        const Korvane::MeanProfile mean = Korvane::AlignedMean(profiles, flank);
        double outline = 0.0;
        for (const double place : flank.place) outline -= place / static_cast<double>(flank.place.size());
        std::printf("# %s %.3f %.3f %.3f\n", NameOf(rim.kind), outline * unit, rim.flank * unit, rim.rim * unit);
        for (std::size_t k = 0; k < mean.grey.size(); ++k)
            std::printf("%.3f %.3f\n", mean.Place(k) * unit, mean.grey[k] * static_cast<double>(flank.sign));
        return EXIT_SUCCESS;
    }
    std::fprintf(stderr, "edge_profile: label %d has no profile\n", label);
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "edge_profile: IMAGE LABELS LABEL expected\n");
        return 2;
    }
    try {
        return Print(argv[1], argv[2], std::atoi(argv[3]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "edge_profile: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
