// The count of unanswered requests, and when it wakes the connection.

#include <gtest/gtest.h>
#include <list>
#include <optional>

#include "core/StopEvent.h"
#include "dorn/PendingAnswers.h"

namespace teskd::test {
namespace {

class PendingAnswersTest : public testing::Test {
  protected:
    ~PendingAnswersTest() noexcept override = default;

    StopEvent wake_;
    PendingAnswers pending_{wake_};
};

TEST_F(PendingAnswersTest, CountsItsTickets) {
    EXPECT_EQ(0, pending_.count());
    std::optional<PendingAnswers::Ticket> one(pending_);
    EXPECT_EQ(1, pending_.count());
    std::optional<PendingAnswers::Ticket> two(pending_);
    EXPECT_EQ(2, pending_.count());
    one.reset();
    EXPECT_EQ(1, pending_.count());
    two.reset();
    EXPECT_EQ(0, pending_.count());
}

TEST_F(PendingAnswersTest, FewerIsLessThanTheLimit) {
    const PendingAnswers::Ticket ticket(pending_);
    EXPECT_TRUE(pending_.areFewerThan(2));
    EXPECT_FALSE(pending_.areFewerThan(1));
}

TEST_F(PendingAnswersTest, ATicketThatMakesANoAYesWakes) {
    std::list<PendingAnswers::Ticket> tickets;
    for (int i = 0; i < 3; ++i) tickets.emplace_back(pending_);
    EXPECT_FALSE(pending_.areFewerThan(2));
    tickets.pop_back();
    EXPECT_FALSE(wake_.isSet());
    tickets.pop_back();
    EXPECT_TRUE(wake_.isSet());
}

TEST_F(PendingAnswersTest, NobodyIsWokenWhoGotAYes) {
    std::optional<PendingAnswers::Ticket> ticket(pending_);
    EXPECT_FALSE(pending_.areFewerThan(1));
    EXPECT_TRUE(pending_.areFewerThan(2));
    ticket.reset();
    EXPECT_FALSE(wake_.isSet());
}

}  // namespace
}  // namespace teskd::test
