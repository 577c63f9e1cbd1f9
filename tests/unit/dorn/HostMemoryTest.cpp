// What connections may hold together, and who has to wait for it.

#include <gtest/gtest.h>
#include <list>
#include <utility>

#include "core/Event.h"
#include "dorn/HostMemory.h"

namespace teskd::test {
namespace {

constexpr std::size_t kAllowance = 65'536;
constexpr std::size_t kPool = 8'388'608;
constexpr std::size_t kMost = 7'340'032;  // of it, for those that hold some already

class HostMemoryTest : public testing::Test {
  protected:
    using Room = HostMemory::Room;

    ~HostMemoryTest() noexcept override = default;

    HostMemory memory_{HostLimits(0)};
    Event wakeOne_;
    Event wakeTwo_;
    Event wakeThree_;
    HostMemory::Account one_{memory_, wakeOne_};
    HostMemory::Account two_{memory_, wakeTwo_};
    HostMemory::Account three_{memory_, wakeThree_};
};

TEST_F(HostMemoryTest, GivesThePoolBesideEachAllowance) {
    const Room all = one_.take(kPool + kAllowance);
    EXPECT_TRUE(all);
    const Room own = two_.take(kAllowance);
    EXPECT_TRUE(own);
    EXPECT_FALSE(two_.take(1));
}

TEST_F(HostMemoryTest, WhatIsGivenBackCanBeTakenAgain) {
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(one_.take(kPool + kAllowance));
}

TEST_F(HostMemoryTest, WhoWaitsIsWokenWhenThereIsEnoughRoom) {
    Room half = one_.take(kPool / 2 + kAllowance);
    Room quarter = one_.take(kPool / 4);
    EXPECT_FALSE(two_.take(kPool));
    half = Room();
    EXPECT_FALSE(wakeTwo_.isSet());
    quarter = Room();
    EXPECT_TRUE(wakeTwo_.isSet());
    EXPECT_TRUE(two_.take(kPool));
}

TEST_F(HostMemoryTest, NobodyOvertakesWhoWaitedFirst) {
    Room all = one_.take(kPool + kAllowance);
    EXPECT_FALSE(two_.take(kPool));
    EXPECT_FALSE(three_.take(kAllowance + 1));
    all = Room();
    EXPECT_TRUE(wakeTwo_.isSet());
    EXPECT_FALSE(wakeThree_.isSet());
    EXPECT_FALSE(three_.take(kAllowance + 1));
    const Room first = two_.take(kPool);
    EXPECT_TRUE(first);
    EXPECT_TRUE(wakeThree_.isSet());  // the second one's allowance left that much
    EXPECT_TRUE(three_.take(kAllowance + 1));
}

TEST_F(HostMemoryTest, OneWithMuchAlreadyLeavesAnEighthOfThePoolToOthers) {
    const Room much = one_.take(kAllowance + 1);
    const Room more = one_.take(kMost - 1);
    EXPECT_TRUE(more);
    EXPECT_FALSE(one_.take(1));
    EXPECT_TRUE(two_.take(kPool - kMost + kAllowance));
}

TEST_F(HostMemoryTest, OneWithMuchAlreadyTakesMoreOfWhatOthersLeave) {
    const Room others = two_.take(kPool / 4 + kAllowance);
    const Room much = one_.take(kAllowance + 1);
    EXPECT_FALSE(one_.take(kMost - kPool / 4));
    EXPECT_TRUE(one_.take(kMost - kPool / 4 - 1));
}

TEST_F(HostMemoryTest, OneWithMuchAlreadyKeepsNobodyWaitingBehindIt) {
    const Room most = one_.take(kMost + kAllowance);
    EXPECT_FALSE(one_.take(1));
    EXPECT_TRUE(two_.take(kPool - kMost + kAllowance));
}

TEST_F(HostMemoryTest, OneWithMuchAlreadyDoesNotOvertakeWhoWaits) {
    Room much = one_.take(kPool / 4 + kAllowance);
    EXPECT_FALSE(two_.take(kPool));
    EXPECT_FALSE(one_.take(1));
    much = Room();
    EXPECT_TRUE(wakeTwo_.isSet());
    EXPECT_TRUE(two_.take(kPool));
}

TEST_F(HostMemoryTest, OneWithMuchAlreadyIsWokenWhenAnEighthOfThePoolIsFreeAgain) {
    Room others = two_.take(kMost + kAllowance);
    const Room much = one_.take(kAllowance + 1);
    EXPECT_FALSE(one_.take(1000));
    others.release(1000);
    EXPECT_FALSE(wakeOne_.isSet());
    others.release(1);
    EXPECT_TRUE(wakeOne_.isSet());
    EXPECT_TRUE(one_.take(1000));
}

// The first in the line has much already and may have no more; who waits behind it is woken.
TEST_F(HostMemoryTest, WhoWaitsBehindOneWithMuchIsWokenByRoomForItself) {
    const Room most = one_.take(kMost + kAllowance);
    Room rest = two_.take(kPool - kMost + kAllowance);
    EXPECT_FALSE(one_.take(1));
    EXPECT_FALSE(three_.take(kAllowance + 1));
    rest.release(1);
    EXPECT_TRUE(wakeThree_.isSet());
    EXPECT_FALSE(wakeOne_.isSet());
    EXPECT_TRUE(three_.take(kAllowance + 1));
}

TEST_F(HostMemoryTest, OneThatHasLessNowMayTakeALargeRequestAgain) {
    Room much = one_.take(kAllowance + 1);
    EXPECT_FALSE(one_.take(kPool));
    much.release(1);
    EXPECT_TRUE(wakeOne_.isSet());
    EXPECT_TRUE(one_.take(kPool));
}

TEST_F(HostMemoryTest, TheAllowanceIsNotWaitedFor) {
    const Room all = one_.take(kPool + kAllowance);
    EXPECT_FALSE(two_.take(kPool));
    EXPECT_TRUE(three_.take(kAllowance));
}

TEST_F(HostMemoryTest, OneThatWaitsIsWokenWhenItsOwnAllowanceIsEnough) {
    const Room all = one_.take(kPool + kAllowance);
    Room own = two_.take(kAllowance);
    EXPECT_FALSE(two_.take(kAllowance));
    own = Room();
    EXPECT_TRUE(wakeTwo_.isSet());
    EXPECT_TRUE(two_.take(kAllowance));
}

TEST_F(HostMemoryTest, WhoLeavesTheLineLetsTheNextOneGoOn) {
    const Room most = one_.take(kPool);
    EXPECT_FALSE(two_.take(kPool));
    EXPECT_FALSE(three_.take(kAllowance + 1000));
    two_.leave();
    EXPECT_TRUE(wakeThree_.isSet());
    EXPECT_TRUE(three_.take(kAllowance + 1000));
}

TEST_F(HostMemoryTest, AnAccountThatGoesLeavesTheLine) {
    Room all = one_.take(kPool + kAllowance);
    {
        HostMemory::Account goes(memory_, wakeTwo_);
        EXPECT_FALSE(goes.take(kPool));
        EXPECT_FALSE(three_.take(kPool));
    }
    all = Room();
    EXPECT_TRUE(wakeThree_.isSet());
    EXPECT_TRUE(three_.take(kPool));
}

TEST_F(HostMemoryTest, ARequestLargerThanThePoolGetsAllOfIt) {
    Room own = one_.take(kAllowance);
    Room small = two_.take(kAllowance + 1);
    EXPECT_FALSE(one_.take(kPool + 1));
    small = Room();
    EXPECT_TRUE(wakeOne_.isSet());
    const Room all = one_.take(kPool + 1);
    EXPECT_TRUE(all);
    EXPECT_FALSE(two_.take(kAllowance + 1));
}

TEST_F(HostMemoryTest, APartOfARoomCanBeGivenBack) {
    Room all = one_.take(kPool + kAllowance);
    EXPECT_FALSE(two_.take(kAllowance + 1000));
    all.release(999);
    EXPECT_FALSE(wakeTwo_.isSet());
    all.release(1);
    EXPECT_TRUE(wakeTwo_.isSet());
    const Room some = two_.take(kAllowance + 1000);
    EXPECT_TRUE(some);
    all = Room();
    const Room rest = three_.take(kPool + kAllowance - 1000);
    EXPECT_TRUE(rest);
    EXPECT_FALSE(one_.take(kAllowance + 1)) << "room was given back twice";
}

TEST_F(HostMemoryTest, ARoomOfNobodyCostsNothing) {
    Room none;
    none.release(1000);
    EXPECT_FALSE(none);
    EXPECT_TRUE(one_.take(kPool + kAllowance));
}

TEST_F(HostMemoryTest, AMovedRoomIsHeldOnce) {
    Room first = one_.take(kPool + kAllowance);
    Room second = std::move(first);
    EXPECT_TRUE(second);
    first = Room();
    EXPECT_FALSE(two_.take(kAllowance + 1));
    second = Room();
    EXPECT_TRUE(two_.take(kAllowance + 1));
}

// 1 KiB for each message and each request; what is not needed of it has come back.
TEST(HostMemoryOfManyLines, ThirtySmallRequestsLeaveRoomForOneToEveryMachine) {
    for (const std::size_t lines : {1U, 62U, 63U, 600U}) {
        HostMemory memory{HostLimits(lines)};
        Event wake;
        HostMemory::Account other(memory, wake);
        HostMemory::Account one(memory, wake);
        const HostMemory::Room all = other.take(2 * kPool);
        std::list<HostMemory::Room> rooms;
        for (int n = 0; n < 30; ++n) {
            rooms.push_back(one.take(1036 + lines * 1024));
            EXPECT_TRUE(rooms.back()) << n << " beside " << lines;
            rooms.back().release(12 + (lines - 1) * 1024);
        }
        EXPECT_TRUE(one.take(1025 + lines * 1024)) << lines;
    }
}

TEST(HostMemoryOfManyLines, EachAddsAMessageToTheAllowanceForRequestsAlone) {
    HostMemory memory{HostLimits(100)};
    Event wake;
    HostMemory::Account one(memory, wake);
    HostMemory::Account two(memory, wake);
    const HostMemory::Room all = one.take(2 * kPool);
    EXPECT_TRUE(two.take(167'936));
    EXPECT_FALSE(two.take(167'937));
    one.addAnswer(kPool);
    two.addAnswer(2 * kAllowance + 1);
    EXPECT_TRUE(one.isGivenUp());
}

TEST_F(HostMemoryTest, AnswersTakeNothingFromRequests) {
    one_.addAnswer(2 * kPool);
    EXPECT_TRUE(two_.take(kPool + kAllowance));
    EXPECT_TRUE(one_.take(kPool + kAllowance));
}

TEST_F(HostMemoryTest, RequestsTakeNothingFromAnswers) {
    const Room all = one_.take(kPool + kAllowance);
    one_.addAnswer(kPool / 2 + kAllowance);
    two_.addAnswer(kPool / 2 + kAllowance);
    three_.addAnswer(kAllowance);
    EXPECT_FALSE(one_.isGivenUp() || two_.isGivenUp() || three_.isGivenUp());
}

TEST_F(HostMemoryTest, TheOneForWhomMostWaitsIsGivenUpWhenAnAnswerNeedsRoom) {
    one_.addAnswer(kPool / 2);
    two_.addAnswer(kPool / 2 + 1);
    three_.addAnswer(3 * kAllowance - 1);
    EXPECT_FALSE(wakeTwo_.isSet());
    three_.addAnswer(1);
    EXPECT_TRUE(two_.isGivenUp());
    EXPECT_TRUE(wakeTwo_.isSet());
    EXPECT_FALSE(one_.isGivenUp() || three_.isGivenUp());
    EXPECT_FALSE(wakeOne_.isSet() || wakeThree_.isSet());
}

TEST_F(HostMemoryTest, AsManyAreGivenUpAsItTakes) {
    constexpr std::size_t kPart = kPool / 16;
    HostMemory::Account four(memory_, wakeThree_);
    HostMemory::Account five(memory_, wakeThree_);
    one_.addAnswer(6 * kPart);
    two_.addAnswer(5 * kPart);
    three_.addAnswer(4 * kPart);
    four.addAnswer(20 * kPart);  // a single one
    four.removeAnswer(13 * kPart);
    five.addAnswer(2 * kPart);
    EXPECT_TRUE(four.isGivenUp());
    EXPECT_TRUE(one_.isGivenUp());
    EXPECT_FALSE(two_.isGivenUp() || three_.isGivenUp() || five.isGivenUp());
}

TEST_F(HostMemoryTest, ASingleAnswerMayExceedThePoolAndAnotherIsTooMuch) {
    one_.addAnswer(kPool);
    one_.addAnswer(kAllowance);
    EXPECT_FALSE(one_.hasTooManyAnswers());
    one_.addAnswer(kPool);
    EXPECT_FALSE(one_.isGivenUp());
    EXPECT_TRUE(one_.hasTooManyAnswers());
    EXPECT_FALSE(two_.hasTooManyAnswers());
    one_.removeAnswer(kPool);
    EXPECT_FALSE(one_.hasTooManyAnswers());
}

TEST_F(HostMemoryTest, AnAnswerWithinTheAllowanceGivesNobodyUp) {
    one_.addAnswer(2 * kPool);
    two_.addAnswer(kAllowance);
    EXPECT_FALSE(one_.isGivenUp());
    two_.addAnswer(1);
    EXPECT_TRUE(one_.isGivenUp());
    EXPECT_FALSE(two_.isGivenUp());
}

TEST_F(HostMemoryTest, WhatSomebodyWhoWasGivenUpHeldIsFreeAtOnce) {
    one_.addAnswer(kPool);
    two_.addAnswer(2 * kAllowance + 1);
    EXPECT_TRUE(one_.isGivenUp());
    one_.addAnswer(kPool);  // what was under way; dropped soon
    two_.addAnswer(kPool - kAllowance - 1);
    EXPECT_FALSE(two_.hasTooManyAnswers());
    one_.removeAnswer(2 * kPool);
    three_.addAnswer(kAllowance + 1);
    EXPECT_TRUE(two_.isGivenUp()) << "room was given back twice";
}

TEST_F(HostMemoryTest, WhoSentAllMeanwhileIsGivenUpNoMore) {
    one_.addAnswer(kPool + 1);
    two_.addAnswer(2 * kAllowance);
    one_.removeAnswer(kPool);
    EXPECT_TRUE(one_.isGivenUp());
    one_.removeAnswer(1);
    EXPECT_FALSE(one_.isGivenUp());
    one_.addAnswer(kPool + 1);
    EXPECT_TRUE(one_.hasTooManyAnswers()) << "its answers do not count";
}

TEST_F(HostMemoryTest, AnswersOfAnAccountThatGoesAreFree) {
    {
        HostMemory::Account goes(memory_, wakeThree_);
        goes.addAnswer(kPool);
    }
    one_.addAnswer(kPool + kAllowance);
    EXPECT_FALSE(one_.hasTooManyAnswers());
}

}  // namespace
}  // namespace teskd::test
