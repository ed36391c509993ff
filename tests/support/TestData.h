#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace korvane_test {

/// Where a part of the test data that are too large for the source tree lies: `odd`, `meta` or `real` inside the folder
/// that the environment variable KORVANE_TEST_DATA names, else the CMake variable of that name.
std::filesystem::path TestData(const std::string& part);

/// A file or folder of the source tree, by its path from the root: `samples`, `docs/MANUAL.md`.
std::filesystem::path SourceFile(const std::string& part);

}  // namespace korvane_test

/// Leaves the test as skipped where that part is not at hand.
#define KORVANE_NEED_TEST_DATA(part) \
    if (!std::filesystem::exists(korvane_test::TestData(part))) GTEST_SKIP() << "no test data: " << (part)
