#pragma once

#include <cstdint>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace qvox {

/// Edge-enhancing anisotropic diffusion in place: smooths along edges and between them, not across them.
///
/// Model: u_t = div(D grad u), D from the gradient of u smoothed by a Gaussian: along the edge 1, across it
/// g = 1 - exp(-3.31488 / (|grad| / lambda)^8), 1 where the gradient is 0. Intensities count as grey level / 65535, so
/// that lambda does not depend on the voxel type. One time step tau, D being that of the step's beginning:
///     r    = u + tau (d/dx (Dxy du/dy) + d/dy (Dxy du/dx))                  central differences
///     next = ((I - 2 tau Ax)^-1 r + (I - 2 tau Ay)^-1 r) / 2                Ax u = d/dx (Dxx du/dx), likewise Ay
/// where the diffusivity halfway between two voxels is the mean of theirs. The Gaussian is sampled at whole pixels, not
/// cut, and has the sum 1; it is kept to 1e-6 of the range (operations/WideGaussian.h, a direct sum below 3.5 px).
///
/// `preSmoothingSigmaPx`: 0 .. 100000; 0 stands for no smoothing. `contrast`: lambda, >= 0. `timeStep`: >= 0, in px^2.
/// Planes are diffused one by one. Rounded to whole grey levels and clamped to 0 .. 65535 once, after the last step;
/// the result is held by tests to one grey level from double precision. 0 iterations change nothing. Border: the image
/// goes on as its mirror image, the border voxel repeated; nothing flows through it, so the mean is kept. One step
/// leaves the range of the values before it by timeStep / 2 of that range at most, on account of the explicit terms;
/// with long time steps they may grow without bound. Throws ToolkitError for an empty image and for a parameter that is
/// not a number or out of its range; the image is unchanged then. Cost: per step O(1) per voxel whatever the sigma; two
/// floats per voxel of memory, 5 / sigma^2 more, and a band of rows. Bands of rows, for the Gaussian, and strips of
/// about 1024 columns are the parts that `run` is given in each step; the bits do not depend on it. Sources: Weickert,
/// Anisotropic Diffusion in Image Processing (1998); Weickert, ter Haar Romeny, Viergever, Efficient and reliable
/// schemes for nonlinear diffusion filtering (1998). Departs from the latter's purely additive form in the mixed terms,
/// which have no place in it.
void EdgeEnhancingDiffusion(VoxelImage<std::uint16_t>& image, float preSmoothingSigmaPx, float contrast, float timeStep,
                            std::uint64_t iterations, const PartRunner& run = RunOneByOne);

}  // namespace qvox
