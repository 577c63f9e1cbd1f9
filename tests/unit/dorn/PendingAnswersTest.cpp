// The count of unanswered requests, and when it wakes the connection.

#include <gtest/gtest.h>
#include <list>
#include <optional>

#include "core/Event.h"
#include "dorn/PendingAnswers.h"

namespace teskd::test {
namespace {

class PendingAnswersTest : public testing::Test {
  protected:
    ~PendingAnswersTest() noexcept override = default;

    Event wake_;
    PendingAnswers pending_{wake_};
};

TEST_F(PendingAnswersTest, NoneArePendingWithoutATicket) {
    EXPECT_TRUE(pending_.noneOrArm());
    std::optional<PendingAnswers::Ticket> one(std::in_place, pending_);
    EXPECT_FALSE(pending_.noneOrArm());
    one.reset();
    EXPECT_TRUE(pending_.noneOrArm());
}

TEST_F(PendingAnswersTest, AreBelowTheLimitUpTo1023) {
    std::list<PendingAnswers::Ticket> tickets;
    for (int i = 0; i < 1023; ++i) tickets.emplace_back(pending_);
    EXPECT_TRUE(pending_.belowLimitOrArm());
    tickets.emplace_back(pending_);
    EXPECT_FALSE(pending_.belowLimitOrArm());
    tickets.pop_front();
    EXPECT_TRUE(pending_.belowLimitOrArm());
}

TEST_F(PendingAnswersTest, ATicketReleasedAfterAQueryReturnedFalseWakes) {
    std::optional<PendingAnswers::Ticket> ticket(std::in_place, pending_);
    EXPECT_FALSE(pending_.noneOrArm());
    EXPECT_FALSE(wake_.isSet());
    ticket.reset();
    EXPECT_TRUE(wake_.isSet());
}

TEST_F(PendingAnswersTest, AQueryThatReturnsTrueDisarms) {
    std::optional<PendingAnswers::Ticket> ticket(std::in_place, pending_);
    EXPECT_FALSE(pending_.noneOrArm());
    EXPECT_TRUE(pending_.belowLimitOrArm());
    ticket.reset();
    EXPECT_FALSE(wake_.isSet());
}

}  // namespace
}  // namespace teskd::test
