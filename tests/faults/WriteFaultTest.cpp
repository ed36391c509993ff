#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>

#include "ToolkitError.h"
#include "faults/SystemCalls.h"
#include "faults/WrittenFiles.h"

namespace korvane_test {

namespace {

namespace fs = std::filesystem;

/// What writing content 1 said; empty when it succeeded.
std::string Complaint(const FileKind& kind, const std::string& path) {
    try {
        kind.write(path, 1);
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "";
}

/// Runs `work` in a child, as somebody to whom read-only files and folders are read-only; exits with its result.
/// -1 when the child cannot change its user.
int AsOrdinaryUser(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(255);
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 254;
    return code == 255 ? -1 : code;
}

std::string CauseOf(int error) { return std::generic_category().message(error); }

class WriteFault : public testing::TestWithParam<FileKind> {
protected:
    void SetUp() override {
        contents_ = Contents(GetParam());
        ASSERT_NE(contents_[0], contents_[1]);
        fs::permissions(folder_.Path(), fs::perms(0777));
    }

    std::string Path() const { return folder_.File(GetParam().fileName); }
    std::vector<std::string> OnlyTheFile() const { return {GetParam().fileName}; }

    /// One write under a plan; `existing`: over content 0. Says whether the write succeeded.
    bool WriteUnder(const FaultPlan& plan, bool existing) {
        fs::remove(Path());
        // Not through the writer: thousands of flushes would take minutes.
        if (existing) std::ofstream(Path(), std::ios::binary) << contents_[0];
        SetFaultPlan(plan);
        const std::string complaint = Complaint(GetParam(), Path());
        calls_ = EndFaultPlan();
        if (complaint.empty()) {
            EXPECT_EQ(BytesOf(Path()), contents_[1]);
        } else {
            EXPECT_NE(complaint.find("'" + Path() + "'"), std::string::npos) << complaint;
            EXPECT_EQ(BytesOf(Path()), existing ? contents_[0] : "");
        }
        const bool there = existing || complaint.empty();
        EXPECT_EQ(NamesIn(folder_), there ? OnlyTheFile() : std::vector<std::string>());
        complaint_ = complaint;
        return complaint.empty();
    }

    TemporaryFolder folder_;
    std::vector<std::string> contents_;
    std::string complaint_;           // of the last write
    std::vector<std::string> calls_;  // that it made
};

TEST_P(WriteFault, ADiskFullAtAnyByteLeavesTheEarlierFile) {
    for (const bool namelessFiles : {true, false}) {
        for (const bool existing : {true, false}) {
            FaultPlan plan;
            plan.disk = true;
            plan.namelessFiles = namelessFiles;
            // A TIFF writer goes back to patch what it wrote, so a little more than the file's length is written.
            std::size_t refused = 0;
            for (;; ++plan.bytesBeforeFull) {
                SCOPED_TRACE(plan.bytesBeforeFull);
                if (WriteUnder(plan, existing)) break;
                EXPECT_NE(complaint_.find(CauseOf(ENOSPC)), std::string::npos) << complaint_;
                ++refused;
                ASSERT_LT(plan.bytesBeforeFull, 4 * contents_[1].size());
                if (HasFailure()) return;
            }
            EXPECT_GE(refused, contents_[1].size());
        }
    }
}

TEST_P(WriteFault, EverySystemCallMayFailInEveryWay) {
    for (const bool namelessFiles : {true, false}) {
        for (const bool existing : {true, false}) {
            FaultPlan plan;
            plan.namelessFiles = namelessFiles;
            ASSERT_TRUE(WriteUnder(plan, existing));
            const std::vector<std::string> calls = calls_;
            for (const char* needed : {"open", "write", "fsync", "rename", "fsync folder"}) {
                EXPECT_NE(std::find(calls.begin(), calls.end(), needed), calls.end()) << needed;
            }
            for (plan.failingCall = 1; plan.failingCall <= static_cast<int>(calls.size()); ++plan.failingCall) {
                const std::string& call = calls[static_cast<std::size_t>(plan.failingCall) - 1];
                // Where a nameless file cannot be opened, a named one is tried; and once the file is in its place, the
                // folder's flush is the file system's business.
                const bool dispensable = plan.failingCall == 1 || call == "open folder" || call == "fsync folder";
                for (const int error : {ENOSPC, EIO, EROFS, EACCES, EDQUOT, ENAMETOOLONG, EMFILE}) {
                    plan.error = error;
                    SCOPED_TRACE(testing::Message()
                                 << "call " << plan.failingCall << ", " << call << ": " << CauseOf(error));
                    const bool written = WriteUnder(plan, existing);
                    EXPECT_EQ(written, dispensable);
                    if (!written) {
                        EXPECT_NE(complaint_.find(CauseOf(error)), std::string::npos) << complaint_;
                    }
                }
            }
        }
    }
}

TEST_P(WriteFault, AnInterruptedWriteGoesOn) {
    FaultPlan plan;
    ASSERT_TRUE(WriteUnder(plan, true));
    const std::vector<std::string> calls = calls_;
    plan.error = EINTR;
    for (plan.failingCall = 1; plan.failingCall <= static_cast<int>(calls.size()); ++plan.failingCall) {
        if (calls[static_cast<std::size_t>(plan.failingCall) - 1] != "write") continue;
        EXPECT_TRUE(WriteUnder(plan, true)) << "call " << plan.failingCall;
    }
}

TEST_P(WriteFault, AVanishedFolderIsNamedWithTheCause) {
    const std::string path = folder_.File("gone/" + GetParam().fileName);
    const std::string complaint = Complaint(GetParam(), path);
    EXPECT_EQ(complaint, "Cannot write '" + path + "': " + CauseOf(ENOENT) + ".");
    EXPECT_TRUE(NamesIn(folder_).empty());
}

TEST_P(WriteFault, AFolderThatIsAFileIsNamedWithTheCause) {
    std::ofstream(folder_.File("file")) << "x";
    const std::string path = folder_.File("file/" + GetParam().fileName);
    EXPECT_EQ(Complaint(GetParam(), path), "Cannot write '" + path + "': " + CauseOf(ENOTDIR) + ".");
    EXPECT_EQ(BytesOf(folder_.File("file")), "x");
}

TEST_P(WriteFault, ANameTooLongIsNamedWithTheCause) {
    const std::string path = folder_.File(std::string(300, 'n') + GetParam().fileName);
    EXPECT_EQ(Complaint(GetParam(), path), "Cannot write '" + path + "': " + CauseOf(ENAMETOOLONG) + ".");
    EXPECT_TRUE(NamesIn(folder_).empty());
}

TEST_P(WriteFault, TheLongestNameIsWritten) {
    const std::string ending = GetParam().fileName;
    const std::string name = std::string(255 - ending.size(), 'n') + ending;
    EXPECT_EQ(Complaint(GetParam(), folder_.File(name)), "");
    EXPECT_EQ(BytesOf(folder_.File(name)), contents_[1]);
    EXPECT_EQ(NamesIn(folder_), std::vector<std::string>{name});
}

TEST_P(WriteFault, AReadOnlyFolderIsNamedWithTheCause) {
    GetParam().write(Path(), 0);
    fs::permissions(Path(), fs::perms(0666));
    fs::permissions(folder_.Path(), fs::perms(0555));
    const std::string expected = "Cannot write '" + Path() + "': " + CauseOf(EACCES) + ".";
    const int outcome = AsOrdinaryUser([&] { return Complaint(GetParam(), Path()) == expected ? 0 : 1; });
    fs::permissions(folder_.Path(), fs::perms(0777));
    if (outcome < 0) GTEST_SKIP() << "the user cannot be changed here";
    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(BytesOf(Path()), contents_[0]);
    EXPECT_EQ(NamesIn(folder_), OnlyTheFile());
}

TEST_P(WriteFault, AFileHeldReadOnlyIsNotReplaced) {
    GetParam().write(Path(), 0);
    fs::permissions(Path(), fs::perms(0444));
    const std::string expected = "Cannot write '" + Path() + "': " + CauseOf(EACCES) + ".";
    const int outcome = AsOrdinaryUser([&] { return Complaint(GetParam(), Path()) == expected ? 0 : 1; });
    if (outcome < 0) GTEST_SKIP() << "the user cannot be changed here";
    EXPECT_EQ(outcome, 0);
    EXPECT_EQ(BytesOf(Path()), contents_[0]);
    EXPECT_EQ(NamesIn(folder_), OnlyTheFile());
}

/// Exit codes of the child that fills a small file system.
enum SmallDisk { kAllWhole = 0, kSomethingWrong = 1, kNoMount = 77 };

/// Writes in a file system of 64 KiB that other data fill up to the last byte by byte; the child's own mount goes with
/// it.
SmallDisk FillSmallDisk(const FileKind& kind, const std::string& folder, const std::vector<std::string>& contents) {
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return kNoMount;
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return kNoMount;
    if (mount("small", folder.c_str(), "tmpfs", 0, "size=65536") != 0) return kNoMount;
    const std::string path = folder + "/" + kind.fileName;
    int refused = 0;
    kind.write(path, 0);
    for (std::size_t ballast = 0; ballast <= 65536; ballast += 1024) {
        std::ofstream(folder + "/ballast", std::ios::binary) << std::string(ballast, 'b') << std::flush;
        const std::string before = BytesOf(path);
        const std::string complaint = Complaint(kind, path);
        if (BytesOf(path) != (complaint.empty() ? contents[1] : before)) return kSomethingWrong;
        if (!complaint.empty() && complaint.find(CauseOf(ENOSPC)) == std::string::npos) return kSomethingWrong;
        if (std::distance(fs::directory_iterator(folder), fs::directory_iterator()) != 2) return kSomethingWrong;
        refused += complaint.empty() ? 0 : 1;
    }
    return refused > 0 ? kAllWhole : kSomethingWrong;
}

TEST_P(WriteFault, AFileSystemThatIsReallyFullLeavesTheEarlierFile) {
    const pid_t child = fork();
    if (child == 0) _exit(FillSmallDisk(GetParam(), folder_.Path().string(), contents_));
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kNoMount) GTEST_SKIP() << "a small file system cannot be mounted here";
    EXPECT_EQ(WEXITSTATUS(status), kAllWhole);
}

INSTANTIATE_TEST_SUITE_P(Of, WriteFault, testing::ValuesIn(FileKindsWithoutInput()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace

}  // namespace korvane_test
