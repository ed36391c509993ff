#include "RunProgram.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <string>

#include "ToolkitError.h"

namespace Korvane {
namespace {

constexpr std::chrono::milliseconds kLimit{20000};

TEST(RunProgram, HandsOnItsArgumentsAsTheyAre) {
    const ProgramEnd ended = RunProgram({"/bin/echo", "$(id)", "`id`", "a  b;", "*"}, "/", kLimit);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "$(id) `id` a  b; *\n");
}

TEST(RunProgram, StartsInTheFolderInALocaleOfItsOwn) {
    EXPECT_EQ(RunProgram({"/bin/pwd"}, "/usr", kLimit).output, "/usr\n");
    ::setenv("LC_NUMERIC", "de_DE.UTF-8", 1);
    ::setenv("GNUTERM", "dumb", 1);
    const std::string output = RunProgram({"/usr/bin/env"}, "/", kLimit).output;
    ::unsetenv("LC_NUMERIC");
    ::unsetenv("GNUTERM");
    EXPECT_NE(output.find("LC_ALL=C.UTF-8\n"), std::string::npos);
    EXPECT_EQ(output.find("LC_NUMERIC"), std::string::npos);
    EXPECT_EQ(output.find("GNUTERM"), std::string::npos);
}

TEST(RunProgram, TellsHowTheProgramEnded) {
    EXPECT_EQ(RunProgram({"/bin/false"}, "/", kLimit).status, 1);
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", "echo out; echo err >&2; kill -9 $$"}, "/", kLimit).status, 128 + 9);
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", "echo out; echo err >&2"}, "/", kLimit).output, "out\nerr\n");
    EXPECT_EQ(RunProgram({"/bin/cat"}, "/", kLimit).output, "");
}

TEST(RunProgram, KeepsTheStartOfALongOutput) {
    const std::string command = "i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done";
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", command}, "/", kLimit).output.size(), 65536u);
}

TEST(RunProgram, StopsAProgramThatDoesNotEnd) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(RunProgram({"/bin/sleep", "60"}, "/", std::chrono::milliseconds(100)), qvox::ToolkitError);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(RunProgram, RefusesAProgramThatIsNotThere) {
    EXPECT_THROW(RunProgram({"/no/such/program"}, "/", kLimit), qvox::ToolkitError);
}

TEST(RunProgram, SaysWhyItCannotRunOne) {
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    rlimit none = usual;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string said;
    try {
        RunProgram({"/bin/true"}, "/", kLimit);
    } catch (const qvox::ToolkitError& error) {
        said = error.what();
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(said, "Cannot run '/bin/true': Too many open files.");
}

TEST(FindProgram, LooksInAbsoluteFoldersOnly) {
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", "::.:bin:/bin", 1);
    EXPECT_EQ(FindProgram("sh"), "/bin/sh");
    ::setenv("PATH", "::.:bin", 1);
    EXPECT_EQ(FindProgram("sh"), "");
    ::setenv("PATH", path.c_str(), 1);
}

}  // namespace
}  // namespace Korvane
