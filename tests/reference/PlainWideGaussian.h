#pragma once

#include <cstddef>
#include <vector>

#include "operations/WideGaussianTables.h"

namespace korvane_reference {

/// The scheme of operations/WideGaussian.h pixel by pixel, each sum written out in its order; the weights are those of
/// MakeAxisTables, which has tests of its own.
class PlainWideGaussian {
public:
    using Line = std::vector<float>;

    /// A plane of `width` columns row by row.
    static std::vector<float> Smoothed(const std::vector<float>& plane, std::size_t width, double sigma) {
        const std::size_t height = plane.size() / width;
        const Axis alongX(qvox::wide_gaussian::MakeAxisTables(static_cast<std::ptrdiff_t>(width), sigma));
        const Axis alongY(qvox::wide_gaussian::MakeAxisTables(static_cast<std::ptrdiff_t>(height), sigma));
        std::vector<Line> columns;
        for (std::size_t x = 0; x < width; ++x) {
            Line column;
            for (std::size_t y = 0; y < height; ++y) column.push_back(plane[y * width + x]);
            columns.push_back(alongY.Reduced(column));
        }
        std::vector<Line> rows;
        for (std::size_t cell = 0; cell < alongY.Cells(); ++cell) {
            Line row;
            for (const Line& column : columns) row.push_back(column[cell]);
            rows.push_back(alongX.Filtered(alongX.Reduced(row)));
        }
        std::vector<Line> cells;
        for (std::size_t cell = 0; cell < alongX.Cells(); ++cell) {
            Line column;
            for (const Line& row : rows) column.push_back(row[cell]);
            cells.push_back(alongY.Filtered(column));
        }
        std::vector<Line> expanded;
        for (std::size_t cell = 0; cell < alongY.Cells(); ++cell) {
            Line row;
            for (const Line& column : cells) row.push_back(column[cell]);
            expanded.push_back(alongX.Expanded(row));
        }
        std::vector<float> result(plane.size());
        for (std::size_t x = 0; x < width; ++x) {
            Line column;
            for (const Line& row : expanded) column.push_back(row[x]);
            column = alongY.Expanded(column);
            for (std::size_t y = 0; y < height; ++y) result[y * width + x] = column[y];
        }
        return result;
    }

private:
    class Axis {
    public:
        explicit Axis(qvox::wide_gaussian::AxisTables tables) : tables_(std::move(tables)) {}

        std::size_t Cells() const { return static_cast<std::size_t>(tables_.cells); }

        /// Each cell the weighted sum of its pixels, the first one first.
        Line Reduced(const Line& pixels) const {
            Line cells(Cells(), 0.0f);
            ForEachPair([&](std::size_t pixel, std::size_t cell, std::size_t at) {
                const float product = tables_.reduce[at] * pixels[pixel];
                cells[cell] = cells[cell] + product;
            });
            return cells;
        }

        /// Each pixel the weighted sum of its cells, the first one first.
        Line Expanded(const Line& cells) const {
            Line pixels(static_cast<std::size_t>(tables_.pixels), 0.0f);
            ForEachPair([&](std::size_t pixel, std::size_t cell, std::size_t at) {
                const float product = tables_.expand[at] * cells[cell];
                pixels[pixel] = pixels[pixel] + product;
            });
            return pixels;
        }

        /// The middle filter: pairs from the outside in, then the cell itself.
        Line Filtered(const Line& cells) const {
            Line filtered;
            const auto radius = static_cast<std::ptrdiff_t>(tables_.middle.size()) - 1;
            for (std::ptrdiff_t cell = 0; cell < tables_.cells; ++cell) {
                float sum = 0.0f;
                for (std::ptrdiff_t k = radius; k > 0; --k) {
                    const float pair = cells[Inside(cell - k)] + cells[Inside(cell + k)];
                    const float product = tables_.middle[static_cast<std::size_t>(k)] * pair;
                    sum = sum + product;
                }
                const float own = tables_.middle[0] * cells[static_cast<std::size_t>(cell)];
                filtered.push_back(sum + own);
            }
            return filtered;
        }

    private:
        template <typename Visit>
        void ForEachPair(Visit visit) const {
            for (std::ptrdiff_t pixel = 0; pixel < tables_.pixels; ++pixel) {
                const std::ptrdiff_t own = (2 * pixel + 1) * tables_.cells / (2 * tables_.pixels);
                for (std::ptrdiff_t s = -3; s <= 3; ++s) {
                    if (own + s < 0 || own + s >= tables_.cells) continue;
                    visit(static_cast<std::size_t>(pixel), static_cast<std::size_t>(own + s),
                          static_cast<std::size_t>(pixel * qvox::wide_gaussian::kWeightStride + s + 3));
                }
            }
        }

        std::size_t Inside(std::ptrdiff_t cell) const {
            while (cell < 0 || cell >= tables_.cells) cell = cell < 0 ? -1 - cell : 2 * tables_.cells - 1 - cell;
            return static_cast<std::size_t>(cell);
        }

        qvox::wide_gaussian::AxisTables tables_;
    };
};

}  // namespace korvane_reference
