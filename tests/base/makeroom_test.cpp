// Lists that make room for one more entry: whatever they hold, and at a cost that does not grow
// with it.

#include <libDataIO/base/makeroom.h>

#include <gtest/gtest.h>

#include <vector>

using namespace mz;

namespace {

TEST(MakeRoom, LeavesTheNextEntryNothingToAllocate) {
    std::vector<int> list;
    for (int i = 0; i < 1000; ++i) {
        makeRoomForOne(list);
        ASSERT_GT(list.capacity(), list.size());
        const int* const place = list.data();
        list.push_back(i);
        ASSERT_EQ(list.data(), place);
    }
}

TEST(MakeRoom, AllocatesSeldom) {
    std::vector<int> list;
    int allocations = 0;
    for (int i = 0; i < 60000; ++i) {
        const size_t before = list.capacity();
        makeRoomForOne(list);
        if (list.capacity() != before) ++allocations;
        list.push_back(i);
    }
    // From 16 entries on, each time twice as many.
    EXPECT_LE(allocations, 13);
}

}  // namespace
