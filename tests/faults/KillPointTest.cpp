#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>

#include "RecordLog.h"
#include "faults/SystemCalls.h"
#include "faults/WrittenFiles.h"

namespace korvane_test {

namespace {

using Clock = std::chrono::steady_clock;

/// How many random moments each test tries: KORVANE_KILLS, else 500.
int Kills() {
    const char* const wanted = std::getenv("KORVANE_KILLS");
    return wanted != nullptr ? std::max(1, std::atoi(wanted)) : 500;
}

class KillPoint : public testing::TestWithParam<FileKind> {
protected:
    void SetUp() override { contents_ = Contents(GetParam()); }

    std::string Path() const { return folder_.File(GetParam().fileName); }

    /// The file is whole, whichever of the two it is. Counts what lies beside it.
    void ExpectWhole() {
        const std::string bytes = BytesOf(Path());
        EXPECT_TRUE(bytes == contents_[0] || bytes == contents_[1]) << bytes.size() << " bytes";
        const std::size_t files = NamesIn(folder_).size();
        EXPECT_LE(files, 2u);
        leftovers_ += files - 1;
    }

    /// What the next run of the program does: it writes the file again. Nothing else is left then.
    void ExpectNextRunCleansUp() {
        const pid_t child = fork();
        if (child == 0) {
            GetParam().write(Path(), 0);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(NamesIn(folder_), std::vector<std::string>{GetParam().fileName});
        EXPECT_EQ(BytesOf(Path()), contents_[0]);
    }

    /// Starts a child that writes content 1 and 0 in turns until it is killed.
    pid_t StartWriter(bool namelessFiles) {
        const pid_t child = fork();
        if (child != 0) return child;
        FaultPlan plan;
        plan.namelessFiles = namelessFiles;
        SetFaultPlan(plan);
        for (;;) {
            GetParam().write(Path(), 1);
            GetParam().write(Path(), 0);
        }
    }

    TemporaryFolder folder_;
    std::vector<std::string> contents_;
    std::size_t leftovers_ = 0;
};

TEST_P(KillPoint, BetweenAnyTwoSystemCallsTheFileIsWhole) {
    for (const bool namelessFiles : {true, false}) {
        GetParam().write(Path(), 0);
        FaultPlan plan;
        plan.namelessFiles = namelessFiles;
        SetFaultPlan(plan);
        GetParam().write(Path(), 1);
        const int calls = static_cast<int>(EndFaultPlan().size());
        ASSERT_GE(calls, 5);
        for (plan.killedCall = 1; plan.killedCall <= calls; ++plan.killedCall) {
            SCOPED_TRACE(plan.killedCall);
            GetParam().write(Path(), 0);
            const pid_t child = fork();
            if (child == 0) {
                SetFaultPlan(plan);
                GetParam().write(Path(), 1);
                _exit(0);
            }
            int status = 0;
            waitpid(child, &status, 0);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
            ExpectWhole();
            ExpectNextRunCleansUp();
        }
        // A file that has a name before it is whole has one to leave behind.
        if (!namelessFiles) {
            EXPECT_GE(leftovers_, 2u);
        }
    }
}

TEST_P(KillPoint, AtRandomMomentsTheFileIsWhole) {
    constexpr unsigned kSeed = 20;
    std::mt19937 random(kSeed);
    GetParam().write(Path(), 0);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < 10; ++i) GetParam().write(Path(), 0);
    const auto perWrite = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count() / 10;
    // The moments are spread over the start of the child and some three writes.
    const auto range = static_cast<unsigned>(std::clamp<long>(3 * perWrite, 300, 20000)) + 500;
    int cleanups = 0;
    for (int i = 0; i < Kills(); ++i) {
        SCOPED_TRACE(testing::Message() << "kill " << i << ", seed " << kSeed);
        const pid_t child = StartWriter(i % 2 == 0);
        ASSERT_GT(child, 0);
        usleep(static_cast<useconds_t>(random() % range));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        ExpectWhole();
        if (NamesIn(folder_).size() > 1) {
            ExpectNextRunCleansUp();
            ++cleanups;
        }
        if (HasFailure()) return;
    }
    ExpectNextRunCleansUp();
    RecordProperty("cleanups", cleanups);
    // Some kills must have struck in the middle of a write for the rest to mean anything; a quarter do on a machine at
    // rest, one in a hundred on a busy one.
    EXPECT_GE(cleanups, 1);
}

Korvane::RecordEntry NumberedEntry(int number) {
    Korvane::RecordEntry entry;
    entry.labels = "seg_" + std::to_string(number) + ".tif";
    entry.path = "/images/" + std::to_string(number) + ".tif";
    entry.result = "done";
    entry.command = "detect";
    entry.version = "1";
    return entry;
}

TEST(KillPointOfTheRecord, AtRandomMomentsNoLineThatWasWrittenIsLost) {
    constexpr unsigned kSeed = 21;
    std::mt19937 random(kSeed);
    const TemporaryFolder folder;
    const std::string path = folder.Path().string();
    // Shared with the children: what they have seen written.
    void* const memory = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto& written = *static_cast<volatile int*>(memory);
    written = 0;
    int killedWhileWriting = 0;
    for (int i = 0; i < Kills(); ++i) {
        SCOPED_TRACE(testing::Message() << "kill " << i << ", seed " << kSeed);
        const int before = written;
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int number = before;; ++number) {
                Korvane::RecordLock(path).Append(EntryLine(NumberedEntry(number)));
                written = number + 1;
            }
        }
        usleep(static_cast<useconds_t>(random() % 3000 + 200));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        const std::set<std::string> there = [&path] {
            const Korvane::RecordIndex index(path);
            const std::vector<std::string_view> names = index.Labels();
            return std::set<std::string>(names.begin(), names.end());
        }();
        for (int number = before; number < written; ++number) {
            EXPECT_EQ(there.count(NumberedEntry(number).labels), 1u) << number;
        }
        // The line that the kill struck may be there whole, and the next child writes it again.
        EXPECT_EQ(there.size() - static_cast<std::size_t>(written),
                  there.count(NumberedEntry(written).labels));
        if (written > before) ++killedWhileWriting;
        if (HasFailure()) break;
        if (there.size() > 2000) {
            std::filesystem::remove(folder.File(Korvane::kRecordName));
            written = 0;
        }
    }
    munmap(memory, sizeof(int));
    EXPECT_GE(killedWhileWriting, 5);
}

INSTANTIATE_TEST_SUITE_P(Of, KillPoint, testing::ValuesIn(FileKinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace

}  // namespace korvane_test
