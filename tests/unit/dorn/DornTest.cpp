// One host connection: requests in, answers out, and every way it can end.

#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "HostLink.h"
#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/app/PacketTypes.h"
#include "dorn/DornPacket.h"
#include "packet/PacketHandle.h"
#include "support/Bytes.h"
#include "support/Deadline.h"
#include "support/OneOfAFew.h"
#include "support/ProcInfo.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kSoon = 1500ms;  // less than the time-out of the hosts below

const LogEntry kLost{180,
                     "Connection lost with remote peer: IOException: SocketException: "
                     "SocketConnectionClosedException: Remote Peer closed the connection."};

bool endsWithin(HostLink& link, std::chrono::milliseconds time) {
    return link.allEnded(time);
}

TEST(DornTest, ServesRequestAfterRequest) {
    HostLink link;
    for (std::uint32_t id = 1; id <= 3; ++id) {
        link.host().request(7, "", 0, id);
        EXPECT_EQ(id, link.host().readFrame().identifierB);
    }
}

TEST(DornTest, APipelineOfRequestsIsAnsweredInItsOrder) {
    HostLink link;
    std::string requests;
    for (std::uint32_t id = 1; id <= 100; ++id) requests += request(id % 2 == 0 ? 7 : 8, id);
    link.host().sendRaw(requests);
    for (std::uint32_t id = 1; id <= 100; ++id) {
        const Frame answer = link.host().readFrame();
        EXPECT_EQ(id, answer.identifierB);
        EXPECT_EQ(id % 2 == 0 ? 7 : 8, answer.type);
    }
}

TEST(DornTest, MoreRequestsThanMayBePendingAreAllAnswered) {
    HostLink link(1);
    std::string requests;
    for (std::uint32_t id = 0; id < 1500; ++id) requests += request(1, id, bytes("00"));
    std::thread sender([&] { link.host().connection().sendAll(requests, 60s); });
    for (std::uint32_t id = 0; id < 1500; ++id) {
        EXPECT_EQ(id, link.host().readFrame(60s).identifierB);
    }
    sender.join();
}

TEST(DornTest, RequestsToASilentMachineKeepNoneToAnotherWaiting) {
    HostLink link(2);
    link.machine(1).setFaults({.silent = true});
    std::string requests;
    for (std::uint32_t id = 0; id < 1000; ++id) {
        requests += request(2, id, std::string(16, '\0') + "ZA000000001");
    }
    link.host().sendRaw(requests);
    link.host().request(1, "\1ZA000000002"s, 0, 1000);
    EXPECT_EQ(1000U, link.host().readFrame().identifierB);
}

TEST(DornTest, BeyondAThousandAndTwentyFourOpenRequestsNothingIsRead) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    std::string requests;
    for (std::uint32_t id = 0; id < 1024; ++id) {
        requests += request(2, id, std::string(16, '\0') + "ZA000000001");
    }
    link.host().sendRaw(requests);
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    link.host().sendRaw(request(7, 1024));
    EXPECT_FALSE(link.host().readFrameWithin(300ms));
    link.machine(1).disconnect();  // they all fail
    std::set<std::uint32_t> answered;
    while (answered.size() < 1025) answered.insert(link.host().readFrame().identifierB);
    EXPECT_EQ(1024U, *answered.rbegin());
}

TEST(DornTest, AFrameMayArriveOneByteAtATime) {
    HostLink link;
    link.host().connection().sendByteByByte(request(7, 5) + request(7, 6));
    EXPECT_EQ(5U, link.host().readFrame().identifierB);
    EXPECT_EQ(6U, link.host().readFrame().identifierB);
}

TEST(DornTest, AFrameCutAnywhereIsCompletedByItsRest) {
    HostLink link;
    const std::string frame = request(7, 5, "ignored");
    for (std::size_t cut = 1; cut < frame.size(); ++cut) {
        link.host().sendRaw(frame.substr(0, cut));
        std::this_thread::yield();
        link.host().sendRaw(frame.substr(cut));
        EXPECT_EQ(5U, link.host().readFrame().identifierB) << cut;
    }
}

TEST(DornTest, AConnectionThatClosesAnywhereInAFrameIsLost) {
    const std::string frame = request(7, 5, "ignored");
    for (std::size_t cut = 0; cut < frame.size(); ++cut) {
        HostLink link;  // what connections of one listener log together is bounded
        const LogRecorder log;
        const auto host = link.connect();
        host->sendRaw(frame.substr(0, cut));
        host->connection().shutdownWrite();
        EXPECT_EQ("", host->connection().readUntilClosed()) << cut;
        EXPECT_TRUE(log.waitFor(kLost)) << cut;
        EXPECT_EQ(1U, log.count(kLost)) << cut;
    }
}

TEST(DornTest, AConnectionThatIsResetEnds) {
    HostLink link;
    const LogRecorder log;
    link.host().sendRaw(request(7, 1));
    link.host().readFrame();
    link.host().connection().reset();
    EXPECT_TRUE(endsWithin(link, 5s));
}

TEST(DornTest, AWrongChecksumIsNotedAndTheNextFrameIsServed) {
    const LogRecorder log;
    HostLink link;
    std::string damaged = request(7, 1);
    damaged.back() = static_cast<char>(damaged.back() - 1);
    link.host().sendRaw(damaged + request(7, 2));
    EXPECT_EQ(2U, link.host().readFrame().identifierB);
    EXPECT_TRUE(log.waitFor(
        {181, "ProtocolErrorException: Invalid Checksum (Was: 0x8a, should be: 0x8b)"}));
}

TEST(DornTest, ALengthOfZeroIsNotedAndTheNextFrameIsServed) {
    const LogRecorder log;
    HostLink link;
    std::string damaged = request(7, 1).substr(0, 42);
    damaged[7] = 0;
    link.host().sendRaw(damaged + request(7, 2));
    EXPECT_EQ(2U, link.host().readFrame().identifierB);
    EXPECT_TRUE(log.waitFor({181, "ProtocolErrorException: Invalid Length (0x00000000)"}));
}

TEST(DornTest, DamagedFramesNeverFloodTheLog) {
    const LogRecorder log;
    HostLink link;
    std::string damaged = request(7, 1);
    damaged.back() = static_cast<char>(damaged.back() - 1);
    std::string many;
    for (int i = 0; i < 2000; ++i) many += damaged;
    const Clock::time_point start = Clock::now();
    link.host().connection().sendAll(many + request(7, 2), 60s);
    EXPECT_EQ(2U, link.host().readFrame(60s).identifierB);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(Clock::now() - start).count();
    const std::size_t lines =
        log.count({181, "ProtocolErrorException: Invalid Checksum (Was: 0x8a, should be: 0x8b)"});
    EXPECT_GE(lines, 1U);
    EXPECT_LE(lines, 4U * static_cast<std::size_t>(seconds + 1));
}

TEST(DornTest, AnAamsFrameGoesToTheEngine) {
    HostLink link;
    link.host().request(0xFE, bytes("00 00 00 08") + "505-0008", 7, 8);
    ASSERT_TRUE(eventually([&] { return !link.engine().isEmpty(); }));
    ASSERT_EQ(0, link.engine().start());
    const Frame answer = link.host().readFrame();
    link.engine().stop();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(0xFE, answer.type);
    EXPECT_EQ(8U, answer.identifierB);
    EXPECT_EQ("505-002D-ffffffffff00-00-1!1!1!2-", answer.body.substr(4, 33));
}

TEST(DornTest, AnswersStillOwedToAHalfClosedConnectionAreWritten) {
    HostLink link(2);
    const LogRecorder log;
    link.machine(1).setFaults({.delay = 300ms});
    link.machine(2).setFaults({.delay = 600ms});
    link.host().request(1, bytes("00"), 0, 5);
    link.host().connection().shutdownWrite();
    EXPECT_TRUE(log.waitFor(kLost));
    EXPECT_EQ(5U, link.host().readFrame().identifierB);
    EXPECT_EQ(5U, link.host().readFrame().identifierB);
    EXPECT_EQ("", link.host().connection().readUntilClosed());
}

TEST(DornTest, AnswersAreOwedAlsoWhenTheConnectionClosesInTheMiddleOfAHeader) {
    HostLink link(1);
    link.machine(1).setFaults({.delay = 300ms});
    link.host().request(1, bytes("00"), 0, 5);
    link.host().sendRaw(request(7, 6).substr(0, 20));
    link.host().connection().shutdownWrite();
    EXPECT_EQ(5U, link.host().readFrame().identifierB);
    EXPECT_EQ("", link.host().connection().readUntilClosed());
}

TEST(DornTest, AHostThatLeavesWhileAnswersAreOwedEndsItsConnectionWithTheLastOfThem) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().request(1, bytes("00"));
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    link.host().connection().reset();
    link.machine(1).inject("113~0021~15.03.21~ZA000000001~00~1");
    EXPECT_TRUE(endsWithin(link, 5s));
}

// Hosts that have asked a machine for more than it answers, and leave.
class DornToALeaver : public testing::Test {
  protected:
    DornToALeaver() { link_.machine(1).setFaults({.silent = true}); }
    // Asks machine 1 that often; the first of the requests may be in the exchange already.
    void ask(HostClient& host, std::uint32_t times) {
        std::string requests;
        for (std::uint32_t id = 0; id < times; ++id) {
            requests += request(2, id, std::string(16, '\0') + "ZA000000001");
        }
        host.sendRaw(requests);
    }
    void answerTheFirst() {
        ASSERT_TRUE(link_.machine(1).journal().waitForRequests(1));
        link_.machine(1).inject("115~0021~15.03.21~ZA000000001~00~");
    }
    bool allAreAlive(unsigned long packets) const {
        return eventually([&] { return packet_counter >= before_ + packets; });
    }
    // But for one in the exchange, which is held in a few places.
    bool restIsWithdrawn() const {
        return eventually([&] { return packet_counter < before_ + 10; });
    }

    HostLink link_{1};
    const unsigned long before_ = packet_counter;
};

TEST_F(DornToALeaver, AConnectionThatIsResetLeavesNothingBehindTheRequestInTheExchange) {
    ask(link_.host(), 1);
    ASSERT_TRUE(link_.machine(1).journal().waitForRequests(1));
    const auto leaver = link_.connect();
    ask(*leaver, 500);
    ASSERT_TRUE(allAreAlive(1000));
    leaver->connection().reset();
    EXPECT_TRUE(restIsWithdrawn()) << packet_counter - before_;
    answerTheFirst();
    EXPECT_EQ(0U, link_.host().readFrame().identifierB);
    EXPECT_EQ(1U, link_.machine(1).journal().requests().size());
}

TEST_F(DornToALeaver, TheRequestInTheExchangeEndsTheConnectionOfAHostThatHasGone) {
    ask(link_.host(), 500);
    ASSERT_TRUE(allAreAlive(1000));
    link_.host().connection().reset();
    ASSERT_TRUE(restIsWithdrawn());
    answerTheFirst();
    EXPECT_TRUE(endsWithin(link_, 5s));
    EXPECT_TRUE(eventually([&] { return packet_counter == before_; }));
    EXPECT_EQ(1U, link_.machine(1).journal().requests().size());
}

TEST_F(DornToALeaver, AHostWhoseAnswerMetNobodyHasGone) {
    ask(link_.host(), 500);
    ASSERT_TRUE(allAreAlive(1000));
    link_.host().close();
    answerTheFirst();
    EXPECT_TRUE(restIsWithdrawn());
    link_.machine(1).disconnect();
    EXPECT_TRUE(endsWithin(link_, 5s));
    EXPECT_LE(link_.machine(1).journal().requests().size(), 2U);
}

TEST_F(DornToALeaver, AHostThatHasOnlyFinishedSendingGetsEveryAnswer) {
    ask(link_.host(), 500);
    link_.host().connection().shutdownWrite();
    ASSERT_TRUE(allAreAlive(1000));
    ASSERT_TRUE(link_.machine(1).journal().waitForRequests(1));
    link_.machine(1).disconnect();  // they all fail
    for (std::uint32_t id = 0; id < 500; ++id) {
        EXPECT_EQ(id, link_.host().readFrame().identifierB);
    }
    EXPECT_EQ("", link_.host().connection().readUntilClosed());
}

TEST_F(DornToALeaver, WhatOthersAskedIsNotWithdrawn) {
    ask(link_.host(), 1);
    const auto leaver = link_.connect();
    ask(*leaver, 100);
    const auto stayer = link_.connect();
    ASSERT_TRUE(allAreAlive(202));
    ask(*stayer, 100);
    ASSERT_TRUE(allAreAlive(402));
    leaver->connection().reset();
    link_.machine(1).disconnect();
    for (std::uint32_t id = 0; id < 100; ++id) EXPECT_EQ(id, stayer->readFrame().identifierB);
}

// What waits for the engine is withdrawn as well.
TEST(DornTest, AFrameForTheEngineIsWithdrawnWhenItsHostHasGone) {
    HostLink link;
    link.host().request(0xFE, bytes("00 00 00 08") + "505-0008", 7, 8);
    ASSERT_TRUE(eventually([&] { return !link.engine().isEmpty(); }));
    link.host().connection().reset();
    EXPECT_TRUE(eventually([&] { return link.engine().isEmpty(); }));
    EXPECT_TRUE(endsWithin(link, 5s));
}

// What hosts share is taken.
class DornWithAFullPool : public testing::Test {
  protected:
    ~DornWithAFullPool() noexcept override = default;
    void leavePool() { all_ = HostMemory::Room(); }
    // A request that needs some of it.
    static std::string large(std::uint32_t id) { return request(7, id, std::string(100'000, 'x')); }
    // Whether a connection is read from that would need some of it.
    static bool isRead(HostClient& host) {
        host.sendRaw(large(2));
        return host.readFrameWithin(300ms).has_value();
    }

    LogRecorder log_;
    HostLink link_;
    Event wake_;
    HostMemory::Account other_{link_.memory(), wake_};
    HostMemory::Room all_ = other_.take(16'777'216 + 65'536);
};

TEST_F(DornWithAFullPool, ConnectionsAreServedWithTheirAllowance) {
    link_.host().request(7, std::string(60'000, 'x'), 0, 5);
    EXPECT_EQ(5U, link_.host().readFrame().identifierB);
}

TEST_F(DornWithAFullPool, WhoNeedsMoreWaitsUntilThereIsSome) {
    EXPECT_FALSE(isRead(link_.host()));
    leavePool();
    EXPECT_EQ(2U, link_.host().readFrame().identifierB);
}

TEST_F(DornWithAFullPool, AHostThatIsResetWhileItWaitsIsNoticed) {
    const auto leaver = link_.connect();
    EXPECT_FALSE(isRead(*leaver));
    leaver->connection().reset();
    EXPECT_TRUE(log_.waitFor(kLost));
}

TEST_F(DornWithAFullPool, AHostThatFinishesWithinItsRequestIsNotWaitedWith) {
    const auto leaver = link_.connect();
    leaver->sendRaw(large(2).substr(0, 90'000));
    EXPECT_FALSE(leaver->readFrameWithin(300ms));
    leaver->connection().shutdownWrite();
    EXPECT_TRUE(leaver->connection().closedByPeer());
    EXPECT_EQ(1U, log_.count(kLost));
}

TEST_F(DornWithAFullPool, AHostThatHasSentAllAndFinishedWaitsForItsAnswer) {
    const auto finished = link_.connect();
    finished->sendRaw(large(3));
    finished->connection().shutdownWrite();
    EXPECT_FALSE(finished->readFrameWithin(300ms));
    leavePool();
    EXPECT_EQ(3U, finished->readFrame().identifierB);
}

TEST_F(DornWithAFullPool, AHostThatHasFinishedIsNotWaitedWithForAnotherRequest) {
    const auto finished = link_.connect();
    finished->sendRaw(large(3) + large(4).substr(0, 90'000));
    finished->connection().shutdownWrite();
    EXPECT_FALSE(finished->readFrameWithin(300ms));
    HostMemory::Account other(link_.memory(), wake_);
    EXPECT_FALSE(other.take(16'777'216));  // next in line
    leavePool();
    EXPECT_EQ(3U, finished->readFrame().identifierB);
    const HostMemory::Room again = other.take(16'777'216 + 65'536);
    EXPECT_TRUE(finished->connection().closedByPeer());
}

TEST_F(DornWithAFullPool, TheStopEndsWhoWaits) {
    EXPECT_FALSE(isRead(link_.host()));
    link_.stop();
    EXPECT_TRUE(endsWithin(link_, 5s));
}

TEST(DornTest, LargestBodiesAreTakenOneBehindTheOther) {
    HostLink link;
    const auto other = link.connect();
    const std::string body(16'777'215, 'x');
    std::thread sender([&] { other->connection().sendAll(request(7, 3, body), 60s); });
    link.host().connection().sendAll(request(7, 1, body), 60s);
    EXPECT_EQ(1U, link.host().readFrame(60s).identifierB);
    EXPECT_EQ(3U, other->readFrame(60s).identifierB);
    sender.join();
}

TEST(DornTest, ABodyThatIsNotWholeInTimeEndsItsConnectionWithANotice) {
    const LogRecorder log;
    HostLink link(0, {.body = 1s});
    const std::string frame = request(7, 1, std::string(16'777'215, 'x'));
    const Clock::time_point start = Clock::now();
    link.host().sendRaw(frame.substr(0, 1000));
    std::thread trickle([&] {  // what comes meanwhile changes nothing
        try {
            for (;;) {
                link.host().sendRaw("x");
                std::this_thread::sleep_for(20ms);
            }
        } catch (const std::exception&) {
            // The connection is over.
        }
    });
    const auto other = link.connect();
    other->request(7, std::string(200'000, 'x'), 0, 2);
    EXPECT_EQ(2U, other->readFrame().identifierB);  // waits itself no longer than that
    EXPECT_TRUE(
        log.waitFor({181, "IOException: SocketException: A request was not whole in time"}));
    EXPECT_GE(Clock::now() - start, 1s);
    trickle.join();
    EXPECT_TRUE(link.host().connection().closedByPeer());
}

TEST(DornTest, EachBodyHasATimeOfItsOwn) {
    constexpr auto kTime = 4s;
    HostLink link(0, {.body = kTime});
    const std::string frame = request(7, 1, std::string(1000, 'x'));
    for (int bodies = 0; bodies < 2; ++bodies) {
        const Clock::time_point start = Clock::now();
        link.host().sendRaw(frame.substr(0, 500));
        EXPECT_FALSE(link.host().readFrameWithin(200ms));  // its time runs
        link.host().sendRaw(frame.substr(500));
        EXPECT_EQ(1U, link.host().readFrame().identifierB);
        if (bodies == 0) std::this_thread::sleep_until(start + kTime);
    }
}

// A request holds its room until it is answered.
TEST(DornTest, ARequestThatWaitsForAMachineHoldsItsRoom) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().request(6, "ZA000000001" + std::string(4, '\0') + std::string(16'000'000, 'x'));
    ASSERT_TRUE(link.machine(1).journal().waitForData(std::string(1000, 'x'), 60s));
    const auto other = link.connect();
    other->request(7, std::string(1'000'000, 'x'), 0, 2);
    EXPECT_FALSE(other->readFrameWithin(300ms));
    link.machine(1).disconnect();
    EXPECT_EQ(2U, other->readFrame().identifierB);
}

// Each value of two bytes becomes five.
TEST(DornTest, APromptReaderGetsAnAnswerOfMoreThanSixteenMebibytes) {
    HostLink link(1);
    std::string body = "entry~";
    for (int values = 0; values < 2'000; ++values) body += "1!";
    std::string payload;
    while (payload.size() < 8'000'000) payload += body + "~";
    const std::string head = "~15.03.21~ZA000000001~00~";
    char length[16];
    std::snprintf(length, sizeof length, "%04zX", 3 + 1 + 6 + head.size() + payload.size());
    link.machine(1).answers().setLiteral(115, "115~" + (length + head) + payload);
    link.host().request(2, std::string(16, '\0') + "ZA000000001", 0, 9);
    std::size_t bytes = 0;
    for (;;) {
        const Frame page = link.host().readFrame(60s);
        ASSERT_EQ(0x81, page.kind);
        bytes += page.body.size();
        if (page.body.at(8) == page.body.at(9)) break;
    }
    EXPECT_GT(bytes, 16U * 1024 * 1024);
    link.host().request(7, "", 0, 10);
    EXPECT_EQ(10U, link.host().readFrame().identifierB);
}

TEST(DornTest, TheConnectionHasNoDelayAndIsKeptAlive) {
    const LogRecorder log;
    Listener listener;
    HostClient client(listener.port());
    const Connection accepted = listener.accept();
    MachinePark park(0);
    PacketContainer notifier;
    Timer timer;
    Aams engine(park.controller(), notifier, timer);
    Event stop;
    ConnectionCount count;
    Socket connection(AF_INET, SOCK_STREAM, 0);
    connection.setDescriptor(::dup(accepted.fd()));
    HostMemory memory{HostLimits(0)};
    const Dorn dorn(connection, {park.controller(), engine, createPacket, stop, count,
                                 LogSource::unlimited(), memory});
    const auto option = [&accepted](int level, int name) {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(0, ::getsockopt(accepted.fd(), level, name, &value, &size));
        return value;
    };
    EXPECT_NE(0, option(IPPROTO_TCP, TCP_NODELAY));
    EXPECT_NE(0, option(SOL_SOCKET, SO_KEEPALIVE));
    EXPECT_EQ(120'000, option(IPPROTO_TCP, TCP_USER_TIMEOUT));
    EXPECT_EQ("Dorn", dorn.getName());
}

// What a host that reads nothing leaves to be sent is more than its connection holds.
class DornToADeafHost : public testing::Test {
  protected:
    DornToADeafHost() : deaf_(link_.connectNarrow()) {
        const std::string body(2'000'000, 'x');
        link_.machine(1).answers().setLiteral(
            120, "120~1E8480~15.03.21~ZA000000001~00~" + body.substr(35));
        deaf_->request(6, "ZA000000001" + bytes("00 00 00 00") + "120~0008");
    }
    // The machine has done its part.
    bool largeAnswerIsOut() { return link_.machine(1).journal().waitForAcknowledgements(1); }
    bool timeOutIsLogged() const {
        return log_.waitFor({180,
                             "Exception was received: IOException: SocketException: virtual void "
                             "FrameWriter::write(const char*, size_t)Connection timed out"});
    }

    LogRecorder log_;
    HostLink link_{1, {.acknowledgement = 2s}};
    std::unique_ptr<HostClient> deaf_;
};

TEST_F(DornToADeafHost, TheTimeOutIsLoggedWhenItIsOverAndTheConnectionIsShutDown) {
    const Clock::time_point start = Clock::now();
    ASSERT_TRUE(timeOutIsLogged());
    EXPECT_GE(Clock::now() - start, 1500ms);
    EXPECT_LE(Clock::now() - start, 8s);
    EXPECT_LT(deaf_->connection().readUntilClosed().size(), 2'000'000U);
    link_.host().close();
    EXPECT_TRUE(endsWithin(link_, 5s));
}

TEST_F(DornToADeafHost, TheMachineServesOthersAtOnce) {
    ASSERT_TRUE(largeAnswerIsOut());
    link_.host().request(1, bytes("00"));
    EXPECT_EQ(0x81, link_.host().readFrame(kSoon).kind);
}

TEST_F(DornToADeafHost, FurtherAnswersAreDroppedWithoutAnotherTimeOut) {
    deaf_->request(6, "ZA000000001" + bytes("00 00 00 00") + "120~0008");
    deaf_->request(6, "ZA000000001" + bytes("00 00 00 00") + "120~0008");
    ASSERT_TRUE(timeOutIsLogged());
    link_.host().close();
    EXPECT_TRUE(endsWithin(link_, 8s));
    std::size_t failures = 0;
    for (const LogEntry& entry : log_.lines()) {
        if (entry.text.starts_with("Exception was received: ")) ++failures;
    }
    EXPECT_EQ(1U, failures);
}

TEST_F(DornToADeafHost, StoppingDoesNotWaitForIt) {
    ASSERT_TRUE(largeAnswerIsOut());
    link_.stop();
    EXPECT_TRUE(endsWithin(link_, 2500ms));
}

TEST_F(DornToADeafHost, AHostThatReadsSlowlyHoldsNobodyAndIsNotGivenUp) {
    ASSERT_TRUE(largeAnswerIsOut());
    constexpr std::size_t kBlock = 1000;  // read every ten milliseconds, for three seconds
    const Clock::time_point start = Clock::now();
    for (int blocks = 0; blocks < 300; ++blocks) {
        deaf_->connection().readExactly(kBlock);
        while (Clock::now() < start + blocks * 10ms) {
            link_.host().request(1, bytes("00"));
            ASSERT_EQ(0x81, link_.host().readFrame(kSoon).kind);
        }
    }
    for (const LogEntry& entry : log_.lines()) {
        EXPECT_FALSE(entry.text.starts_with("Exception was received: ")) << entry;
    }
    deaf_->connection().reset();
}

TEST(DornStopTest, AnIdleConnectionEndsAtOnce) {
    HostLink link;
    link.host().request(7, "");
    link.host().readFrame();
    link.stop();
    EXPECT_TRUE(endsWithin(link, 5s));
    EXPECT_EQ("", link.host().connection().readUntilClosed());
}

TEST(DornStopTest, AConnectionInTheMiddleOfAFrameEndsAtOnce) {
    HostLink link;
    for (const std::size_t cut : {1U, 41U, 42U, 45U}) {
        link.connect()->sendRaw(request(7, 1, "ignored").substr(0, cut));
    }
    const auto host = link.connect();
    host->sendRaw(request(7, 1, "ignored").substr(0, 43));
    link.stop();
    EXPECT_TRUE(endsWithin(link, 5s));
}

TEST(DornStopTest, AConnectionThatHoldsJunkEndsAtOnce) {
    EXPECT_TRUE(oneOfAFew([] {
        const LogRecorder log;
        HostLink link;
        link.host().sendRaw(request(9, 1));
        EXPECT_TRUE(log.waitForText("Dorn Got Junk"));
        link.stop();
        return endsWithin(link, 900ms);
    }));
}

TEST(DornStopTest, AnAnswerOwedByAMachineEndsWithTheMachinesLink) {
    HostLink link(1);
    link.machine(1).setFaults({.silent = true});
    link.host().request(4, "");
    ASSERT_TRUE(link.machine(1).journal().waitForRequests(1));
    link.stop();
    link.park().shutDown();
    EXPECT_TRUE(endsWithin(link, 2500ms));
}

TEST(DornStopTest, NothingIsLoggedForAConnectionThatIsStopped) {
    HostLink link;
    const LogRecorder log;
    link.stop();
    EXPECT_TRUE(endsWithin(link, 5s));
    for (const LogEntry& entry : log.lines()) {
        EXPECT_TRUE(entry.priority == 183 || entry.text == "Thread 'Dorn' Terminated") << entry;
    }
}

TEST(DornLeakTest, AThousandConnectionsLeaveNoDescriptorBehind) {
    HostLink link;
    link.host().request(7, "");
    link.host().readFrame();
    const std::size_t before = openDescriptors(::getpid());
    for (int i = 0; i < 1000; ++i) {
        const auto host = link.connect();
        if (i % 3 == 0) continue;
        host->request(i % 3 == 1 ? 7 : 9, "");
        if (i % 3 == 1) host->readFrame();
    }
    EXPECT_TRUE(eventually([&] { return openDescriptors(::getpid()) == before; }));
}

// An answer that cannot be written.
class Unwritable : public DornPacket {
  public:
    explicit Unwritable(std::function<void()> problem)
        : DornPacket(7), problem_(std::move(problem)) {}

    void write(OutputStream&) override { problem_(); }

  private:
    const std::function<void()> problem_;
};

// A connection of its own making, for packets that the daemon would not make.
class LoneDorn {
  public:
    explicit LoneDorn(CreatePacket create = createPacket)
        : dorn_(connection(), {link_.park().controller(), link_.engine(), create, stop_, count_,
                               LogSource::unlimited(), memory_}) {}

    Dorn& dorn() { return dorn_; }
    Connection& client() { return pair_.client; }

  private:
    Socket connection() const {
        Socket socket(AF_INET, SOCK_STREAM, 0);
        socket.setDescriptor(::dup(pair_.server.fd()));
        return socket;
    }

    HostLink link_;
    const Event stop_;
    ConnectionCount count_;
    TcpPair pair_;
    HostMemory memory_{HostLimits(0)};
    Dorn dorn_;
};

// What the host gets, and what is logged, when somebody else's thread completes the packet.
std::string received(const std::function<void()>& problem) {
    LoneDorn lone;
    const PacketHandle<Unwritable> packet(new Unwritable(problem));
    lone.dorn().packetCompleted(packet.pointer());
    return lone.client().readUntilClosed();
}

// A request that throws when it is offered: the first of them, the daemon's own exception.
class Unservable : public DornPacket {
  public:
    Unservable() : DornPacket(7) {}
    void offer_to_connection(Dorn&) override {
        if (identifiers_match(0, 1)) throw Exception("It cannot be served");
        throw std::bad_alloc();
    }
};

TEST(DornTest, ARequestThatThrowsIsAnsweredAsFailedWhateverItThrows) {
    LoneDorn lone([](int) -> DornPacket* { return new Unservable; });
    ASSERT_EQ(0, lone.dorn().start());
    HostClient host(std::move(lone.client()));
    host.sendRaw(request(7, 1) + request(7, 2));
    for (std::uint32_t id = 1; id <= 2; ++id) {
        const Frame answer = host.readFrame();
        EXPECT_EQ(0xAB, answer.kind);
        EXPECT_EQ(id, answer.identifierB);
        EXPECT_EQ("", answer.body);
    }
    host.connection().shutdownWrite();
    lone.dorn().awaitEnd();
}

TEST(DornTest, AnAnswerThatCannotBeWrittenEndsItsConnectionAndConcernsNobodyElse) {
    const LogRecorder log;
    EXPECT_EQ("", received([] { throw std::bad_alloc(); }));
    EXPECT_EQ("", received([] { throw Exception("too long"); }));
    EXPECT_EQ(1U, log.count({180, "Exception was received: std::bad_alloc"}));
    EXPECT_EQ(1U, log.count({180, "Exception was received: too long"}));
}

}  // namespace
}  // namespace teskd::test
