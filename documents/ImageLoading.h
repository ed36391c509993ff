#pragma once

#include <string>

#include <wx/string.h>

#include "Position.h"
#include "files/ImageFile.h"

namespace Korvane {

/// Reads one input file into a position with an all-zero label image. 8-bit, 16-bit and float grey files are read;
/// intensities keep their values. Throws UnsupportedPixelType for any other voxel type, ToolkitError for a file that
/// cannot be read, std::bad_alloc, also when less than 64 MiB would be left to work with what is open;
/// FailureMessage(FileTask::kLoadInput, ...) makes the text of each.
Position LoadPosition(const wxString& path, const qvox::ReadOptions& options = {});

/// Throws UnsupportedPixelType with what the file holds and what is wanted, also when that is a grey image stored as
/// RGB or with a palette, for which the file is read as a whole.
[[noreturn]] void RefuseInputType(const std::string& path, const qvox::ImageFileInfo& info);

/// True for the voxel types that LoadPosition reads.
bool IsInputType(qvox::VoxelType type);

/// Throws std::bad_alloc when the memory to work with what is open is not there, see LoadPosition.
void RequireWorkingMemory();

/// A zero label image that belongs to `image`: its sizes, resolution, offset and description.
qvox::LabelImage EmptyLabelsFor(const qvox::VoxelImage<float>& image);

}  // namespace Korvane
