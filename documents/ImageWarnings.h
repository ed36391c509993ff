#pragma once

#include <cstdint>
#include <vector>

#include <wx/string.h>

#include "AnalysisParameters.h"
#include "Annotations.h"
#include "InformationBar.h"
#include "PixelResolution.h"

// Warnings about an image that a person should read before believing its results. Each text goes on where the image's
// name stands before it ("has 25 nm per pixel ..."), ends with a full stop, and is empty where there is nothing to say.

namespace Korvane {

/// "1.488 nm per pixel", "1.5 x 2.5 nm per pixel" or "pixel size undefined". Six digits tell pixel sizes apart as far
/// as files store them.
wxString PixelSizeText(const qvox::PixelResolution& resolution);

/// Widths of a pixel, in nanometres, between which exosomes are imaged; both ends included.
inline constexpr double kSmallestUsualPixelNm = 0.05;
inline constexpr double kLargestUsualPixelNm = 20.0;

/// How far apart width and height of a pixel may be, as a share of the smaller.
inline constexpr double kUsualAspectDifference = 0.01;

/// A pixel size outside the usual range, or pixels that are not square. An undefined size gives no warning here.
wxString PixelSizeWarning(const qvox::PixelResolution& resolution);

/// A pixel size that the user gave and that replaces another one of the file; `option` is what it was given with. Sizes
/// that read the same in PixelSizeText are the same. `source` tells where the file stores its own.
wxString ReplacedPixelSizeWarning(const qvox::PixelResolution& stored, const wxString& source,
                                  const qvox::PixelResolution& used, const wxString& option);

/// Below this many times the largest object of detection an image is too small for it: what lies between the objects
/// may pass for an object itself, and takes those in it along.
inline constexpr double kRoomForDetection = 1.5;

/// What of an image is analysed.
enum class Extent { kWholeImage, kPart };

/// An image, or the part of it that is analysed, that is not larger than the largest object of detection or has less
/// than kRoomForDetection. An undefined or absurd pixel size, which detection refuses, gives no warning here.
wxString AreaLimitWarning(std::uint64_t pixels, Extent extent, float xResolution, const AnalysisParameters& parameters);

/// Scale bars and writing in the image; `frame`: the part of the image that they were found in, `remedy`: the option
/// against them.
wxString AnnotationWarning(const Annotations& annotations, const PixelBox& frame,
                           const wxString& remedy = "--fill-annotations");

/// Information bars above and below the image. The text alone: "32 rows at the bottom".
wxString InformationBarWarning(const InformationBars& bars, const wxString& remedy = "--trim-bar");
wxString InformationBarText(const InformationBars& bars);

/// A path with a tab, a line feed or a carriage return, which stand between the columns and rows of the table.
wxString BrokenRowsWarning(const wxString& path);

/// Warnings of several images as one text: a line for each, the image's path before it. After the first 20 images the
/// others are counted. Empty without images.
class GatheredWarnings {
public:
    /// An empty text is none.
    void Add(const wxString& path, const wxString& warning);
    wxString Text() const;

private:
    std::vector<wxString> lines_;
};

}  // namespace Korvane
