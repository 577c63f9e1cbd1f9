#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <list>
#include <optional>

#include "dorn/PendingAnswers.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(PendingAnswersTest, CountsItsTickets) {
    PendingAnswers pending;
    EXPECT_EQ(0, pending.count());
    std::optional<PendingAnswers::Ticket> one(pending);
    EXPECT_EQ(1, pending.count());
    std::optional<PendingAnswers::Ticket> two(pending);
    EXPECT_EQ(2, pending.count());
    one.reset();
    EXPECT_EQ(1, pending.count());
    two.reset();
    EXPECT_EQ(0, pending.count());
}

TEST(PendingAnswersTest, AwaitFewerThanReturnsAtOnceBelowTheLimit) {
    PendingAnswers pending;
    const PendingAnswers::Ticket ticket(pending);
    pending.awaitFewerThan(2);
    EXPECT_TRUE(pending.awaitFewerThan(2, 0ms));
}

TEST(PendingAnswersTest, AwaitFewerThanWaitsForTicketsToGo) {
    PendingAnswers pending;
    std::list<PendingAnswers::Ticket> tickets;
    for (int i = 0; i < 3; ++i) tickets.emplace_back(pending);
    const auto fewerThanTwo =
        std::async(std::launch::async, [&pending] { pending.awaitFewerThan(2); });
    tickets.pop_back();
    EXPECT_EQ(std::future_status::timeout, fewerThanTwo.wait_for(50ms));
    tickets.pop_back();
    EXPECT_EQ(std::future_status::ready, fewerThanTwo.wait_for(kPatience));
}

TEST(PendingAnswersTest, AwaitFewerThanGivesUpWhenTheTimeIsOver) {
    PendingAnswers pending;
    const PendingAnswers::Ticket ticket(pending);
    const Clock::time_point start = Clock::now();
    EXPECT_FALSE(pending.awaitFewerThan(1, 50ms));
    EXPECT_GE(Clock::now() - start, 50ms);
}

TEST(PendingAnswersTest, AwaitFewerThanWithATimeSeesTheTicketGo) {
    PendingAnswers pending;
    std::optional<PendingAnswers::Ticket> ticket(pending);
    auto none =
        std::async(std::launch::async, [&pending] { return pending.awaitFewerThan(1, 60s); });
    ticket.reset();
    ASSERT_EQ(std::future_status::ready, none.wait_for(kPatience));
    EXPECT_TRUE(none.get());
}

}  // namespace
}  // namespace teskd::test
