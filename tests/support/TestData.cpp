#include "support/TestData.h"

#include <cstdlib>

namespace korvane_test {

std::filesystem::path TestData(const std::string& part) {
    const char* const folder = std::getenv("KORVANE_TEST_DATA");
    return std::filesystem::path(folder != nullptr ? folder : KORVANE_TEST_DATA_DEFAULT) / part;
}

std::filesystem::path SourceFile(const std::string& part) {
    return std::filesystem::path(KORVANE_SOURCE_DIR) / part;
}

}  // namespace korvane_test
