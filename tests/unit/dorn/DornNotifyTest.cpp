// Notifications and their answers, with a real UDP socket for a server.

#include <chrono>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "dorn/NotifyFixture.h"
#include "support/Bytes.h"
#include "support/Frame.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
const std::string kClosed =
    "IOException: SocketException: SocketConnectionClosedException: "
    "Remote Peer closed the connection.";

// The length field of a frame, put to another value.
std::string withLength(std::string frame, const char* length) {
    return frame.replace(4, 4, bytes(length));
}

class DornNotifyTest : public NotifyFixture {
  protected:
    DornNotifyTest() {
        configure("127.0.0.1", server().port());
        begin();
    }

    // The server answers the one notification like this.
    void expectFailure(const std::string& text, const std::string& datagram) {
        {
            const Sent sent(notify(), 0, 1);
            receivedB();
            server().reply(datagram);
            EXPECT_EQ("error: " + text, sent.outcome());
            EXPECT_EQ(0xAB, sent.frame().kind);
            EXPECT_EQ("", sent.frame().body);
        }
        expectWorks();
    }
};

TEST_F(DornNotifyTest, HasItsName) {
    EXPECT_EQ("DornNotify", notify().getName());
}

TEST_F(DornNotifyTest, APacketIsOneDatagramWithItsFrame) {
    const Sent sent(notify(), 0x01020304, 0x05060708, "note");
    EXPECT_BYTES(bytes("FF 81 02 00 00 00 00 05  FF FF FF FF FF 00"
                       "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                       "01 02 03 04  05 06 07 08  6E 6F 74 65  5C"),
                 server().receive());
    server().reply(answer(0x01020304, 0x05060708));
    EXPECT_EQ("completed", sent.outcome());
}

TEST_F(DornNotifyTest, TheAnswerIsReadOverThePacket) {
    const Sent sent(notify(), 0, 1);
    receivedB();
    server().reply(
        bytes("FF 81 7E FE 00 00 00 03  11 22 33 44 55 66"
              "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
              "00 00 00 00  00 00 00 01  68 69  74"));
    ASSERT_EQ("completed", sent.outcome());
    const Frame frame = sent.frame();
    EXPECT_EQ(0x7E, frame.constant);
    EXPECT_EQ(0xFE, frame.type);
    EXPECT_BYTES(bytes("11 22 33 44 55 66"), frame.station);
    EXPECT_EQ("hi", frame.body);
}

TEST_F(DornNotifyTest, ALongPacketIsOneDatagram) {
    const std::string body(60000, 'n');
    const Sent sent(notify(), 0, 1, body);
    EXPECT_TRUE(body == parseFrame(server().receive()).value().body);
    server().reply(answer(0, 1));
    EXPECT_EQ("completed", sent.outcome());
}

TEST_F(DornNotifyTest, APacketTooLongForADatagramFailsAndHarmsNothing) {
    {
        const Sent sent(notify(), 0, 1, std::string(66000, 'n'));
        EXPECT_EQ(
            "error: IOException: SocketException: virtual void SocketOutputStream::write(const "
            "char*, size_t)Message too long",
            sent.outcome());
    }
    expectWorks();
}

TEST_F(DornNotifyTest, PacketsGoOutInTheirOrderWithoutWaitingForEachOther) {
    std::list<Sent> sent;
    for (std::uint32_t b = 1; b <= 3; ++b) sent.emplace_back(notify(), 0, b);
    for (std::uint32_t b = 1; b <= 3; ++b) EXPECT_EQ(b, receivedB());
    for (std::uint32_t b = 1; b <= 3; ++b) server().reply(answer(0, b));
    for (const Sent& each : sent) EXPECT_EQ("completed", each.outcome());
}

// Three that are out at the same time.
class DornNotifyOfThreeTest : public DornNotifyTest {
  protected:
    DornNotifyOfThreeTest() {
        for (std::uint32_t b = 1; b <= 3; ++b) sent_.emplace_back(notify(), 0, b);
        for (std::uint32_t b = 1; b <= 3; ++b) EXPECT_EQ(b, receivedB());
    }
    ~DornNotifyOfThreeTest() noexcept override { endsWithin(5s); }
    const Sent& sent(std::size_t b) const {
        return *std::next(sent_.begin(), static_cast<long>(b) - 1);
    }

    std::list<Sent> sent_;
};

TEST_F(DornNotifyOfThreeTest, AnswersOutOfOrderFindTheirPackets) {
    server().reply(answer(0, 3, "three"));
    EXPECT_EQ("completed", sent(3).outcome());
    EXPECT_TRUE(sent(1).isOpen());
    server().reply(answer(0, 1, "one"));
    EXPECT_EQ("completed", sent(1).outcome());
    EXPECT_TRUE(sent(2).isOpen());
    server().reply(answer(0, 2, "two"));
    EXPECT_EQ("completed", sent(2).outcome());
    EXPECT_EQ("one", sent(1).frame().body);
    EXPECT_EQ("two", sent(2).frame().body);
    EXPECT_EQ("three", sent(3).frame().body);
}

TEST_F(DornNotifyOfThreeTest, SeveralAnswersWaitingAtOnceAreAllHandled) {
    server().reply(answer(0, 2));
    server().reply(answer(5, 5));
    server().reply(answer(0, 3));
    server().reply(answer(0, 1));
    for (std::size_t b = 1; b <= 3; ++b) EXPECT_EQ("completed", sent(b).outcome());
}

TEST_F(DornNotifyOfThreeTest, AnAnswerThatComesTwiceAnswersNothingElse) {
    server().reply(answer(0, 1, "first"));
    server().reply(answer(0, 1, "second"));
    server().reply(answer(0, 2));
    EXPECT_EQ("completed", sent(1).outcome());
    EXPECT_EQ("completed", sent(2).outcome());
    EXPECT_TRUE(sent(3).isOpen());
    EXPECT_EQ("first", sent(1).frame().body);
}

TEST_F(DornNotifyOfThreeTest, OneDamagedAnswerFailsItsOwnPacketAndNoOther) {
    std::string damaged = answer(0, 2);
    damaged.back() = static_cast<char>(damaged.back() ^ 1);
    server().reply(damaged);
    EXPECT_EQ("error", sent(2).outcome().substr(0, 5));
    for (const std::uint32_t b : {1U, 3U}) {
        server().reply(answer(0, b));
        EXPECT_EQ("completed", sent(b).outcome());
    }
}

TEST_F(DornNotifyOfThreeTest, DatagramsTooShortForIdentifiersAreDropped) {
    server().reply("");
    server().reply("x");
    server().reply(answer(0, 1).substr(0, 41));
    for (std::uint32_t b = 1; b <= 3; ++b) {
        server().reply(answer(0, b));
        EXPECT_EQ("completed", sent(b).outcome());
    }
}

TEST_F(DornNotifyOfThreeTest, APacketTooLongForADatagramFailsItselfAndNoOther) {
    const Sent tooLong(notify(), 0, 4, std::string(66000, 'n'));
    const Sent next(notify(), 0, 5);
    EXPECT_EQ("error", tooLong.outcome().substr(0, 5));
    EXPECT_EQ(5U, receivedB());
    for (std::uint32_t b = 1; b <= 3; ++b) {
        server().reply(answer(0, b));
        EXPECT_EQ("completed", sent(b).outcome());
    }
    server().reply(answer(0, 5));
    EXPECT_EQ("completed", next.outcome());
}

TEST_F(DornNotifyOfThreeTest, StoppingFailsAllThatAreOut) {
    EXPECT_TRUE(endsWithin(5s));
    for (std::size_t b = 1; b <= 3; ++b) {
        EXPECT_EQ("error", sent(b).outcome().substr(0, 5));
        EXPECT_EQ(0xAB, sent(b).frame().kind);
    }
}

TEST_F(DornNotifyTest, ForeignIdentifiersAreDroppedWithoutAWait) {
    const Sent sent(notify(), 1, 2);
    receivedB();
    const Clock::time_point start = Clock::now();
    server().reply(answer(2, 1));
    server().reply(answer(1, 3));
    server().reply(answer(2, 2));
    server().reply(answer(1, 2, "mine"));
    EXPECT_EQ("completed", sent.outcome());
    EXPECT_LE(Clock::now() - start, 10s);
    EXPECT_EQ("mine", sent.frame().body);
}

TEST_F(DornNotifyTest, ForeignAnswersOfAnyLengthFieldAreDroppedWhole) {
    const Sent sent(notify(), 0, 1);
    receivedB();
    const Clock::time_point start = Clock::now();
    for (const char* length : {"00 00 00 00", "00 00 00 01", "00 00 00 2A", "00 00 08 00",
                               "7F FF FF FF", "FF FF FF FF"}) {
        server().reply(withLength(answer(5, 5), length));
        server().reply(withLength(answer(5, 5).substr(0, 42), length));
        server().reply(withLength(answer(5, 5, std::string(5000, 'x')), length));
    }
    server().reply(answer(0, 1));
    EXPECT_EQ("completed", sent.outcome());
    EXPECT_LE(Clock::now() - start, 10s);
}

TEST_F(DornNotifyTest, ForeignDamageIsDroppedToo) {
    const Sent sent(notify(), 0, 1);
    receivedB();
    std::string damaged = answer(5, 5);
    damaged[0] = 'x';
    damaged.back() = static_cast<char>(damaged.back() ^ 1);
    server().reply(damaged);
    server().reply(answer(0, 1));
    EXPECT_EQ("completed", sent.outcome());
}

TEST_F(DornNotifyTest, ALateAnswerIsNotTakenForTheNextPackets) {
    {
        const Sent sent(notify(), 0, 1);
        receivedB();
        server().reply(answer(0, 1).substr(0, 42));
        EXPECT_EQ("error: " + kClosed, sent.outcome());
        server().reply(answer(0, 1, "late"));
    }
    expectWorks();
}

TEST_F(DornNotifyTest, AnAnswerCutAnywhereFailsAndHarmsNothingAfterIt) {
    const std::string whole = answer(0, 1, "body");
    for (std::size_t cut = 42; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        expectFailure(kClosed, whole.substr(0, cut));
    }
}

TEST_F(DornNotifyTest, AWrongChecksumFailsWhatIsOut) {
    std::string damaged = answer(0, 1, "");
    ASSERT_BYTES(bytes("84"), damaged.substr(42));
    damaged[42] = '\x10';
    expectFailure("ProtocolErrorException: Invalid Checksum (Was: 0x10, should be: 0x84)", damaged);
}

TEST_F(DornNotifyTest, OtherStartBytesFailWhatIsOut) {
    std::string damaged = answer(0, 1);
    damaged[1] = '\x80';
    expectFailure("ProtocolErrorException: Invalid Protocol Type Header", damaged);
}

TEST_F(DornNotifyTest, AnAnswerWithMoreBytesBehindItsFrameLeavesNothingForTheNext) {
    {
        const Sent sent(notify(), 0, 1);
        receivedB();
        server().reply(answer(0, 1, "body") + answer(9, 9, "hidden"));
        EXPECT_EQ("completed", sent.outcome());
        EXPECT_EQ("body", sent.frame().body);
    }
    expectWorks();
}

TEST_F(DornNotifyTest, TheLargestDatagramIsReadWhole) {
    const std::string largest = answer(0, 1, std::string(65507 - 43, 'x'));
    ASSERT_EQ(65507U, largest.size());
    {
        const Sent sent(notify(), 0, 1);
        receivedB();
        server().reply(largest);
        EXPECT_EQ("completed", sent.outcome());
        EXPECT_TRUE(std::string(65464, 'x') == sent.frame().body);
    }
    expectWorks();
}

TEST_F(DornNotifyTest, ARefusedDatagramFailsAndTheServerIsFoundWhenItIsThere) {
    const std::uint16_t port = server().port();
    closeServer();
    for (std::uint32_t b = 1; b <= 3; ++b) {
        const Sent sent(notify(), 0, b);
        EXPECT_NE(std::string::npos, sent.outcome().find("Connection refused")) << b;
        EXPECT_EQ(0xAB, sent.frame().kind);
    }
    openServer(port);
    expectWorks();
}

TEST_F(DornNotifyTest, AServerThatGoesAwayBetweenTwoPacketsHarmsOnlyThoseWithoutIt) {
    expectWorks();
    const std::uint16_t port = server().port();
    closeServer();
    {
        const Sent sent(notify(), 0, 1);
        EXPECT_EQ("error", sent.outcome().substr(0, 5));
    }
    openServer(port);
    expectWorks();
}

TEST_F(DornNotifyTest, WhatAnUnusableAddressKeepsFromBeingSentWaitsUntilTheStop) {
    configure("*", 5001);
    const Sent sent(notify(), 0, 1);
    EXPECT_TRUE(log_.waitForText("Cannot reach the notification server: "));
    EXPECT_TRUE(sent.isOpen());
    EXPECT_TRUE(endsWithin(5s));
    EXPECT_EQ("error: The receiver has been stopped", sent.outcome());
}

TEST_F(DornNotifyTest, PacketsOfManyThreadsAllReachTheServer) {
    constexpr std::uint32_t kThreads = 4;
    constexpr std::uint32_t kEach = 50;
    std::list<Sent> sent[kThreads];
    std::vector<std::thread> threads;
    for (std::uint32_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (std::uint32_t b = 0; b < kEach; ++b) sent[t].emplace_back(notify(), t, b);
        });
    }
    for (std::uint32_t i = 0; i < kThreads * kEach; ++i) {
        const Frame frame = parseFrame(server().receive()).value();
        server().reply(answer(frame.identifierA, frame.identifierB));
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::list<Sent>& list : sent) {
        for (const Sent& each : list) EXPECT_EQ("completed", each.outcome());
    }
}

// Takes twenty seconds, the answer time-out.
TEST_F(DornNotifyOfThreeTest, SlowWithoutAnAnswerForTwentySecondsAllTimeOutAndTheNextWorks) {
    const Clock::time_point start = Clock::now();
    EXPECT_EQ("failed", sent(1).outcome(40s));
    EXPECT_GE(Clock::now() - start, 19s);
    EXPECT_LE(Clock::now() - start, 30s);
    for (std::size_t b = 1; b <= 3; ++b) {
        EXPECT_EQ("failed", sent(b).outcome());
        const Frame frame = sent(b).frame();
        EXPECT_EQ(0xFE, frame.kind);
        EXPECT_EQ("", frame.body);
        EXPECT_EQ(b, frame.identifierB);
    }
    server().reply(answer(0, 1, "late"));
    expectWorks();
    EXPECT_EQ("", sent(1).frame().body);
}

// Stops the notifier as soon as a packet is answered, on the notifier's own thread.
class Stopper : public PacketEventListener {
  public:
    explicit Stopper(DornNotify& notify) : notify_(notify) {}

    void packetCompleted(Packet*) override { notify_.stop(); }
    void packetFailed(Packet*) override {}
    void packetError(Packet*, const Exception&) override {}

  private:
    DornNotify& notify_;
};

TEST_F(DornNotifyTest, AStopBetweenTwoAnswersFailsWhatIsStillOut) {
    Stopper stopper(notify());
    const Sent first(notify(), 0, 1);
    first.addListener(stopper);
    receivedB();
    const Sent second(notify(), 0, 2);
    server().reply(answer(9, 9));  // of nobody: the second goes out as well
    EXPECT_EQ(2U, receivedB());
    server().reply(answer(0, 1));
    EXPECT_EQ("completed", first.outcome());
    EXPECT_EQ("error: The receiver has been stopped", second.outcome());
    EXPECT_EQ(0xAB, second.frame().kind);
}

TEST_F(DornNotifyTest, StopsOnAnEmptyQueue) {
    EXPECT_TRUE(endsWithin(5s));
}

TEST_F(DornNotifyTest, StopsAfterAnExchange) {
    expectWorks();
    EXPECT_TRUE(endsWithin(5s));
}

TEST_F(DornNotifyTest, StopsRightAfterItsStart) {
    for (int i = 0; i < 50; ++i) {
        DornNotify other;
        other.start();
        other.stop();
        other.join();
    }
}

TEST_F(DornNotifyTest, WhatIsQueuedWhenItStopsFails) {
    const Sent out(notify(), 0, 1);
    receivedB();
    const Sent queued(notify(), 0, 2);
    EXPECT_TRUE(endsWithin(5s));
    EXPECT_EQ("error", out.outcome().substr(0, 5));
    EXPECT_EQ("error", queued.outcome().substr(0, 5));
}

TEST_F(DornNotifyTest, APacketThatComesAfterTheStopFailsAtOnce) {
    EXPECT_TRUE(endsWithin(5s));
    const Sent sent(notify(), 0, 1);
    EXPECT_FALSE(sent.isOpen());
    EXPECT_EQ(0xAB, sent.frame().kind);
}

}  // namespace
}  // namespace teskd::test
