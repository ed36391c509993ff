#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "VoxelImage.h"

namespace korvane_samples {

/// One vesicle as drawn: slightly oval, with the rim's steepest point on the oval.
struct Vesicle {
    double x = 0;  ///< column of the centre, pixels; (0, 0) is the centre of the first pixel
    double y = 0;
    double radiusPx = 0;  ///< mean radius; the oval has the area of this circle but for a part in a thousand
    double ovalness = 0;  ///< the rim runs at radiusPx (1 + ovalness cos 2 (angle - direction))
    double direction = 0;
    double brightness = 0;  ///< of the inside above the background, grey value 0..1
};

/// The look of an image of negatively stained vesicles.
struct Look {
    double background = 0.42;      ///< grey value 0..1 of the stained film
    double unevenness = 0.04;      ///< amplitude of the film's slow variation
    double haloDepth = 0.12;       ///< stain gathered around a vesicle, below the background
    double haloWidthPx = 5.0;      ///< distance at which the halo has fallen to 1/e
    double rimSoftnessPx = 1.3;    ///< standard deviation of the optical blur of the rim
    double membrane = 0.05;        ///< additional brightness of the membrane just inside the rim
    double grain = 0.03;           ///< standard deviation of fine noise
    double coarseGrain = 0.012;    ///< standard deviation of noise that is correlated over a few pixels
    int debrisPerMegapixel = 120;  ///< specks of protein and stain, of a few pixels
};

/// Random places for vesicles of the given radii: no two closer than `gapPx` between their rims, all whole inside the
/// image. Radii that find no place within a bounded number of tries are left out.
std::vector<Vesicle> PlaceVesicles(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                   const std::vector<double>& radiiPx, double gapPx);

/// Draws the vesicles and some debris on a stained film; grey values are about 0..1.
qvox::VoxelImage<float> DrawPicture(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                    const std::vector<Vesicle>& vesicles, const Look& look);

}  // namespace korvane_samples
