#include "ComponentImage.h"

#include <gtest/gtest.h>

#include "support/TestImages.h"

namespace {

using qvox::ComponentImage;
using qvox::ComponentRecord;

ComponentImage TwoComponents() {
    ComponentImage components;
    components.Assign(korvane_test::Draw<std::uint16_t>({"11.2", "1.22"}),
                      {ComponentRecord{1, 7, 3, 0, 0, 1, 1}, ComponentRecord{2, 9, 3, 2, 0, 3, 1}});
    return components;
}

TEST(ComponentImage, FindsARecordByIdentifier) {
    const ComponentImage components = TwoComponents();
    ASSERT_NE(components.Find(2), nullptr);
    EXPECT_EQ(components.Find(2)->sourceValue, 9);
    EXPECT_EQ(components.Find(0), nullptr);
    EXPECT_EQ(components.Find(3), nullptr);
}

TEST(ComponentImage, RemovingClearsTheVoxelsAndDropsTheRecord) {
    ComponentImage components = TwoComponents();
    components.Remove(1);
    EXPECT_TRUE(
        korvane_test::SameVoxels(korvane_test::Draw<std::uint16_t>({"...2", "..22"}), components.Identifiers()));
    ASSERT_EQ(components.Components().size(), 1u);
    EXPECT_EQ(components.Components()[0].identifier, 2);
    EXPECT_THROW(components.Remove(1), qvox::ToolkitError);
}

}  // namespace
