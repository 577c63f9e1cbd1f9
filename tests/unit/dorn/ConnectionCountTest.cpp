#include <future>
#include <gtest/gtest.h>
#include <list>
#include <optional>

#include "dorn/ConnectionCount.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

bool isReady(const std::future<void>& future, std::chrono::milliseconds time) {
    return future.wait_for(time) == std::future_status::ready;
}

TEST(ConnectionCountTest, WithNobodyServedThereIsNothingToWaitFor) {
    ConnectionCount().awaitNone();
}

TEST(ConnectionCountTest, TellsHowManyAreServed) {
    ConnectionCount count;
    EXPECT_EQ(0U, count.present());
    const ConnectionCount::Place one(count);
    {
        const ConnectionCount::Place two(count);
        EXPECT_EQ(2U, count.present());
    }
    EXPECT_EQ(1U, count.present());
}

TEST(ConnectionCountTest, WaitsForTheLastPlaceToBeGivenBack) {
    ConnectionCount count;
    std::optional<ConnectionCount::Place> one(count);
    std::optional<ConnectionCount::Place> two(count);
    const auto none = std::async(std::launch::async, [&count] { count.awaitNone(); });
    EXPECT_FALSE(isReady(none, 50ms));
    one.reset();
    EXPECT_FALSE(isReady(none, 50ms));
    two.reset();
    EXPECT_TRUE(isReady(none, kPatience));
}

TEST(ConnectionCountTest, SeveralThreadsMayWait) {
    ConnectionCount count;
    std::optional<ConnectionCount::Place> place(count);
    const auto one = std::async(std::launch::async, [&count] { count.awaitNone(); });
    const auto two = std::async(std::launch::async, [&count] { count.awaitNone(); });
    EXPECT_FALSE(isReady(one, 50ms));
    place.reset();
    EXPECT_TRUE(isReady(one, kPatience));
    EXPECT_TRUE(isReady(two, kPatience));
}

// Places that are given back one by one.
class ConnectionCountOfMany : public testing::Test {
  protected:
    ~ConnectionCountOfMany() noexcept override = default;

    void come(std::size_t hosts) {
        for (; hosts > 0; --hosts) places_.emplace_back(count_);
    }
    void leave(std::size_t hosts) {
        for (; hosts > 0; --hosts) places_.pop_back();
    }

    ConnectionCount count_;
    std::list<ConnectionCount::Place> places_;
};

TEST_F(ConnectionCountOfMany, HaveGoneWhenHalfOfThemHaveAndOnceMore) {
    come(20);
    leave(9);
    EXPECT_FALSE(count_.haveGone());
    leave(1);
    EXPECT_TRUE(count_.haveGone());
    EXPECT_TRUE(count_.haveGone());
    EXPECT_FALSE(count_.haveGone());
    leave(5);
    EXPECT_TRUE(count_.haveGone());
}

TEST_F(ConnectionCountOfMany, AreThoseThatWereThereSinceTheyWentLast) {
    EXPECT_FALSE(count_.areMany());
    come(7);
    EXPECT_FALSE(count_.areMany());
    come(1);
    EXPECT_TRUE(count_.areMany());
    leave(8);
    EXPECT_TRUE(count_.areMany());
    EXPECT_TRUE(count_.haveGone());
    EXPECT_TRUE(count_.areMany());
    EXPECT_TRUE(count_.haveGone());
    EXPECT_FALSE(count_.areMany());
}

TEST_F(ConnectionCountOfMany, AreNotAFew) {
    come(7);
    leave(7);
    EXPECT_FALSE(count_.haveGone());
}

}  // namespace
}  // namespace teskd::test
