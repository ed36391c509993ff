#include <gtest/gtest.h>

#include <string>

#include "ProgramVersion.h"
#include "Version.h"

namespace Korvane {
namespace {

TEST(ProgramVersion, NamesTheCommitWhereItIsKnown) {
    const std::string commit = ProgramCommit();
    const std::string version = kVersion;
    EXPECT_EQ(VersionText(), commit.empty() ? version : version + " (commit " + commit + ")");
    EXPECT_EQ(commit.substr(0, 12).find_first_not_of("0123456789abcdef"), std::string::npos) << commit;
    const std::string rest = commit.size() > 12 ? commit.substr(12) : "";
    EXPECT_TRUE(rest.empty() || rest == "-dirty") << commit;
}

}  // namespace
}  // namespace Korvane
