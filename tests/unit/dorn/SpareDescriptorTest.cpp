#include <gtest/gtest.h>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

#include "dorn/SpareDescriptor.h"
#include "net/StreamServerSocket.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support/ProcInfo.h"
#include "support_src/LimitedDescriptors.h"

namespace teskd::test {
namespace {

class SpareDescriptorTest : public testing::Test {
  protected:
    int listener() const { return listener_.getDescriptor(); }
    Connection connect() const { return Connection::to(port_); }

  private:
    std::uint16_t port_ = freeTcpPort();
    StreamServerSocket listener_{"127.0.0.1:" + std::to_string(port_), AF_INET};
};

TEST_F(SpareDescriptorTest, IsHeldFromTheBeginning) {
    const std::size_t before = openDescriptors(::getpid());
    const SpareDescriptor spare;
    EXPECT_TRUE(spare.isHeld());
    EXPECT_EQ(before + 1, openDescriptors(::getpid()));
}

TEST_F(SpareDescriptorTest, WithNobodyWaitingThereIsNobodyToTurnAway) {
    SpareDescriptor spare;
    EXPECT_FALSE(spare.turnAway(listener()));
    EXPECT_TRUE(spare.isHeld());
}

TEST_F(SpareDescriptorTest, TurnsOneHostAfterTheOtherAwayWithoutAnotherDescriptor) {
    SpareDescriptor spare;
    Connection first = connect();
    Connection second = connect();
    {
        const LimitedDescriptors none(static_cast<rlim_t>(nextDescriptor()));
        ASSERT_EQ(-1, nextDescriptor());
        EXPECT_TRUE(spare.turnAway(listener()));
        EXPECT_TRUE(spare.isHeld());
        EXPECT_TRUE(first.closedByPeer());
        EXPECT_TRUE(spare.turnAway(listener()));
        EXPECT_TRUE(second.closedByPeer());
        EXPECT_FALSE(spare.turnAway(listener()));
        EXPECT_TRUE(spare.isHeld());
    }
}

// Another thread that takes the only free descriptor meanwhile finds the spare one still held.
TEST_F(SpareDescriptorTest, IsNotGivenUpWhileThereIsAnotherDescriptor) {
    SpareDescriptor spare;
    const Connection host = connect();
    const int number = nextDescriptor();
    EXPECT_TRUE(spare.turnAway(listener()));
    EXPECT_EQ(number, nextDescriptor());
    EXPECT_TRUE(spare.isHeld());
}

TEST_F(SpareDescriptorTest, LeavesADescriptorAfterwardsWhenThereAreSome) {
    const std::size_t before = openDescriptors(::getpid());
    SpareDescriptor spare;
    {
        Connection host = connect();
        EXPECT_TRUE(spare.turnAway(listener()));
    }
    EXPECT_EQ(before + 1, openDescriptors(::getpid()));
}

TEST_F(SpareDescriptorTest, OneThatCouldNotBeHadIsAcquiredAtTheNextOccasion) {
    Connection host = connect();
    std::optional<LimitedDescriptors> none(std::in_place, static_cast<rlim_t>(nextDescriptor()));
    SpareDescriptor spare;
    EXPECT_FALSE(spare.isHeld());
    EXPECT_FALSE(spare.acquire());
    EXPECT_FALSE(spare.turnAway(listener()));
    none.reset();
    EXPECT_TRUE(spare.turnAway(listener()));
    EXPECT_TRUE(host.closedByPeer());
    EXPECT_TRUE(spare.isHeld());
}

TEST_F(SpareDescriptorTest, TellsThatItIsHeldNowOrWasAlready) {
    std::optional<LimitedDescriptors> none(std::in_place, static_cast<rlim_t>(nextDescriptor()));
    SpareDescriptor spare;
    none.reset();
    EXPECT_TRUE(spare.acquire());
    EXPECT_TRUE(spare.acquire());
}

TEST_F(SpareDescriptorTest, ASocketThatDoesNotListenTurnsNobodyAway) {
    SpareDescriptor spare;
    EXPECT_FALSE(spare.turnAway(-1));
    EXPECT_FALSE(spare.turnAway(STDERR_FILENO));
    EXPECT_TRUE(spare.isHeld());
}

}  // namespace
}  // namespace teskd::test
