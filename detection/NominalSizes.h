#pragma once

/// The constants of the analysis, each once. Lengths and areas are nominal: in pixels at the reference resolution; a
/// stage multiplies them with its scale.
namespace Korvane {

// Codes of the candidate map.
inline constexpr float kFreeCode = 0.0f;       ///< may still become a candidate
inline constexpr float kCandidateCode = 2.0f;  ///< pixel of a candidate
inline constexpr float kRingCode = 3.0f;       ///< ring of one pixel around candidates; never becomes a candidate

// Candidate detection: levels of the edge map, 0 .. 1.
inline constexpr float kFirstLevel = 1.0f;
inline constexpr float kLevelStep = 0.005f;
inline constexpr float kLowestLevel = 0.05f;
inline constexpr float kStrongEdgePercentage = 97.5f;  ///< the first phase ends at this percentile of the edge map

// Candidate detection: components between the edges. Areas are multiplied with maxRelativeClusterSize too.
inline constexpr float kMinimumComponentAreaPx = 100.0f;
inline constexpr float kMaximumComponentAreaPx = 50000.0f;
inline constexpr float kLongBranchPx = 15.0f;  ///< longer open branches of the skeleton have their ends cleared

}  // namespace Korvane
