#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Korvane {

/// How the labels of an image were made, as far as a record tells.
struct LabelOrigin {
    std::string command;     ///< empty: there is no record of them
    std::string program;     ///< with its version
    std::string parameters;  ///< "Area fraction 0.15, ..."; empty: the command has none
    std::string prepared;    ///< what was left out of the image or filled
};

/// One counted object.
struct ReportedObject {
    double diameterNm = 0.0;
    double roundness = 0.0;
};

/// What a report keeps of an image. Texts are UTF-8.
struct ReportedImage {
    std::string path;
    std::string name;                                     ///< of the file
    std::size_t group = 0;                                ///< in the report's list; 0 where there are no groups
    std::string leftOutBecause = "it was not looked at";  ///< empty: it is part of the report
    std::uint64_t widthPx = 0;
    std::uint64_t heightPx = 0;
    double areaUm2 = 0.0;
    std::string pixelSize;
    std::string pixelSizeSource;
    LabelOrigin origin;
    std::vector<std::string> warnings;
    std::vector<ReportedObject> counted;
    std::size_t objects = 0;
    std::size_t atEdge = 0;                      ///< of all objects
    std::map<std::string, std::size_t> leftOut;  ///< objects by reason; one may have several
};

}  // namespace Korvane
