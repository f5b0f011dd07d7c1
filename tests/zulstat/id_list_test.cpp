#include "id_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using zulstat::findIdFault;
using zulstat::joinIds;
using zulstat::kLongestIdList;
using zulstat::splitIds;
using zulstat::withoutRepeats;

using Ids = std::vector<std::string>;

TEST(FindIdFault, FindsNothingWrongWithOrdinaryIds) {
    EXPECT_EQ(findIdFault({}, "group id"), std::nullopt);
    EXPECT_EQ(findIdFault({"A", "b.c-d", "[x,y]", " "}, "group id"), std::nullopt);
}

TEST(FindIdFault, NamesAnEmptyId) {
    EXPECT_EQ(findIdFault({"A", ""}, "group id"), "a group id must not be empty.");
}

TEST(FindIdFault, NamesTheIdWithAColon) {
    const auto fault = findIdFault({"A", "B:\nC"}, "statistic id");
    ASSERT_TRUE(fault.has_value());
    EXPECT_NE(fault->find("the statistic id \"B:\\nC\" contains \":\""), std::string::npos) << *fault;
}

TEST(FindIdFault, AcceptsTheLongestIdAndNoLonger) {
    EXPECT_EQ(findIdFault({std::string(kLongestIdList, 'x')}, "group id"), std::nullopt);
    const auto fault = findIdFault({std::string(kLongestIdList + 1, 'x')}, "group id");
    ASSERT_TRUE(fault.has_value());
    EXPECT_NE(fault->find("32766 characters is too long: at most 32765"), std::string::npos) << *fault;
}

TEST(WithoutRepeats, KeepsTheFirstOfEachInOrder) {
    EXPECT_EQ(withoutRepeats({"B", "A", "B", "C", "A"}), (Ids{"B", "A", "C"}));
}

TEST(JoinIds, SeparatesWithColons) {
    EXPECT_EQ(joinIds({}), "");
    EXPECT_EQ(joinIds({"A"}), "A");
    EXPECT_EQ(joinIds({"A", "B", "C"}), "A:B:C");
}

TEST(SplitIds, NeedsOneListForWhatFits) {
    EXPECT_TRUE(splitIds({}).empty());
    EXPECT_EQ(splitIds({"ab", "cd"}, 5), (std::vector<Ids>{{"ab", "cd"}}));
}

TEST(SplitIds, StartsAnotherListAtOneCharacterTooMany) {
    EXPECT_EQ(splitIds({"ab", "cd"}, 4), (std::vector<Ids>{{"ab"}, {"cd"}}));
    EXPECT_EQ(splitIds({"a", "b", "c", "d", "e"}, 3), (std::vector<Ids>{{"a", "b"}, {"c", "d"}, {"e"}}));
}

TEST(SplitIds, KeepsOrderAndLimitOfALongList) {
    Ids ids;
    for (int number = 0; number < 9000; ++number) {
        ids.push_back("group" + std::to_string(number));
    }
    Ids rejoined;
    const auto parts = splitIds(ids);
    for (const Ids& part : parts) {
        EXPECT_LE(joinIds(part).size(), kLongestIdList);
        rejoined.insert(rejoined.end(), part.begin(), part.end());
    }
    EXPECT_EQ(parts.size(), 3U);
    EXPECT_EQ(rejoined, ids);
}

}  // namespace
