#include "distance/TileErosion.h"

namespace level_sweep::TileErosion {
namespace {

constexpr Column MakeSetColumn() {
    Column column{};
    for (Word& row : column) {
        row = ~Word{0};
    }
    return column;
}
constexpr Column kSet = MakeSetColumn();

void ErodeBetween(const Column& westColumn, const Column& column, const Column& eastColumn, Column& toColumn,
                  int rows) {
    const Word* __restrict west = westColumn.data();
    const Word* __restrict from = column.data();
    const Word* __restrict east = eastColumn.data();
    Word* __restrict to = toColumn.data();
    for (int i = 1; i <= rows; ++i) {
        to[i] = from[i] & from[i - 1] & from[i + 1] & (from[i] << 1 | west[i] >> 63) & (from[i] >> 1 | east[i] << 63);
    }
}

}  // namespace

void Enclose(Column& column, int rows) {
    column[0] = ~Word{0};
    column[static_cast<std::size_t>(rows) + 1] = ~Word{0};
}

void Enclose(Window& window, int rows) {
    Enclose(window.west, rows);
    Enclose(window.centre, rows);
    Enclose(window.east, rows);
}

void Erode(const Column& from, Column& to, int rows) { ErodeBetween(kSet, from, kSet, to, rows); }

void Erode(const Window& from, Window& to, int rows) {
    ErodeBetween(kSet, from.west, from.centre, to.west, rows);
    ErodeBetween(from.west, from.centre, from.east, to.centre, rows);
    ErodeBetween(from.centre, from.east, kSet, to.east, rows);
}

Word AnyOf(const Word* rows, int count) {
    Word any = 0;
    for (int i = 0; i < count; ++i) {
        any |= rows[i];
    }
    return any;
}

Word AnyOfBoth(const Word* rows, const Word* others, int count) {
    Word any = 0;
    for (int i = 0; i < count; ++i) {
        any |= rows[i] & others[i];
    }
    return any;
}

}  // namespace level_sweep::TileErosion
