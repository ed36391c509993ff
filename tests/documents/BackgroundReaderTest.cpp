#include "BackgroundReader.h"

#include <pthread.h>

#include <atomic>
#include <random>
#include <system_error>

#include <gtest/gtest.h>

#include "ToolkitError.h"
#include "support/Random.h"
#include "support/TemporaryFolder.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

using Result = BackgroundReader::Result;

class BackgroundReading : public testing::Test {
protected:
    std::vector<BackgroundReader::Job> JobsFor(std::size_t count) {
        std::vector<BackgroundReader::Job> jobs;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string path = folder.File(std::to_string(i) + ".tif");
            qvox::SaveImageFile(path, korvane_test::RandomImage<std::uint8_t>(random, 20 + i, 10, 0, 255));
            jobs.push_back({i, path, BackgroundReader::Search::kSkipped});
        }
        return jobs;
    }

    std::vector<Result> TakeAll() {
        std::vector<Result> all;
        while (!reader.IsIdle()) {
            reader.WaitFor(std::chrono::milliseconds(1000));
            for (Result& result : reader.Take()) all.push_back(std::move(result));
        }
        return all;
    }

    korvane_test::TemporaryFolder folder;
    std::mt19937 random{4};
    std::atomic<int> notified{0};
    BackgroundReader reader{[this] { ++notified; }};
};

TEST_F(BackgroundReading, ReadsAllInTheirOrder) {
    const std::vector<BackgroundReader::Job> jobs = JobsFor(9);
    reader.Read(jobs);
    const std::vector<Result> all = TakeAll();
    ASSERT_EQ(all.size(), jobs.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].id, i);
        EXPECT_FALSE(all[i].failure);
        EXPECT_FALSE(all[i].burntIn);
        EXPECT_EQ(all[i].stored->Checksum(), LoadStoredImage(jobs[i].path).Checksum());
    }
    reader.Stop();
    EXPECT_EQ(notified, 9);
}

TEST_F(BackgroundReading, GoesNoFurtherAheadThanTwo) {
    reader.Read(JobsFor(9));
    reader.WaitFor(std::chrono::milliseconds(1000));
    for (int i = 0; i < 50; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_LE(reader.Take().size(), 2u);
    EXPECT_FALSE(reader.IsIdle());
}

TEST_F(BackgroundReading, HandsOverFailuresAndGoesOn) {
    std::vector<BackgroundReader::Job> jobs = JobsFor(3);
    jobs[1].path = folder.File("none.tif");
    reader.Read(jobs);
    const std::vector<Result> all = TakeAll();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_THROW(std::rethrow_exception(all[1].failure), qvox::ToolkitError);
    EXPECT_FALSE(all[1].stored);
    EXPECT_TRUE(all[2].stored);
}

TEST_F(BackgroundReading, SearchesWhatIsAskedForAndDoesNotReadWhatIsThere) {
    std::vector<BackgroundReader::Job> jobs = JobsFor(3);
    for (BackgroundReader::Job& job : jobs) job.search = BackgroundReader::Search::kMade;
    for (const std::size_t i : {1u, 2u}) jobs[i].path.clear();
    jobs[1].intensities =
        std::make_shared<const qvox::VoxelImage<float>>(korvane_test::RandomImage<float>(random, 30, 30, 0, 255));
    jobs[2].stored = std::make_shared<const StoredImage>(LoadStoredImage(jobs[0].path));
    reader.Read(jobs);
    const std::vector<Result> all = TakeAll();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_TRUE(all[0].stored && all[0].burntIn);
    EXPECT_TRUE(!all[1].stored && all[1].burntIn && !all[1].failure);
    EXPECT_TRUE(!all[2].stored && all[2].burntIn && !all[2].failure);
}

TEST_F(BackgroundReading, KeepsNoJobsThatNobodyWouldDo) {
    pthread_attr_t usual;
    pthread_attr_t impossible;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_attr_init(&impossible), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&impossible, std::size_t{1} << 47), 0);
    ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
    EXPECT_THROW(reader.Read(JobsFor(2)), std::system_error) << "no thread was to be had";
    EXPECT_TRUE(reader.IsIdle());
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    reader.Read(JobsFor(2));
    EXPECT_EQ(TakeAll().size(), 2u);
    pthread_attr_destroy(&usual);
    pthread_attr_destroy(&impossible);
}

TEST_F(BackgroundReading, IsReplacedByOtherJobsAndStopped) {
    reader.Read(JobsFor(30));
    std::vector<BackgroundReader::Job> other = JobsFor(1);
    other[0].id = 100;
    reader.Read(other);
    const std::vector<Result> all = TakeAll();
    EXPECT_LE(all.size(), 4u) << "no more than was begun, and the other one";
    EXPECT_EQ(all.back().id, 100u);
    reader.Read(JobsFor(30));
    reader.Stop();
    EXPECT_TRUE(reader.IsIdle());
    reader.Read(other);
    EXPECT_EQ(TakeAll().size(), 1u) << "it can begin again";
}

}  // namespace

}  // namespace Korvane
