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

TEST_F(PendingAnswersTest, AreNoneWithoutATicket) {
    EXPECT_TRUE(pending_.areNone());
    std::optional<PendingAnswers::Ticket> one(std::in_place, pending_);
    EXPECT_FALSE(pending_.areNone());
    one.reset();
    EXPECT_TRUE(pending_.areNone());
}

TEST_F(PendingAnswersTest, AreFewUpTo1023) {
    std::list<PendingAnswers::Ticket> tickets;
    for (int i = 0; i < 1023; ++i) tickets.emplace_back(pending_);
    EXPECT_TRUE(pending_.areFew());
    tickets.emplace_back(pending_);
    EXPECT_FALSE(pending_.areFew());
    tickets.pop_front();
    EXPECT_TRUE(pending_.areFew());
}

TEST_F(PendingAnswersTest, ATicketThatGoesAfterANoWakes) {
    std::optional<PendingAnswers::Ticket> ticket(std::in_place, pending_);
    EXPECT_FALSE(pending_.areNone());
    EXPECT_FALSE(wake_.isSet());
    ticket.reset();
    EXPECT_TRUE(wake_.isSet());
}

TEST_F(PendingAnswersTest, NobodyIsWokenWhoGotAYes) {
    std::optional<PendingAnswers::Ticket> ticket(std::in_place, pending_);
    EXPECT_FALSE(pending_.areNone());
    EXPECT_TRUE(pending_.areFew());
    ticket.reset();
    EXPECT_FALSE(wake_.isSet());
}

}  // namespace
}  // namespace teskd::test
