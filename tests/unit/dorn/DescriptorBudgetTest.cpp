// How many hosts a limit of open files leaves room for.

#include <gtest/gtest.h>
#include <limits>

#include "dorn/DescriptorBudget.h"

namespace teskd::test {
namespace {

struct Case {
    std::size_t limit;
    std::size_t lines;
    std::size_t listeners;
    std::size_t connections;
    bool carriesLines;
};

// 27 of the process, 5 for each line, 4 for each listening address, 4 for each host.
constexpr Case kCases[] = {
    {1024, 4, 1, 243, true},  {8192, 4, 1, 2035, true}, {8192, 500, 1, 1415, true},
    {8192, 4, 3, 2033, true}, {1024, 0, 0, 249, true},  {80, 4, 1, 7, true},
    {55, 4, 1, 1, true},      {54, 4, 1, 16, false},    {50, 4, 1, 16, false},
    {3, 4, 1, 16, false},     {0, 0, 0, 16, false},     {200, 100, 1, 16, false},
};

TEST(DescriptorBudgetTest, LeavesToHostsWhatNothingElseCanNeed) {
    for (const Case& c : kCases) {
        const DescriptorBudget budget(c.limit, c.lines, c.listeners);
        EXPECT_EQ(c.connections, budget.connections()) << c.limit << " " << c.lines;
        EXPECT_EQ(c.carriesLines, budget.carriesLines()) << c.limit << " " << c.lines;
    }
}

TEST(DescriptorBudgetTest, ALimitThatIsNoneLeavesRoomForAnyNumber) {
    const DescriptorBudget budget(std::numeric_limits<int>::max(), 1000, 10);
    EXPECT_TRUE(budget.carriesLines());
    EXPECT_LT(500'000'000U, budget.connections());
}

}  // namespace
}  // namespace teskd::test
