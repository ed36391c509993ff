#include "files/StoredDescription.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace {

using qvox::Description;
using qvox::IsStorable;
using qvox::LeaveOutUnstorable;

Description WithEntries(std::uint64_t count) {
    Description entries;
    for (std::uint64_t i = 0; i < count; ++i) entries[std::to_string(i)] = "v";
    return entries;
}

TEST(StoredDescription, HasRoomForNineThousandEntries) {
    EXPECT_TRUE(IsStorable(WithEntries(qvox::kMostDescriptionEntries)));
    Description entries = WithEntries(qvox::kMostDescriptionEntries + 1);
    EXPECT_FALSE(IsStorable(entries));
    const std::string last = entries.rbegin()->first;
    LeaveOutUnstorable(entries);
    EXPECT_EQ(entries.size(), qvox::kMostDescriptionEntries);
    EXPECT_EQ(entries.count(last), 0u) << "those before it are kept";
    EXPECT_TRUE(IsStorable(entries));
}

// Some bytes become three.
TEST(StoredDescription, TheLongestTextThatIsTakenIsStoredWhole) {
    for (const auto& [byte, stored] : {std::pair{'a', 1u}, std::pair{'%', 3u}}) {
        const auto with = [byte = byte](std::uint64_t length) {
            return Description{{"key", std::string(length, byte)}};
        };
        std::uint64_t taken = 0;
        std::uint64_t refused = qvox::kLongestOwnDescription;
        while (taken + 1 < refused) {
            const std::uint64_t middle = (taken + refused) / 2;
            (IsStorable(with(middle)) ? taken : refused) = middle;
        }
        const std::string text = qvox::DescriptionText({{1.0f, 2.0f, 0.5f}, {3, 4, 5}, with(taken)}, 1);
        EXPECT_LE(text.size(), qvox::kLongestOwnDescription);
        // But for what any picture may need before its entries.
        EXPECT_GT(taken * stored, qvox::kLongestOwnDescription - 10000);
        const auto again = qvox::PropertiesFromText(text);
        ASSERT_TRUE(again.has_value());
        EXPECT_TRUE(again->description == with(taken));
        Description entries = with(refused);
        entries["little"] = "v";
        LeaveOutUnstorable(entries);
        EXPECT_TRUE(entries == (Description{{"little", "v"}})) << "what comes after may still fit";
    }
}

}  // namespace
