#pragma once

#include <string>

#include "VoxelImage.h"

namespace qvox {

/// Reads the only full-size page of a TIFF file as the numbers that it stores: white-is-zero is not inverted, and a
/// palette is not looked up. Integers of 8, 16 and 32 bits, signed or not, and floats of 32 and 64 bits, of one
/// channel; a double holds each of them exactly. Resolution, offset and description stay as they are. Throws
/// ToolkitError, naming the file and the cause, for an unreadable file, other kinds of numbers and several full-size
/// pages.
void LoadStoredNumbers(const std::string& path, VoxelImage<double>& image);

}  // namespace qvox
