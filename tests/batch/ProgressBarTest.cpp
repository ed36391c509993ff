// The bar that a person at a terminal sees; elsewhere there is none. `script` gives the program a terminal.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "batch/ProgramRunner.h"
#include "files/ImageFile.h"
#include "support/TemporaryFolder.h"

namespace korvane_test {

namespace {

class ProgressBar : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"a", "b"}) {
            qvox::SaveImageFile(File(std::string(name) + ".tif"), Vesicles(1));
            qvox::SaveImageFile(File("seg_" + std::string(name) + ".tif"), TwoSquares());
        }
    }
    std::string File(const std::string& name) const { return folder_.File(name); }
    /// What the terminal got.
    std::string Shown(const std::string& command) const {
        const std::string images = File("a.tif") + " " + File("b.tif");
        const std::string run = "script -qec '" KORVANE_BATCH_PROGRAM " " + command + " --jobs 1 " + images +
                                "' /dev/null </dev/null >" + File("shown");
        EXPECT_EQ(std::system(run.c_str()), 0);
        return Contents(File("shown"));
    }
    static std::string Bar(std::size_t full, const std::string& count) {
        return "[" + std::string(full, '#') + std::string(40 - full, '.') + "] " + count;
    }

    TemporaryFolder folder_;
};

TEST_F(ProgressBar, GrowsWithEachImage) {
    for (const char* command : {"measure", "detect --overwrite"}) {
        const std::string shown = Shown(command);
        std::size_t at = 0;
        for (const std::string& bar : {Bar(0, "0/2"), Bar(20, "1/2"), Bar(40, "2/2")}) {
            at = shown.find(bar, at);
            EXPECT_NE(at, std::string::npos) << command << ": " << bar << " in\n" << shown;
        }
        EXPECT_EQ(shown.find(Bar(40, "0/2")), std::string::npos) << command;
        EXPECT_EQ(shown.find(Bar(40, "1/2")), std::string::npos) << command;
    }
}

TEST_F(ProgressBar, GrowsWithTheStagesOfAnImage) {
    const std::string shown = Shown("detect --overwrite");
    int between = 0;
    for (std::size_t full = 1; full < 20; ++full) between += shown.find(Bar(full, "0/2")) != std::string::npos ? 1 : 0;
    EXPECT_GE(between, 3) << shown;
}

}  // namespace

}  // namespace korvane_test
