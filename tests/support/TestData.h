#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace korvane_test {

/// Where a part of the test data that are too large for the source tree lies: `odd`, `meta` or `real` inside the folder that
/// the environment variable KORVANE_TEST_DATA names, else the CMake variable of that name.
inline std::filesystem::path TestData(const std::string& part) {
    const char* const folder = std::getenv("KORVANE_TEST_DATA");
    return std::filesystem::path(folder != nullptr ? folder : KORVANE_TEST_DATA_DEFAULT) / part;
}

}  // namespace korvane_test

/// Leaves the test as skipped where that part is not at hand.
#define KORVANE_NEED_TEST_DATA(part) \
    if (!std::filesystem::exists(korvane_test::TestData(part))) GTEST_SKIP() << "no test data: " << (part)
