#include "WorkQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "CoreDivision.h"
#include "ExceptionText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

const auto kNever = [] { return false; };

TEST(RunJobs, DoesEachJobOnce) {
    for (const unsigned workers : {1u, 2u, 7u, 50u}) {
        std::vector<std::atomic<int>> calls(23);
        RunJobs(calls.size(), workers, kNever, [&](std::size_t index) { ++calls[index]; });
        for (const std::atomic<int>& count : calls) EXPECT_EQ(count.load(), 1) << workers << " workers";
    }
}

TEST(RunJobs, RunsAsManyAtATimeAsThereAreWorkers) {
    std::atomic<int> begun{0};
    // Each waits for the others; alone it would wait until it gives up.
    std::atomic<int> together{0};
    RunJobs(3, 3, kNever, [&](std::size_t) {
        ++begun;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (begun < 3 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
        if (begun == 3) ++together;
    });
    EXPECT_EQ(together.load(), 3);
}

TEST(RunJobs, NeverRunsMoreThanTheWorkersAtATime) {
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    RunJobs(200, 3, kNever, [&](std::size_t) {
        const int now = ++running;
        int seen = most.load();
        while (seen < now && !most.compare_exchange_weak(seen, now)) {
        }
        --running;
    });
    EXPECT_LE(most.load(), 3);
}

TEST(RunJobs, StartsNothingAfterAStop) {
    std::atomic<int> calls{0};
    RunJobs(
        100, 1, [&] { return calls.load() >= 4; }, [&](std::size_t) { ++calls; });
    EXPECT_EQ(calls.load(), 4);
}

TEST(RunJobs, OfNothingReturns) {
    RunJobs(0, 4, kNever, [](std::size_t) { FAIL() << "there is no job"; });
}

TEST(ExceptionText, NamesTheCauseOfAnyException) {
    EXPECT_EQ(ExceptionText(std::make_exception_ptr(qvox::ToolkitError("broken"))), wxString("Error='broken'"));
    EXPECT_EQ(ExceptionText(std::make_exception_ptr(std::runtime_error("two\nlines\n"))),
              wxString("Error='two lines'"));
    EXPECT_EQ(ExceptionText(std::make_exception_ptr(std::bad_alloc())), wxString("Not enough memory"));
    EXPECT_EQ(ExceptionText(std::make_exception_ptr(1)), wxString("Unknown error"));
}

TEST(CoreDivision, GivesAllProcessorsToTheImagesThatAreLeftOnceTheyAreFewer) {
    CoreDivision division(4, 3, 3);
    EXPECT_FALSE(division.MayShare());
    division.ImageDone();
    EXPECT_FALSE(division.MayShare());
    division.ImageDone();
    EXPECT_TRUE(division.MayShare());
    division.ImageDone();
    EXPECT_TRUE(division.MayShare());
    EXPECT_TRUE(CoreDivision(100, 1, 2).MayShare()) << "one image at a time has all of them";
    EXPECT_TRUE(CoreDivision(1, 8, 2).MayShare()) << "a single image, too";
    EXPECT_FALSE(CoreDivision(100, 8, 2).MayShare());
    EXPECT_FALSE(CoreDivision(1, 1, 1).MayShare());
}

TEST(CoreDivision, AsksAnewForEachSetOfParts) {
    CoreDivision division(2, 2, 2);
    int onAll = 0;
    const auto countedRunner = [&](std::size_t count, const std::function<void(std::size_t)>& part) {
        ++onAll;
        qvox::RunOneByOne(count, part);
    };
    std::vector<int> calls(5);
    division.Run(calls.size(), [&](std::size_t i) { ++calls[i]; }, countedRunner);
    EXPECT_EQ(onAll, 0);
    division.ImageDone();
    division.Run(calls.size(), [&](std::size_t i) { ++calls[i]; }, countedRunner);
    EXPECT_EQ(onAll, 1);
    EXPECT_EQ(calls, std::vector<int>(5, 2));
}

}  // namespace

}  // namespace Korvane
