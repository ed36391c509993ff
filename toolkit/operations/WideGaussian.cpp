#include "operations/WideGaussian.h"

#include <algorithm>
#include <cstdint>

#include "Assert.h"

namespace qvox {

using namespace wide_gaussian;

namespace {

// A band adds the rows of six cells that its neighbours add, too.
constexpr std::ptrdiff_t kFewestCells = 48;
constexpr std::ptrdiff_t kBands = 8;

std::ptrdiff_t Filled(std::ptrdiff_t n) { return (n + kBlock - 1) / kBlock * kBlock; }

// An odd number of cache lines: rows below each other then fall into different sets of the cache.
std::ptrdiff_t StrideFor(std::ptrdiff_t columns) {
    const std::ptrdiff_t lines = Filled(columns) / kBlock;
    return (lines % 2 == 0 ? lines + 1 : lines) * kBlock;
}

Axis View(const AxisTables& tables) {
    Axis axis;
    axis.pixels = tables.pixels;
    axis.cells = tables.cells;
    axis.radius = static_cast<std::ptrdiff_t>(tables.middle.size()) - 1;
    axis.firstPixel = tables.firstPixel.data();
    axis.reduce = tables.reduce.data();
    axis.firstWeight = tables.firstWeight.data();
    axis.reduceByCell = tables.reduceByCell.data();
    axis.expand = tables.expand.data();
    axis.middle = tables.middle.data();
    return axis;
}

// Hands out rows of one block of memory, each at the begin of a cache line.
class FloatMemory {
public:
    explicit FloatMemory(std::vector<float>& memory) : memory_(memory) {}
    void Want(float*& place, std::ptrdiff_t floats) {
        wanted_.push_back({&place, floats_});
        floats_ += Filled(floats);
    }
    void Provide() {
        memory_.assign(static_cast<std::size_t>(floats_ + kBlock), 0.0f);
        const auto beyond = reinterpret_cast<std::uintptr_t>(memory_.data()) / sizeof(float) % kBlock;
        float* first = memory_.data() + (beyond == 0 ? 0 : kBlock - static_cast<std::ptrdiff_t>(beyond));
        for (const Place& place : wanted_) *place.pointer = first + place.offset;
    }

private:
    struct Place {
        float** pointer;
        std::ptrdiff_t offset;
    };
    std::vector<float>& memory_;
    std::vector<Place> wanted_;
    std::ptrdiff_t floats_ = 0;
};

}  // namespace

WideGaussian::WideGaussian(const Sizes& sizes, double sigmaPx, InstructionSet set)
    : alongX_(MakeAxisTables(sizes.width, sigmaPx)),
      alongY_(sizes.height == sizes.width ? alongX_ : MakeAxisTables(sizes.height, sigmaPx)),
      passes_(set == InstructionSet::kAvx512 ? PassesAvx512()
              : set == InstructionSet::kAvx2 ? PassesAvx2()
                                             : PassesBaseline()) {
    KORVANE_ASSERT(sizes.stride >= Filled(sizes.width));
    plan_.x = View(alongX_);
    plan_.y = View(alongY_);
    plan_.planeStride = sizes.stride;
    ProvideBands();
}

void WideGaussian::ProvideBands() {
    const std::ptrdiff_t cells = plan_.y.cells;
    // Of whole blocks, as many in each as in any other or one more, so that threads end together.
    const std::ptrdiff_t blocks = Filled(cells) / kBlock;
    const std::ptrdiff_t bands = std::clamp(cells / kFewestCells, std::ptrdiff_t{1}, kBands);
    for (std::ptrdiff_t i = 0; i < bands; ++i) {
        Band band;
        band.firstCell = blocks * i / bands * kBlock;
        band.endCell = std::min(blocks * (i + 1) / bands * kBlock, cells);
        bands_.push_back(band);
    }
    memory_.resize(bands_.size() + 1);
    auto memory = memory_.begin();
    FloatMemory coarse(*memory++);
    coarse.Want(plan_.coarse, plan_.x.cells * Filled(cells));
    coarse.Provide();
    for (Band& band : bands_) {
        band.stride = StrideFor(plan_.x.pixels);
        FloatMemory floats(*memory++);
        floats.Want(band.sums, kSumRing * band.stride);
        floats.Want(band.block, kBlock * band.stride);
        floats.Want(band.turned, kBlock * Filled(plan_.x.pixels));
        floats.Want(band.cells, kBlock * plan_.x.cells);
        floats.Provide();
    }
}

void WideGaussian::Prepare(const float* plane, const PartRunner& run) {
    run(bands_.size(), [&](std::size_t i) { passes_.reduceBand(plan_, bands_[i], plane); });
}

WideGaussianRows::WideGaussianRows(const WideGaussian& gaussian, std::ptrdiff_t firstColumn, std::ptrdiff_t columns)
    : gaussian_(&gaussian) {
    const Axis& y = gaussian.Plan().y;
    strip_.firstColumn = firstColumn;
    strip_.columns = columns;
    strip_.stride = StrideFor(columns);
    // The rows that are asked for lie in that many cells and reach three more on either side.
    const std::ptrdiff_t cells = kMostRows * y.cells / y.pixels + 2 + (kReach - 1);
    strip_.ringRows = kBlock;
    while (strip_.ringRows < cells + kBlock - 1) strip_.ringRows *= 2;
    const std::ptrdiff_t lineMargin = Filled(y.radius);
    FloatMemory floats(memory_);
    floats.Want(strip_.ring, strip_.ringRows * strip_.stride);
    floats.Want(strip_.turned, kBlock * Filled(columns));
    floats.Want(strip_.cells, kBlock * gaussian.Plan().x.cells);
    strip_.lineStride = kBlock + 2 * lineMargin;
    floats.Want(strip_.lines, kLines * strip_.lineStride);
    floats.Provide();
    strip_.lines += lineMargin;
}

}  // namespace qvox
