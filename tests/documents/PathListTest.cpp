#include "PathList.h"

#include <gtest/gtest.h>

#include "ImageList.h"

namespace Korvane {
namespace {

TEST(PathList, GivesBackWhatItGot) {
    const std::vector<std::string> paths{"/a/b.tif", "", "c.tif", "/d.tif", "/a/c.tif", "a/", "/a/b.tif", "x//y.tif"};
    PathList list;
    for (const std::string& path : paths) list.push_back(path);
    EXPECT_EQ(list.size(), paths.size());
    EXPECT_TRUE(list == paths);
    EXPECT_EQ(list[4], "/a/c.tif");
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST(PathList, OfAListingHoldsEachPathOnce) {
    PathList files;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 3000; ++i) files.push_back("/d/" + std::to_string(i % 7) + "/" + std::to_string(i) + ".tif");
    }
    files.push_back("/d/0/./0.tif");
    const ImageListing listing = ListImages({}, {}, files);
    ASSERT_EQ(listing.images.size(), 3000u);
    for (std::size_t i = 0; i < 3000; ++i) EXPECT_EQ(listing.images[i], files[i]);
    EXPECT_EQ(listing.keys.size(), 3000u);
}

}  // namespace
}  // namespace Korvane
