#pragma once

#include <cstdint>

/// Every constant of detection and seeded segmentation, once: value, unit, meaning and the stage that uses it. What a
/// user sets is in AnalysisParameters.h.
///
/// A name that ends in Px is a nominal size: it holds at the reference resolution, where a pixel is 1.488 nm wide, and
/// a stage multiplies it by the scale. Lengths in nm below are for that resolution. Areas are multiplied by the scale
/// itself, not by its square: at twice the reference resolution 50000 px become 100000 px, which cover half as many
/// nm². The type of a constant is part of the rule, because products are rounded in it.
namespace Korvane {

// ---- Scale: DetectionDriver, SeededSegmentation

/// Pixels per micrometre at which the scale is 1: the resolution for which all sizes below are stated.
inline constexpr float kReferenceResolution = 672.0f;

/// Detection's scale is resolution / kReferenceResolution * (kScaleReach - relativeExosomeSize): the default size of 1
/// leaves the scale alone, and a larger expected size gives a smaller scale.
inline constexpr double kScaleReach = 2.0;

/// Largest scale that is accepted. It stands for a pixel of 1.5 pm, far below an atom: such a resolution is an error of
/// the file, and filters that grow with the scale would run for hours.
inline constexpr float kMaximumScale = 1000.0f;

// ---- Edge map: EdgeMap

/// Sigma of the first Gaussian, 2.2 nm: suppresses the noise of single pixels; a membrane is wider.
inline constexpr double kSmoothingSigmaPx = 1.5;

/// Width in pixels of the images that are smoothed more, and the pixels by which their sigma is larger; not scaled.
/// Only an image of exactly this width, the full frame of a 1024 px camera, is concerned.
inline constexpr std::uint64_t kWidthWithBonus = 1024;
inline constexpr double kSigmaBonusPixels = 4.0;

/// Grey levels that the smoothed image, 0 .. 1, is spread over before the diffusion. They are stored in 16 bits, so the
/// brightest pixel, 1, wraps to 0.
inline constexpr float kSixteenBitLevels = 65536.0f;

/// Sigma with which the diffusion smooths the image before it reads the direction of edges, 7.4 nm: about the thickness
/// of a membrane, so that its two sides count as one edge.
inline constexpr float kDiffusionSigmaPx = 5.0f;

/// Lambda, in shares of the grey range per pixel: a gradient well above it (328 of 65535 levels) stops the flow across
/// an edge. The parameter edgeContrast has the same default, but does not reach this.
inline constexpr float kDiffusionContrast = 0.005f;

/// Length of one step in px², and number of steps, which is scaled and truncated. Together they diffuse for 1 px²,
/// which blurs along edges like a Gaussian of 1.4 px: gaps of a pixel or two in a contour close.
inline constexpr float kDiffusionTimeStep = 0.05f;
inline constexpr double kDiffusionSteps = 20.0;

// ---- Candidate detection: CandidateDetection, level_sweep

/// Codes of the candidate map.
inline constexpr float kFreeCode = 0.0f;       ///< no candidate
inline constexpr float kCandidateCode = 2.0f;  ///< pixel of a candidate
inline constexpr float kRingCode = 3.0f;       ///< ring of one pixel around a candidate, which keeps neighbours apart

/// Levels of the edge map, 0 .. 1: about 190 from the strongest edge down to a twentieth of it; weaker edges are taken
/// for the grain of the background. Each level is the one before minus the step, in single precision.
inline constexpr float kFirstLevel = 1.0f;
inline constexpr float kLevelStep = 0.005f;
inline constexpr float kLowestLevel = 0.05f;

/// Percentile of the edge map at which the strong phase ends: the strongest 2.5 % of the pixels are edges wherever they
/// lie, weaker ones only where they continue an edge. Weak texture inside a vesicle therefore does not break it up.
inline constexpr float kStrongEdgePercentage = 97.5f;

/// Bins of the percentile's histogram over 0 .. 1; a power of two, so that the product with a value is exact.
inline constexpr int kPercentileBins = 65536;

/// The percentile where too many values lie above 1 or are not numbers for its share to be reached.
inline constexpr float kPercentileFallback = 0.3f;

/// Areas between which a component can be an exosome: discs of 17 nm and of 375 nm across. Smaller components are
/// grain, larger ones background that no contour has closed yet. Both are multiplied by maxRelativeClusterSize too, and
/// truncated.
inline constexpr float kMinimumComponentAreaPx = 100.0f;
inline constexpr float kMaximumComponentAreaPx = 50000.0f;

/// Around the end of an open branch of the skeleton that is longer than this, 22 nm, touched pixels become background
/// again. The weak phase continues edges from background only, so a long loose end may grow on and close at a later
/// level. A shorter branch is a spur of the thinning, not an edge: nothing changes around its end. Truncated.
inline constexpr float kLongBranchPx = 15.0f;

// ---- Candidate filtering: CandidateFilter

/// Value of kept regions in the filtered map; 0 elsewhere.
inline constexpr std::uint8_t kKeptCode = 255;

/// Values of a mask above this are set, where the mask does not hold 0 and 1 exactly.
inline constexpr float kMaskThreshold = 0.1f;

/// A larger candidate region is dropped: a disc of 375 nm across. Several candidates may have merged to one region, so
/// the limit of components is applied again; maxRelativeClusterSize does not move it.
inline constexpr float kMaximumCandidateAreaPx = 50000.0f;

/// The root of pi, rounded to these digits: radius = root of the area / kRootOfPi.
inline constexpr float kRootOfPi = 1.7724f;

/// Least diameter of the ellipse that a region is opened with, 16 nm, truncated to whole pixels: about the diameter of
/// the smallest component. A region that is thinner nearly everywhere is a streak, not a vesicle.
inline constexpr float kMinimumOpeningPx = 11.0f;

/// Share of a region's pixels that must survive the opening: a compact shape loses the corners of its outline, less
/// than a tenth; tails and bridges cost a ragged shape more.
inline constexpr float kKeptShare = 0.9f;

// ---- Cluster separation: ClusterSeparation

/// Height of the domes on the distance map, in pixels whatever the scale: two parts of a cluster come apart when the
/// neck between them is more than 3 px lower than either peak, that is, about 6 px narrower than the thinner part.
inline constexpr float kDomeHeightPixels = 3.0f;

/// A core is what rises by more than this above the reconstruction: the top 2.5 px of a peak.
inline constexpr float kCoreRisePixels = 0.5f;

/// Side of the ellipse that erodes the cores, in pixels whatever the scale: removes single pixels and spurs.
inline constexpr int kCoreErosionPixels = 3;

/// Cores are dilated by an ellipse of (int)(scale + kBlobGrowthPixels) pixels, 6 at scale 1: a blob is a marker, whose
/// size follows the scale and not the object.
inline constexpr float kBlobGrowthPixels = 5.0f;

// ---- Growth from markers: Refinement, SeededSegmentation

/// Label of the background marker; what it floods becomes 0. Objects are numbered from 1, so it is free until 20000
/// objects are in one image; a seed that a user numbered so is lost.
inline constexpr std::uint16_t kBackgroundMarker = 20000;

/// Sigma of the Gaussian below the relief, 4.5 nm: the border between object and background becomes one ridge.
inline constexpr double kReliefSigmaPx = 3.0;

/// Distance from every label at which background begins for certain, 149 nm, truncated to whole pixels. Detection
/// forms the product in double precision, seeded segmentation in single; they may differ by one pixel.
inline constexpr float kBackgroundDistancePx = 100.0f;

}  // namespace Korvane
