#include "CompleteFile.h"

#include "files/AtomicFile.h"

namespace Korvane {

void WriteCompleteFile(const std::string& path, std::string_view bytes) {
    qvox::AtomicFile file(path);
    file.Write(bytes.data(), bytes.size());
    // A write that failed makes Commit throw with its cause.
    file.Commit();
}

}  // namespace Korvane
