#include "platform/List.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Numbers = std::vector<int>;

static_assert(std::forward_iterator<CList<int>::iterator>);
static_assert(std::forward_iterator<CList<int>::const_iterator>);

Numbers Elements(const CList<int>& list)
{
    Numbers numbers;
    for (const int& number : list) {
        numbers.push_back(number);
    }
    return numbers;
}

TEST(ListTest, ElementsStandInTheOrderOfInsertionAndEmptyListsAddNothing)
{
    CList<int> list;
    list.AddTail(list);
    list.AddHead(CList<int>());
    EXPECT_EQ(Elements(list), Numbers{});
    EXPECT_EQ(list.FindIndex(0), nullptr);
    list.InsertBefore(nullptr, 2);
    list.InsertAfter(list.GetHeadPosition(), 3);
    list.InsertAfter(nullptr, 4);
    list.InsertBefore(list.GetHeadPosition(), 1);
    EXPECT_EQ(Elements(list), (Numbers{1, 2, 3, 4}));
    list.AddTail(list);
    list.AddHead(list.GetTail());
    EXPECT_EQ(Elements(list), (Numbers{4, 1, 2, 3, 4, 1, 2, 3, 4}));
    list.RemoveAt(list.Find(1, list.Find(1)));
    EXPECT_EQ(list.RemoveHead() + list.RemoveTail(), 8);
    const CList<int> moved(std::move(list));
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(Elements(moved), (Numbers{1, 2, 3, 4, 2, 3}));
    EXPECT_EQ(moved.FindIndex(6), nullptr);
}

TEST(ListTest, AnIteratorIsAConstIteratorToo)
{
    CList<int> list;
    list.AddTail(1);
    const CList<int>::const_iterator first = list.begin();
    EXPECT_TRUE(first == list.begin() && list.begin() == first && first != list.end());
    *std::ranges::find(list, 1) = 2;
    EXPECT_EQ(*first, 2);
}

} // namespace
