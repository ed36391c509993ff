#include "Interrupt.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "CommandTable.h"

namespace Korvane {

namespace {

TEST(Interrupt, EndsTheProgramWhenTheWorkDoesNotStopInTime) {
    EXPECT_EXIT(
        {
            CatchInterrupts(1);
            ::raise(SIGINT);
            for (int second = 0; second < 20; ++second) ::sleep(1);
            ::_exit(0);
        },
        testing::ExitedWithCode(kExitInterrupted), "Interrupted: ends after the step under way");
}

TEST(Interrupt, LeavesTheTimeForReportsOnceTheWorkHasStopped) {
    EXPECT_EXIT(
        {
            CatchInterrupts(1);
            ::raise(SIGINT);
            EndGrace();
            ::sleep(2);
            ::_exit(Interrupted() ? 7 : 8);
        },
        testing::ExitedWithCode(7), "");
}

TEST(Interrupt, ASecondOneEndsTheProgramAtOnce) {
    EXPECT_EXIT(
        {
            CatchInterrupts(60);
            ::raise(SIGINT);
            ::raise(SIGINT);
            ::_exit(0);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST(Interrupt, TheLossOfTheTerminalIsOne) {
    EXPECT_EXIT(
        {
            CatchInterrupts(60);
            ::raise(SIGHUP);
            ::_exit(Interrupted() ? 7 : 8);
        },
        testing::ExitedWithCode(7), "");
}

TEST(Interrupt, ASignalThatWasIgnoredStaysIgnored) {
    for (const int number : {SIGINT, SIGHUP, SIGTERM}) {
        EXPECT_EXIT(
            {
                ::signal(number, SIG_IGN);
                CatchInterrupts(60);
                ::raise(number);
                ::raise(number);
                ::_exit(Interrupted() ? 7 : 8);
            },
            testing::ExitedWithCode(8), "");
    }
}

}  // namespace

}  // namespace Korvane
