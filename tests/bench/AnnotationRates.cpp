// Both errors of the search for scale bars and writing, printed as a table: annotation_rates [PHANTOMS_OF_EACH_KIND]
// or, with files, what is found in each: annotation_rates FILE...

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Annotations.h"
#include "InformationBar.h"
#include "files/ImageFile.h"
#include "support/AnnotatedPhantoms.h"

namespace {

using korvane_test::Addition;
using korvane_test::Depth;

struct Rates {
    int warned = 0;
    double covered = 0.0;  // sum over images: the share of the drawn pixels that were found
    double beside = 0.0;   // sum over images: pixels found at more than two pixels from those drawn
};

Rates Measure(Depth depth, Addition addition, int count) {
    Rates rates;
    for (int i = 0; i < count; ++i) {
        const auto phantom = korvane_test::MakeAnnotatedPhantom(static_cast<std::uint32_t>(1000 + i), depth, addition);
        const Korvane::Annotations found = Korvane::FindAnnotations(korvane_test::ToImage(phantom.image));
        if (found.Empty()) continue;
        ++rates.warned;
        cv::Mat1b near;
        cv::dilate(phantom.drawn, near, cv::getStructuringElement(cv::MORPH_RECT, {5, 5}));
        double hit = 0.0;
        for (int y = 0; y < near.rows; ++y) {
            for (int x = 0; x < near.cols; ++x) {
                const bool isFound = found.mask(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
                if (isFound && phantom.drawn(y, x) != 0) hit += 1.0;
                if (isFound && near(y, x) == 0) rates.beside += 1.0;
            }
        }
        const int drawn = cv::countNonZero(phantom.drawn);
        if (drawn > 0) rates.covered += hit / drawn;
    }
    return rates;
}

void PrintRates(int count) {
    std::printf("| in the image | warned of, 8 bits | 16 bits | pixels found, 8 bits | 16 bits | pixels beside, 8 bits | 16 bits |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    for (const Addition addition : {Addition::kNothing, Addition::kDirt, Addition::kGrid, Addition::kBar,
                                    Addition::kBarAndText, Addition::kText, Addition::kArrow}) {
        const Rates narrow = Measure(Depth::k8Bit, addition, count);
        const Rates wide = Measure(Depth::k16Bit, addition, count);
        const auto percent = [count](double part) { return 100.0 * part / count; };
        std::printf("| %s | %.1f %% | %.1f %% |", NameOf(addition), percent(narrow.warned), percent(wide.warned));
        if (IsWritten(addition)) {
            std::printf(" %.1f %% | %.1f %% |", percent(narrow.covered), percent(wide.covered));
        } else {
            std::printf(" | |");
        }
        std::printf(" %.1f | %.1f |\n", narrow.beside / count, wide.beside / count);
    }
}

void PrintFile(const char* path) {
    qvox::VoxelImage<float> image;
    qvox::LoadImageFile(path, image);
    const Korvane::Annotations found = Korvane::FindAnnotations(image);
    const Korvane::InformationBars bars = Korvane::FindInformationBars(image);
    const auto [x, y, width, height] = found.Bounds();
    std::printf("%s: %zu pieces, %llu pixels, %lld, %lld (%lld x %lld); bar rows %lld, %lld\n", path, found.pieces.size(),
                static_cast<unsigned long long>(found.PixelCount()), static_cast<long long>(x), static_cast<long long>(y),
                static_cast<long long>(width), static_cast<long long>(height), static_cast<long long>(bars.topRows),
                static_cast<long long>(bars.bottomRows));
}

}  // namespace

int main(int argc, char** argv) {
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    if (argc == 1 || count > 0) {
        PrintRates(count > 0 ? count : 500);
        return 0;
    }
    for (int i = 1; i < argc; ++i) {
        try {
            PrintFile(argv[i]);
        } catch (const qvox::ToolkitError& error) {
            std::printf("%s\n", error.what());
        }
    }
    return 0;
}
