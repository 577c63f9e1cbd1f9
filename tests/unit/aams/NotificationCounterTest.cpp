// Numbers in two words.

#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "aams/NotificationCounter.h"

namespace teskd::test {
namespace {

using Words = std::pair<std::uint32_t, std::uint32_t>;

Words nextOf(NotificationCounter& counter) {
    const NotificationCounter::Value value = counter.next();
    return {value.high, value.low};
}

TEST(NotificationCounter, CountsFromOne) {
    NotificationCounter counter;
    EXPECT_EQ(Words(0, 1), nextOf(counter));
    EXPECT_EQ(Words(0, 2), nextOf(counter));
    EXPECT_EQ(Words(0, 3), nextOf(counter));
}

TEST(NotificationCounter, CarriesIntoTheHighWordWhenTheLowOneWraps) {
    NotificationCounter counter({0, 0xFFFFFFFE});
    EXPECT_EQ(Words(0, 0xFFFFFFFF), nextOf(counter));
    EXPECT_EQ(Words(1, 0), nextOf(counter));
    EXPECT_EQ(Words(1, 1), nextOf(counter));
}

TEST(NotificationCounter, StartsAgainBehindTheLastNumber) {
    NotificationCounter counter({0xFFFFFFFF, 0xFFFFFFFF});
    EXPECT_EQ(Words(0, 0), nextOf(counter));
    EXPECT_EQ(Words(0, 1), nextOf(counter));
}

TEST(NotificationCounter, GivesNoNumberTwiceToSeveralThreads) {
    NotificationCounter counter({0, 0xFFFFFFFF - 1000});
    std::mutex mutex;
    std::set<Words> seen;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const Words words = nextOf(counter);
                const std::scoped_lock lock(mutex);
                seen.insert(words);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(2000U, seen.size());
    EXPECT_EQ(Words(0, 0xFFFFFFFF - 999), *seen.begin());
    EXPECT_EQ(Words(1, 999), *seen.rbegin());
}

}  // namespace
}  // namespace teskd::test
