#include "StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace {

/// What a process finds after OpenStandardStreams when it was started without the streams of `closed` ("1", "02").
int ChildStatus(const std::string& closed, int (*look)(const std::string& closed)) {
    const pid_t child = fork();
    if (child == 0) {
        for (const char digit : closed) close(digit - '0');
        qvox::OpenStandardStreams();
        _exit(look(closed));
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

const char* const kSets[] = {"0", "1", "2", "01", "02", "12", "012"};

TEST(OpenStandardStreams, LeavesNoneOfThemToTheNextFile) {
    for (const char* closed : kSets) {
        const int opened = ChildStatus(closed, [](const std::string&) { return open("/dev/null", O_RDWR); });
        EXPECT_GT(opened, 2) << closed;
    }
}

TEST(OpenStandardStreams, KeepsReadingAndWritingOfAClosedStreamAFailure) {
    for (const char* closed : kSets) {
        const int wrong = ChildStatus(closed, [](const std::string& streams) {
            int successes = 0;
            char byte = 'x';
            for (const char digit : streams) {
                const bool input = digit == '0';
                const ssize_t done = input ? read(0, &byte, 1) : write(digit - '0', &byte, 1);
                successes += done >= 0 ? 1 : 0;
            }
            return successes;
        });
        EXPECT_EQ(wrong, 0) << closed;
    }
}

TEST(OpenStandardStreams, LeavesOpenStreamsAsTheyAre) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], 2);
        close(0);
        qvox::OpenStandardStreams();
        _exit(write(2, "kept", 4) == 4 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    char text[4] = {};
    EXPECT_EQ(read(ends[0], text, sizeof text), 4);
    EXPECT_EQ(std::string(text, sizeof text), "kept");
    EXPECT_EQ(status, 0);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
