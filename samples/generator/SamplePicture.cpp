#include "generator/SamplePicture.h"

#include <algorithm>
#include <cmath>

#include "support/Random.h"

namespace korvane_samples {

namespace {

constexpr double kPi = 3.141592653589793;

using korvane_test::Gaussian;
using korvane_test::OpenUniform;

// Slow variation of the film: a few plane waves of long period.
class UnevenFilm {
public:
    UnevenFilm(std::mt19937& random, std::uint64_t width, std::uint64_t height, double amplitude) {
        const double longSide = static_cast<double>(std::max(width, height));
        for (Wave& wave : waves_) {
            const double direction = 2.0 * kPi * OpenUniform(random);
            const double frequency = 2.0 * kPi * (0.5 + 1.5 * OpenUniform(random)) / longSide;
            wave = {frequency * std::cos(direction), frequency * std::sin(direction), 2.0 * kPi * OpenUniform(random),
                    amplitude * (0.4 + 0.6 * OpenUniform(random)) / 2.0};
        }
    }
    double At(double x, double y) const {
        double sum = 0;
        for (const Wave& wave : waves_) sum += wave.amplitude * std::sin(wave.kx * x + wave.ky * y + wave.phase);
        return sum;
    }

private:
    struct Wave {
        double kx, ky, phase, amplitude;
    };
    Wave waves_[4]{};
};

// Share of light at a signed distance outside a blurred edge: 1 far inside, 0.5 on it, 0 far outside.
double Inside(double outside, double softness) { return 0.5 * std::erfc(outside / (softness * std::sqrt(2.0))); }

double VesicleLight(const Vesicle& vesicle, const Look& look, double dx, double dy) {
    const double angle = std::atan2(dy, dx) - vesicle.direction;
    const double outside = std::hypot(dx, dy) - vesicle.radiusPx * (1.0 + vesicle.ovalness * std::cos(2.0 * angle));
    const double inside = Inside(outside, look.rimSoftnessPx);
    const double membrane = look.membrane * std::exp(-0.5 * std::pow((outside + 2.5) / 1.5, 2)) * inside;
    const double halo = -look.haloDepth * std::exp(-std::max(outside, 0.0) / look.haloWidthPx) * (1.0 - inside);
    return vesicle.brightness * inside + membrane + halo;
}

void AddVesicle(qvox::VoxelImage<double>& light, const Vesicle& vesicle, const Look& look) {
    const double reach = vesicle.radiusPx + 8.0 * look.haloWidthPx;
    const auto first = [&](double centre) {
        return static_cast<std::uint64_t>(std::max(0.0, std::ceil(centre - reach)));
    };
    const auto end = [&](double centre, std::uint64_t size) {
        return std::min(size, static_cast<std::uint64_t>(std::max(0.0, std::floor(centre + reach) + 1.0)));
    };
    for (std::uint64_t y = first(vesicle.y); y < end(vesicle.y, light.SizeY()); ++y) {
        for (std::uint64_t x = first(vesicle.x); x < end(vesicle.x, light.SizeX()); ++x) {
            const double dx = static_cast<double>(x) - vesicle.x;
            const double dy = static_cast<double>(y) - vesicle.y;
            if (dx * dx + dy * dy < reach * reach) light(x, y) += VesicleLight(vesicle, look, dx, dy);
        }
    }
}

// Specks that are too small to be vesicles, brighter or darker than the film.
void DrawDebris(std::mt19937& random, qvox::VoxelImage<float>& image, int perMegapixel) {
    const double pixels = static_cast<double>(image.VoxelCount());
    const int count = static_cast<int>(pixels * perMegapixel / 1e6);
    constexpr std::int64_t kReach = 8;
    for (int i = 0; i < count; ++i) {
        const std::int64_t x = static_cast<std::int64_t>(OpenUniform(random) * static_cast<double>(image.SizeX()));
        const std::int64_t y = static_cast<std::int64_t>(OpenUniform(random) * static_cast<double>(image.SizeY()));
        const double size = 1.0 + 1.5 * OpenUniform(random);
        const double light = (OpenUniform(random) < 0.5 ? -0.12 : 0.12) * (0.5 + OpenUniform(random));
        for (std::int64_t py = std::max<std::int64_t>(0, y - kReach); py <= y + kReach; ++py) {
            for (std::int64_t px = std::max<std::int64_t>(0, x - kReach); px <= x + kReach; ++px) {
                const auto column = static_cast<std::uint64_t>(px);
                const auto row = static_cast<std::uint64_t>(py);
                if (column >= image.SizeX() || row >= image.SizeY()) continue;
                const double squared = static_cast<double>((px - x) * (px - x) + (py - y) * (py - y));
                image(column, row) += static_cast<float>(light * std::exp(-squared / (2.0 * size * size)));
            }
        }
    }
}

// Noise correlated over about three pixels, of standard deviation 1.
std::vector<double> CoarseNoise(std::mt19937& random, std::int64_t width, std::int64_t height) {
    const std::int64_t pad = 2;
    const std::int64_t stride = width + 2 * pad;
    std::vector<double> fine(static_cast<std::size_t>(stride * (height + 2 * pad)));
    for (double& value : fine) value = Gaussian(random);
    std::vector<double> coarse(static_cast<std::size_t>(width * height));
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            double sum = 0;
            for (std::int64_t dy = 0; dy <= 2 * pad; ++dy) {
                for (std::int64_t dx = 0; dx <= 2 * pad; ++dx)
                    sum += fine[static_cast<std::size_t>((y + dy) * stride + x + dx)];
            }
            coarse[static_cast<std::size_t>(y * width + x)] = sum / 5.0;
        }
    }
    return coarse;
}

}  // namespace

std::vector<Vesicle> PlaceVesicles(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                   const std::vector<double>& radiiPx, double gapPx) {
    constexpr int kTries = 4000;
    constexpr double kMarginPx = 12.0;
    std::vector<Vesicle> placed;
    for (const double radius : radiiPx) {
        const double clear = radius + kMarginPx;
        for (int attempt = 0; attempt < kTries; ++attempt) {
            Vesicle vesicle;
            vesicle.radiusPx = radius;
            vesicle.x = clear + OpenUniform(random) * (static_cast<double>(width) - 1.0 - 2.0 * clear);
            vesicle.y = clear + OpenUniform(random) * (static_cast<double>(height) - 1.0 - 2.0 * clear);
            vesicle.brightness = 0.24 + 0.10 * OpenUniform(random);
            vesicle.ovalness = 0.05 * OpenUniform(random);
            vesicle.direction = kPi * OpenUniform(random);
            const bool free = std::all_of(placed.begin(), placed.end(), [&](const Vesicle& other) {
                return std::hypot(vesicle.x - other.x, vesicle.y - other.y) >= radius + other.radiusPx + gapPx;
            });
            if (free) {
                placed.push_back(vesicle);
                break;
            }
        }
    }
    return placed;
}

qvox::VoxelImage<float> DrawPicture(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                    const std::vector<Vesicle>& vesicles, const Look& look) {
    const UnevenFilm film(random, width, height, look.unevenness);
    const std::vector<double> coarse =
        CoarseNoise(random, static_cast<std::int64_t>(width), static_cast<std::int64_t>(height));
    qvox::VoxelImage<double> light;
    light.Resize(width, height, 1);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            light(x, y) = look.background + film.At(static_cast<double>(x), static_cast<double>(y));
        }
    }
    for (const Vesicle& vesicle : vesicles) AddVesicle(light, vesicle, look);

    qvox::VoxelImage<float> image;
    image.Resize(width, height, 1);
    for (std::uint64_t i = 0; i < light.VoxelCount(); ++i) {
        image[i] = static_cast<float>(light[i] + (look.grain * Gaussian(random) + look.coarseGrain * coarse[i]));
    }
    DrawDebris(random, image, look.debrisPerMegapixel);
    return image;
}

}  // namespace korvane_samples
