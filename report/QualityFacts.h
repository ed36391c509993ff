#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "ReportedImage.h"

namespace Korvane {

/// How many images have a text, in the order in which it first comes. Of texts that nearly every image has to itself
/// only the first ones are held.
class TextTally {
public:
    static constexpr std::size_t kMostTexts = 1000;

    void Add(const std::string& text);
    const std::vector<std::string>& Texts() const { return order_; }
    std::size_t Count(const std::string& text) const { return counts_.at(text); }
    /// Images whose texts are not held.
    std::size_t Others() const { return others_; }

private:
    std::vector<std::string> order_;
    std::map<std::string, std::size_t> counts_;
    std::size_t others_ = 0;
};

/// What is said of single images: all of it is counted, the first ones are held.
struct NamedImages {
    static constexpr std::size_t kMost = 1000;
    struct Line {
        std::string path;
        std::string text;
    };
    std::vector<Line> first;
    std::size_t count = 0;

    void Add(const std::string& path, const std::string& text);
};

/// What tells how far the numbers of a report can be believed.
struct QualityFacts {
    TextTally pixelSizes;   ///< "2 nm per pixel"
    TextTally sizeSources;  ///< "2 nm per pixel (the file)"
    TextTally origins;      ///< command, version and parameters that made the labels
    TextTally outlined;     ///< the same as a part of a sentence, with what was prepared
    TextTally prepared;     ///< what was left out of the images, or filled
    NamedImages leftOut;
    NamedImages warnings;

    void Add(const ReportedImage& image);
};

}  // namespace Korvane
