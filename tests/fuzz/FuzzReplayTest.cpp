// Seeds and inputs that once broke something, through the functions that the fuzzing engine calls.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "fuzz/FuzzSeeds.h"
#include "fuzz/FuzzTargets.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;
using korvane_test::FuzzTarget;

const fs::path kRegressions = korvane_test::SourceFile("tests/fuzz/regressions");

void Feed(const FuzzTarget& target, const std::string& bytes) {
    target.run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

class FuzzReplay : public testing::TestWithParam<const char*> {
protected:
    const FuzzTarget& Target() const { return *korvane_test::FindFuzzTarget(GetParam()); }
    const std::map<std::string, std::string> seeds_ = korvane_test::FuzzSeeds()[GetParam()];
};

TEST_P(FuzzReplay, SeedsKeepEveryPromise) {
    ASSERT_FALSE(seeds_.empty());
    for (const auto& [name, bytes] : seeds_) {
        SCOPED_TRACE(name);
        EXPECT_NO_THROW(Feed(Target(), bytes));
    }
}

TEST_P(FuzzReplay, SeedsCutOffAndWithChangedBytesKeepEveryPromise) {
    std::mt19937 random(20260601);
    for (const auto& [name, bytes] : seeds_) {
        SCOPED_TRACE(name);
        for (std::size_t i = 0; i < 40; ++i) {
            std::string changed = bytes;
            if (i % 4 == 0) changed.resize(bytes.size() * i / 40);
            for (std::size_t n = 0; n < i % 4 && !changed.empty(); ++n) {
                changed[random() % changed.size()] = static_cast<char>(random());
            }
            EXPECT_NO_THROW(Feed(Target(), changed)) << "changed " << i;
        }
    }
}

TEST_P(FuzzReplay, WhatOnceBrokeSomethingNoLongerDoes) {
    const fs::path folder = kRegressions / GetParam();
    if (!fs::exists(folder)) GTEST_SKIP() << "nothing has been found for " << GetParam();
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        SCOPED_TRACE(entry.path().filename());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        ASSERT_FALSE(bytes.empty());
        EXPECT_NO_THROW(Feed(Target(), bytes));
    }
}

std::vector<const char*> Names() {
    std::vector<const char*> names;
    for (const FuzzTarget& target : korvane_test::FuzzTargets()) names.push_back(target.name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(Names()),
                         [](const auto& target) { return std::string(target.param); });

TEST(FuzzRegressions, EveryFolderBelongsToATarget) {
    for (const fs::directory_entry& entry : fs::directory_iterator(kRegressions)) {
        if (!entry.is_directory()) continue;
        EXPECT_NE(korvane_test::FindFuzzTarget(entry.path().filename().c_str()), nullptr) << entry.path();
    }
}

}  // namespace
