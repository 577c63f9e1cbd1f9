// What the requests and answers of hosts hold in memory, and who gives way when there is no more.

#include <chrono>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>
#include <string>

#include "HostLink.h"
#include "core/Event.h"
#include "dorn/HostMemory.h"
#include "support/Bytes.h"
#include "support/Deadline.h"
#include "support/Frame.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMebibyte = 1'048'576;

// Bytes that the process has allocated; 0 where a sanitizer does the allocations.
std::size_t allocated() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

// The connection has taken everything that was sent before.
void expectAllTaken(HostClient& host) {
    host.sendRaw(request(7, 4711));
    EXPECT_EQ(4711U, host.readFrame().identifierB);
}

TEST(DornRoomTest, ARequestThatWaitsForAMachineKeepsNothingOfABodyThatIsDecoded) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    const std::string large =
        request(2, 1, std::string(16, '\0') + "ZA000000001" + std::string(kMebibyte, 'x'));
    expectAllTaken(link.host());
    const std::size_t before = allocated();
    for (int i = 0; i < 12; ++i) link.host().sendRaw(large);
    expectAllTaken(link.host());
    EXPECT_LT(allocated(), before + kMebibyte);
}

// The text of the message to the machine, and what it is written from.
TEST(DornRoomTest, ARequestThatWaitsForAMachineKeepsItsTextOnce) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().sendRaw(request(2, 1, std::string(16, '\0') + "ZA000000001"));
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    const std::string large =
        request(6, 2, "ZA000000001" + std::string(4, '\0') + std::string(6 * kMebibyte, 'x'));
    const std::size_t before = allocated();
    link.host().sendRaw(large);
    expectAllTaken(link.host());
    EXPECT_LT(allocated(), before + 7 * kMebibyte);
}

// 40 MiB have been read then, in a pool of 8.
TEST(DornRoomTest, ARequestHoldsRoomOnlyForWhatIsLeftOfItsBody) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    const std::string large =
        request(2, 1, std::string(16, '\0') + "ZA000000001" + std::string(kMebibyte, 'x'));
    for (int i = 0; i < 40; ++i) link.host().sendRaw(large);
    expectAllTaken(link.host());
}

TEST(DornRoomTest, ARequestToEveryMachineWaitsForRoomForAllItsMessages) {
    HostLink link(4);
    Event wake;
    HostMemory::Account other(link.memory(), wake);
    HostMemory::Room pool = other.take(16 * kMebibyte + 65'536);
    link.machine(1).setFaults({.silent = true});
    // 3 KiB of the connection's 68 are left.
    link.host().sendRaw(
        request(6, 1, "ZA000000001" + std::string(4, '\0') + std::string(64'497, 'x')));
    ASSERT_TRUE(link.machine(1).journal().waitForData(std::string(1000, 'x')));
    link.machine(2).journal().clear();
    link.host().sendRaw(request(1, 2, bytes("00")));
    EXPECT_FALSE(link.machine(2).journal().waitForRequests(1, 300ms));
    pool = HostMemory::Room();
    EXPECT_TRUE(link.machine(2).journal().waitForRequests(1));
}

// The answer to the first request is owed for minutes, as the machine is silent.
TEST(DornRoomTest, AHostThatStopsInTheMiddleOfABodyHoldsNoRoomForIt) {
    constexpr std::size_t kLarge = 15 * kMebibyte;
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().sendRaw(request(2, 1, std::string(16, '\0') + "ZA000000001"));
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    Event wake;
    HostMemory::Account other(link.memory(), wake);
    const auto roomIsFree = [&] { return static_cast<bool>(other.take(kLarge)); };
    link.host().sendRaw(request(7, 2, std::string(kLarge, 'x')).substr(0, 1000));
    ASSERT_TRUE(eventually([&] { return !roomIsFree(); }));
    other.leave();
    link.host().connection().shutdownWrite();
    EXPECT_TRUE(eventually(roomIsFree));
}

// A machine with so little memory that a body of 512 KiB is the largest that is read.
class DornRoomWithLittleMemory : public testing::Test {
  protected:
    static constexpr std::size_t kLargest = 524'288;

    const LogRecorder log_;
    HostLink link_{1, {}, kMebibyte};
};

TEST_F(DornRoomWithLittleMemory, AnswersARequestThatIsTooLargeAsFailedAndGoesOn) {
    const std::string frames = request(7, 1, std::string(kLargest + 1, 'x')) + request(7, 2);
    const std::size_t before = allocated();
    link_.host().sendRaw(frames);
    const Frame failed = link_.host().readFrame(60s);
    EXPECT_EQ(0xAB, failed.kind);
    EXPECT_EQ(7, failed.type);
    EXPECT_EQ(1U, failed.identifierB);
    EXPECT_EQ("", failed.body);
    EXPECT_TRUE(failed.checksumOk);
    const Frame answer = link_.host().readFrame();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(2U, answer.identifierB);
    EXPECT_LT(allocated(), before + kLargest / 2);
}

TEST_F(DornRoomWithLittleMemory, AsksNoMachineForARequestThatIsTooLarge) {
    link_.host().sendRaw(
        request(6, 1, "ZA000000001" + std::string(4, '\0') + std::string(kLargest, 'x')));
    EXPECT_EQ(0xAB, link_.host().readFrame(60s).kind);
    link_.machine(1).journal().clear();
    link_.host().request(1, bytes("00"), 0, 2);
    EXPECT_EQ(0x81, link_.host().readFrame().kind);
    EXPECT_TRUE(link_.machine(1).journal().waitForAcknowledgements(1));
}

TEST_F(DornRoomWithLittleMemory, KeepsNothingOfABodyThatIsTooLarge) {
    const std::size_t before = allocated();
    link_.host().connection().sendAll(
        request(7, 1, std::string(16'777'215, 'x')).substr(0, 16'000'000), 60s);
    EXPECT_LT(allocated(), before + kMebibyte / 2);
}

TEST_F(DornRoomWithLittleMemory, TakesTheLargestBody) {
    link_.host().connection().sendAll(request(7, 1, std::string(kLargest, 'x')), 60s);
    EXPECT_EQ(0x81, link_.host().readFrame(60s).kind);
}

TEST_F(DornRoomWithLittleMemory, DoesNotAnswerATooLargeRequestWithAWrongChecksum) {
    std::string damaged = request(7, 1, std::string(kLargest + 1, 'x'));
    ++damaged.back();
    link_.host().sendRaw(damaged + request(7, 2));
    EXPECT_EQ(2U, link_.host().readFrame(60s).identifierB);
    EXPECT_EQ(
        1U,
        log_.count({181, "ProtocolErrorException: Invalid Checksum (Was: 0x0d, should be: 0x0c)"}));
}

TEST_F(DornRoomWithLittleMemory, AHostThatLeavesWithinATooLargeRequestHasGone) {
    link_.host().sendRaw(request(7, 1, std::string(kLargest + 1, 'x')).substr(0, kLargest));
    link_.host().close();
    EXPECT_TRUE(
        log_.waitFor({180,
                      "Connection lost with remote peer: IOException: SocketException: "
                      "SocketConnectionClosedException: Remote Peer closed the connection."}));
    EXPECT_TRUE(link_.allEnded());
}

TEST_F(DornRoomWithLittleMemory, ATooLargeRequestThatIsNotWholeInTimeEndsItsConnection) {
    HostLink link(0, {.body = 500ms}, kMebibyte);
    link.host().sendRaw(request(7, 1, std::string(kLargest + 1, 'x')).substr(0, kLargest));
    EXPECT_TRUE(
        log_.waitFor({181, "IOException: SocketException: A request was not whole in time"}));
    EXPECT_TRUE(link.host().connection().closedByPeer());
}

// A host that lets answers of two megabytes wait, and others beside it.
class DornRoomBesideASlowReader : public testing::Test {
  protected:
    DornRoomBesideASlowReader() : slow_(link_.connectNarrow()) {
        link_.machine(1).answers().setLiteral(
            120, "120~1E8480~15.03.21~ZA000000001~00~" + std::string(kAnswer - 35, 'x'));
    }
    // That many answers wait for the host.
    void ask(HostClient& host, std::size_t answers) {
        link_.machine(1).journal().clear();
        const std::string one = request(6, 1, "ZA000000001" + std::string(4, '\0') + "120~0008");
        for (std::size_t i = 0; i < answers; ++i) host.sendRaw(one);
        ASSERT_TRUE(link_.machine(1).journal().waitForAcknowledgements(answers, 60s));
        link_.host().request(1, bytes("00"), 0, 9);  // the machine answers in order
        EXPECT_EQ(9U, link_.host().readFrame(60s).identifierB);
    }
    static void expectAnswers(HostClient& host, std::size_t answers) {
        for (std::size_t i = 0; i < answers; ++i) {
            EXPECT_EQ(kAnswer + 4, host.readFrame(60s).body.size());
        }
    }

    static constexpr std::size_t kAnswer = 2'000'000;

    LogRecorder log_;
    HostLink link_{1};
    std::unique_ptr<HostClient> slow_;
};

const LogEntry kGivenUp{
    180, "Exception was received: IOException: SocketException: The host does not keep up"};

TEST_F(DornRoomBesideASlowReader, ALargeRequestFindsItsRoom) {
    ask(*slow_, 3);
    link_.host().connection().sendAll(request(7, 2, std::string(12 * kMebibyte, 'x')), 60s);
    EXPECT_EQ(2U, link_.host().readFrame().identifierB);
    EXPECT_EQ(0U, log_.count(kGivenUp));
    EXPECT_EQ(100'000U, slow_->connection().readExactly(100'000).size());
}

// Its answers wait for it meanwhile, so that no further request of it is read.
TEST_F(DornRoomBesideASlowReader, HoldsUpNobodyBehindItInTheLineForRoom) {
    Event wake;
    HostMemory::Account other(link_.memory(), wake);
    const HostMemory::Room most = other.take(15 * kMebibyte / 2);
    link_.machine(1).setFaults({.silent = true});
    slow_->sendRaw(request(6, 1, "ZA000000001" + std::string(4, '\0') + "120~0008"));
    ASSERT_TRUE(link_.machine(1).journal().waitForRequests(1));
    slow_->sendRaw(request(7, 2, std::string(2 * kMebibyte, 'x')).substr(0, 1000));
    HostMemory::Account next(link_.memory(), wake);
    const auto findsRoom = [&] { return static_cast<bool>(next.take(100'000)); };
    ASSERT_TRUE(eventually([&] { return !findsRoom(); }));  // waits behind the slow one
    link_.machine(1).inject("120~124F80~15.03.21~ZA000000001~00~" +
                            std::string(1'200'000 - 35, 'x'));
    EXPECT_TRUE(eventually(findsRoom, 60s));
}

TEST_F(DornRoomBesideASlowReader, HostsThatReadTakeNothingFromIt) {
    ask(*slow_, 3);
    const auto prompt = link_.connect();
    for (int i = 0; i < 5; ++i) {
        prompt->request(6, "ZA000000001" + std::string(4, '\0') + "120~0008");
        expectAnswers(*prompt, 1);
    }
    EXPECT_EQ(0U, log_.count(kGivenUp));
    EXPECT_EQ(100'000U, slow_->connection().readExactly(100'000).size());
}

TEST_F(DornRoomBesideASlowReader, TheOneForWhomMostWaitsGivesWayAndNobodyElse) {
    ask(*slow_, 3);
    Event wake;
    HostMemory::Account less(link_.memory(), wake);
    HostMemory::Account alsoLess(link_.memory(), wake);
    less.addAnswer(kMebibyte);
    alsoLess.addAnswer(kMebibyte);
    const auto other = link_.connectNarrow();
    ask(*other, 1);
    EXPECT_TRUE(log_.waitFor(kGivenUp));
    EXPECT_LT(slow_->connection().readUntilClosed().size(), kAnswer);
    EXPECT_EQ(1000U, other->connection().readExactly(1000).size());
    EXPECT_EQ(1U, log_.count(kGivenUp));
    EXPECT_FALSE(less.isGivenUp() || alsoLess.isGivenUp());
}

}  // namespace
}  // namespace teskd::test
