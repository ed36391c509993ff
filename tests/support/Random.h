#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

/// Random numbers for tests, samples and benchmarks. The generator is std::mt19937, whose bits the standard lays down; the
/// distributions of the standard library are not, and are used nowhere: a seed gives the same image with every library.
namespace korvane_test {

/// Uniform in [0, 1): a multiple of 2^-24. One draw.
inline float Uniform(std::mt19937& random) { return static_cast<float>(random() >> 8) / 16777216.0f; }
/// Uniform between low and high.
inline float Uniform(std::mt19937& random, float low, float high) { return low + (high - low) * Uniform(random); }

/// Uniform in [0, 1), double precision. Two draws, the first of which is the lower half.
inline double UniformDouble(std::mt19937& random) {
    constexpr double k32 = 4294967296.0;
    const double low = static_cast<double>(random());
    const double high = static_cast<double>(random());
    return std::min((low + high * k32) / (k32 * k32), std::nextafter(1.0, 0.0));
}

/// Uniform in (0, 1): odd multiples of 2^-33. One draw.
inline double OpenUniform(std::mt19937& random) { return (static_cast<double>(random()) + 0.5) / 4294967296.0; }

/// Normally distributed, mean 0, deviation 1 (Box and Muller 1958, the cosine alone). Two draws.
inline double Gaussian(std::mt19937& random) {
    constexpr double kTwoPi = 2.0 * 3.141592653589793;
    const double radius = std::sqrt(-2.0 * std::log(OpenUniform(random)));
    return radius * std::cos(kTwoPi * OpenUniform(random));
}

/// Uniform integer in [low, high], without bias (Lemire 2019: the upper half of a product, unfair lower halves drawn
/// again). One draw, seldom more.
inline int UniformInt(std::mt19937& random, int low, int high) {
    const auto count = static_cast<std::uint32_t>(static_cast<std::int64_t>(high) - low + 1);
    if (count == 0) return static_cast<int>(static_cast<std::int64_t>(random()) + low);  // every integer
    const std::uint32_t unfair = (~count + 1) % count;
    std::uint64_t product = 0;
    do {
        product = static_cast<std::uint64_t>(random()) * count;
    } while (static_cast<std::uint32_t>(product) < unfair);
    return static_cast<int>(low + static_cast<std::int64_t>(product >> 32));
}

/// Every order is equally likely (Fisher and Yates, from the last place down).
template <typename Value>
void Shuffle(std::mt19937& random, std::vector<Value>& values) {
    for (std::size_t left = values.size(); left > 1; --left) {
        const int chosen = UniformInt(random, 0, static_cast<int>(left) - 1);
        std::swap(values[left - 1], values[static_cast<std::size_t>(chosen)]);
    }
}

}  // namespace korvane_test
