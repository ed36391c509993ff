#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

#include <opencv2/imgproc.hpp>

#include "support/Phantoms.h"
#include "support/Random.h"

/// Images of vesicles as a camera stores them, with what programs write over them and with what looks like it.
namespace korvane_test {

enum class Depth {
    k8Bit,   ///< stretched to the full range, with a few saturated pixels at both ends
    k16Bit,  ///< a sixth of the range, 1000 to 11200
};

/// What stands in an image beside the vesicles.
enum class Addition { kNothing, kDirt, kGrid, kBar, kBarAndText, kText, kArrow };

inline const char* NameOf(Addition addition) {
    switch (addition) {
        case Addition::kNothing: return "nothing";
        case Addition::kDirt: return "saturated dirt";
        case Addition::kGrid: return "dark grid";
        case Addition::kBar: return "scale bar";
        case Addition::kBarAndText: return "bar and text";
        case Addition::kText: return "text";
        case Addition::kArrow: return "arrow";
    }
    return "";
}

inline bool IsWritten(Addition addition) {
    return addition != Addition::kNothing && addition != Addition::kDirt && addition != Addition::kGrid;
}

struct AnnotatedPhantom {
    cv::Mat clean;    ///< grey levels, float
    cv::Mat image;    ///< the same with the addition
    cv::Mat1b drawn;  ///< where writing covers it by more than half
};

/// Round specks or the bars of a grid, before the camera: soft by its blur, cut off at the end of the range.
inline void AddSpecimen(cv::Mat& map, Addition addition, std::mt19937& random) {
    cv::Mat1f layer(map.size(), 0.0f);
    if (addition == Addition::kDirt) {
        for (int i = 0; i < 6; ++i) {
            const cv::Point centre(UniformInt(random, 0, map.cols - 1), UniformInt(random, 0, map.rows - 1));
            const cv::Size axes(UniformInt(random, 3, 14), UniformInt(random, 3, 14));
            const double strength = Uniform(random, 1.5f, 5.0f);
            cv::ellipse(layer, centre, axes, Uniform(random, 0.0f, 180.0f), 0.0, 360.0, strength, cv::FILLED, cv::LINE_AA);
        }
    }
    if (addition == Addition::kGrid) {
        const float angle = Uniform(random, -0.3f, 0.3f);
        const int edge = UniformInt(random, 10, map.rows / 3);
        const auto slope = static_cast<int>(std::tan(angle) * static_cast<float>(map.cols));
        const cv::Point corners[] = {{0, 0}, {map.cols, 0}, {map.cols, std::max(0, edge + slope)}, {0, edge}};
        cv::fillConvexPoly(layer, corners, 4, -3.0, cv::LINE_AA);
    }
    const double blurPx = Uniform(random, 1.2f, 3.0f);
    cv::GaussianBlur(layer, layer, cv::Size(-1, -1), blurPx, blurPx);
    map += layer;
}

inline cv::Mat Stored(const cv::Mat& map, Depth depth) {
    const float low = 0.4f;
    const float high = depth == Depth::k8Bit ? 0.95f : 1.0f;
    const float first = depth == Depth::k8Bit ? 0.0f : 1000.0f;
    const float last = depth == Depth::k8Bit ? 255.0f : 11200.0f;
    const float most = depth == Depth::k8Bit ? 255.0f : 65535.0f;
    cv::Mat stored(map.size(), CV_32F);
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            const float level = first + (map.at<float>(y, x) - low) / (high - low) * (last - first);
            stored.at<float>(y, x) = std::clamp(std::floor(level + 0.5f), 0.0f, most);
        }
    }
    return stored;
}

/// How much the writing covers each pixel, 0 to 1.
inline cv::Mat1f Writing(cv::Size size, Addition addition, std::mt19937& random) {
    cv::Mat1f cover(size, 0.0f);
    const int line = Uniform(random) < 0.5f ? cv::LINE_AA : cv::LINE_8;
    const int length = UniformInt(random, 40, size.width / 3);
    const int thickness = UniformInt(random, 3, 8);
    const int left = UniformInt(random, 8, size.width - length - 8);
    const int top = Uniform(random) < 0.5f ? UniformInt(random, 40, 60) : size.height - UniformInt(random, 14, 30);
    const double height = Uniform(random, 0.5f, 0.9f);
    const int stroke = UniformInt(random, 1, 2);
    const std::string text = std::to_string(UniformInt(random, 1, 9) * 100) + (Uniform(random) < 0.5f ? " nm" : "nm");
    // Drawn in 8 bits: OpenCV smooths lines there only.
    cv::Mat1b drawn(size, std::uint8_t{0});
    if (addition == Addition::kBar || addition == Addition::kBarAndText) {
        cv::rectangle(drawn, cv::Rect(left, top, length, thickness), 255, cv::FILLED);
    }
    if (addition == Addition::kText || addition == Addition::kBarAndText) {
        cv::putText(drawn, text, {left, top - 6}, cv::FONT_HERSHEY_SIMPLEX, height, 255, stroke, line);
    }
    if (addition == Addition::kArrow) {
        const cv::Point tip(UniformInt(random, 40, size.width - 40), UniformInt(random, 40, size.height - 40));
        const float angle = Uniform(random, 0.0f, 6.2831853f);
        const cv::Point tail(tip.x + static_cast<int>(30.0f * std::cos(angle)),
                             tip.y + static_cast<int>(30.0f * std::sin(angle)));
        cv::arrowedLine(drawn, tail, tip, 255, stroke + 1, line, 0, 0.35);
    }
    drawn.convertTo(cover, CV_32F, 1.0 / 255.0);
    return cover;
}

/// Vesicles of a seed with an addition; bright and dark writing in turn.
inline AnnotatedPhantom MakeAnnotatedPhantom(std::uint32_t seed, Depth depth, Addition addition) {
    std::mt19937 random(seed * 2654435761u + 17u);
    VesicleOptions options;
    options.rim = Uniform(random, -0.15f, 0.3f);
    options.noise = Uniform(random, 0.01f, 0.08f);
    options.blurPx = Uniform(random, 0.8f, 2.5f);
    cv::Mat map = Vesicles(seed, 420, 360, options);
    if (!IsWritten(addition)) AddSpecimen(map, addition, random);
    AnnotatedPhantom made;
    made.clean = Stored(map, depth);
    made.image = made.clean.clone();
    made.drawn = cv::Mat1b(map.size(), std::uint8_t{0});
    if (!IsWritten(addition)) return made;
    const cv::Mat1f cover = Writing(map.size(), addition, random);
    const float most = depth == Depth::k8Bit ? 255.0f : 65535.0f;
    const float level = Uniform(random) < 0.7f ? most : 0.0f;
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            float& grey = made.image.at<float>(y, x);
            grey = std::floor(grey + cover(y, x) * (level - grey) + 0.5f);
            made.drawn(y, x) = cover(y, x) > 0.5f ? 1 : 0;
        }
    }
    return made;
}

}  // namespace korvane_test
