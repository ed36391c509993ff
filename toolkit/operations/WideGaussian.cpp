#include "operations/WideGaussian.h"

#include <algorithm>
#include <cstdint>

#include "Assert.h"

namespace qvox {

using namespace wide_gaussian;

namespace {

// Of the rows whose sums are made together: with the rows that are added they stay in a cache of 1 MiB.
constexpr std::ptrdiff_t kPlaneColumns = 512;
constexpr std::ptrdiff_t kCellColumns = 128;

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
    axis.expand = tables.expand.data();
    axis.middle = tables.middle.data();
    return axis;
}

// Hands out rows of one block of memory, each at the begin of a cache line.
class RowMemory {
public:
    explicit RowMemory(std::vector<float>& memory) : memory_(memory) {}
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
    plan_.turnedStride = StrideFor(plan_.y.cells);
    plan_.coarseStride = StrideFor(plan_.y.cells);
    plan_.rowsStride = StrideFor(plan_.x.pixels);
    reduceDown_ = PartsOf(plan_.x.pixels, kPlaneColumns);
    reduceAcross_ = PartsOf(plan_.y.cells, kCellColumns);
    expandAcross_ = PartsOf(plan_.x.pixels, kPlaneColumns);
    ProvideParts();
}

// Threads get parts of like sizes.
std::vector<Part> WideGaussian::PartsOf(std::ptrdiff_t columns, std::ptrdiff_t columnsPerPart) const {
    const std::ptrdiff_t count = (columns + columnsPerPart - 1) / columnsPerPart;
    const std::ptrdiff_t each = Filled((columns + count - 1) / count);
    std::vector<Part> parts;
    for (std::ptrdiff_t first = 0; first < columns; first += each) {
        Part part;
        part.first = first;
        part.count = std::min(each, columns - first);
        parts.push_back(part);
    }
    return parts;
}

void WideGaussian::ProvideParts() {
    memory_.resize(2 + reduceDown_.size() + reduceAcross_.size() + expandAcross_.size());
    auto memory = memory_.begin();
    RowMemory coarse(*memory++);
    coarse.Want(plan_.coarse, plan_.x.cells * plan_.coarseStride);
    coarse.Provide();
    // Nothing reads the turned plane any more when the rows are made.
    RowMemory shared(*memory++);
    shared.Want(plan_.turned, std::max(Filled(plan_.x.pixels) * plan_.turnedStride,
                                       Filled(plan_.y.cells) * plan_.rowsStride));
    shared.Provide();
    plan_.rows = plan_.turned;
    for (Part& part : reduceDown_) {
        part.stride = StrideFor(part.count);
        RowMemory rows(*memory++);
        rows.Want(part.sums, kSumRing * part.stride);
        rows.Want(part.block, kBlock * part.stride);
        rows.Provide();
    }
    for (Part& part : reduceAcross_) {
        part.stride = StrideFor(part.count);
        part.ringRows = 1;
        while (part.ringRows < 2 * plan_.x.radius + 1) part.ringRows *= 2;
        RowMemory rows(*memory++);
        rows.Want(part.sums, kSumRing * part.stride);
        rows.Want(part.ring, part.ringRows * part.stride);
        rows.Provide();
    }
    for (Part& part : expandAcross_) {
        part.stride = StrideFor(plan_.y.cells);
        RowMemory rows(*memory++);
        rows.Want(part.sums, kSumRing * part.stride);
        rows.Want(part.block, kBlock * part.stride);
        rows.Want(part.line, 2 * plan_.y.radius + part.stride);
        rows.Provide();
        part.line += plan_.y.radius;
    }
}

void WideGaussian::Prepare(const float* plane, const PartRunner& run) {
    run(reduceDown_.size(), [&](std::size_t i) { passes_.reduceDown(plan_, reduceDown_[i], plane); });
    run(reduceAcross_.size(), [&](std::size_t i) { passes_.reduceAcross(plan_, reduceAcross_[i]); });
    run(expandAcross_.size(), [&](std::size_t i) { passes_.expandAcross(plan_, expandAcross_[i]); });
}

}  // namespace qvox
