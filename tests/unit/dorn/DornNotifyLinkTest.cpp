// The way to the notification server: silent servers, addresses that change, no way at all.

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <list>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "dorn/NotifyFixture.h"
#include "support/NetworkNamespace.h"
#include "support_src/AtRelease.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// The patience with a server that stays silent. Two packets are sent half of it apart, and what
// sends them, receives them and answers them may be late by the other half.
const std::chrono::milliseconds kPatient = 3s * timeScale();

class DornNotifyLinkToASilentServer : public NotifyFixture {
  protected:
    DornNotifyLinkToASilentServer() : NotifyFixture(kPatient) {
        configure("127.0.0.1", server().port());
        begin();
    }
};

TEST_F(DornNotifyLinkToASilentServer, LeavesALine) {
    const Sent sent(notify(), 0, 1);
    EXPECT_EQ("failed", sent.outcome());
    EXPECT_TRUE(log_.waitFor({180, "Notifications that the server has left unanswered: 1"}));
}

TEST_F(DornNotifyLinkToASilentServer, HasTheTimeOfEachPacketCountedFromItsOwnSending) {
    const Sent first(notify(), 0, 1);
    EXPECT_EQ(1U, receivedB());
    std::this_thread::sleep_for(kPatient / 2);
    const Clock::time_point begun = Clock::now();  // it is sent after this
    const Sent second(notify(), 0, 2);
    EXPECT_EQ(2U, receivedB());
    EXPECT_TRUE(first.isOpen());
    EXPECT_EQ("failed", first.outcome());
    EXPECT_EQ("failed", second.outcome());
    EXPECT_GE(Clock::now() - begun, kPatient);
}

TEST_F(DornNotifyLinkToASilentServer, GetsNoMoreTimeByForeignDatagrams) {
    const Sent sent(notify(), 0, 1);
    receivedB();
    const auto ended = [&] {
        server().reply(answer(5, 5));
        return !sent.isOpen();
    };
    EXPECT_TRUE(eventually(ended));
    EXPECT_EQ("failed", sent.outcome());
}

TEST_F(DornNotifyLinkToASilentServer, IsTriedFromAnotherSocketWhenNothingElseIsPending) {
    std::uint16_t before = 0;
    {
        const Sent sent(notify(), 0, 1);
        receivedB();
        before = server().senderPort();
        EXPECT_EQ("failed", sent.outcome());
    }
    expectWorks();
    EXPECT_NE(before, server().senderPort());
}

// There is always one that waits, so the socket has to be given a chance to become free.
TEST_F(DornNotifyLinkToASilentServer, IsTriedFromAnotherSocketThoughPacketsKeepComing) {
    std::list<Sent> sent;
    std::vector<std::uint16_t> ports;
    const auto renewed = [&] {
        sent.emplace_back(notify(), 0, static_cast<std::uint32_t>(sent.size()));
        if (server().receiveWithin(50ms)) ports.push_back(server().senderPort());
        return !ports.empty() && ports.back() != ports.front();
    };
    EXPECT_TRUE(eventually(renewed));
}

TEST_F(DornNotifyLinkToASilentServer, ThatAnswersAgainKeepsItsSocket) {
    const Sent lost(notify(), 0, 1);
    receivedB();
    std::this_thread::sleep_for(kPatient / 2);
    const Sent answered(notify(), 0, 2);
    EXPECT_EQ(2U, receivedB());
    const std::uint16_t before = server().senderPort();
    EXPECT_EQ("failed", lost.outcome());
    server().reply(answer(0, 2));
    EXPECT_EQ("completed", answered.outcome());
    expectWorks();
    EXPECT_EQ(before, server().senderPort());
}

class DornNotifyLinkWithAnswers : public NotifyFixture {
  protected:
    DornNotifyLinkWithAnswers() {
        configure("127.0.0.1", server().port());
        begin();
    }
};

TEST_F(DornNotifyLinkWithAnswers, ADatagramThatCameWhileNothingWasPendingCostsNothing) {
    for (const char* stray :
         {"", "x", "a stray datagram that is longer than the header of a frame"}) {
        expectWorks();
        server().reply(stray);
        expectWorks();
    }
}

TEST_F(DornNotifyLinkWithAnswers, AsManyAsTheSocketHoldsCostNothingEither) {
    expectWorks();
    for (int i = 0; i < 2000; ++i) server().reply(std::string(300, 'x'));
    expectWorks();
}

// Has no memory to be written for a while.
class Hungry : public Note {
  public:
    using Note::Note;

    void write(OutputStream& out) override {
        ++tries_;
        if (hungry_) throw std::bad_alloc();
        Note::write(out);
    }
    int tries() const { return tries_; }
    void feed() { hungry_ = false; }

  private:
    std::atomic<int> tries_{0};
    std::atomic<bool> hungry_{true};
};

TEST_F(DornNotifyLinkWithAnswers, WhatThereIsNoMemoryToSendIsTriedOnceASecondAndHarmsNoOther) {
    const Sent before(notify(), 0, 1);
    EXPECT_EQ(1U, receivedB());
    const Clock::time_point start = Clock::now();
    auto* const hungry = new Hungry(0, 2, "note");
    const Sent sent(notify(), hungry);
    EXPECT_TRUE(eventually([&] { return hungry->tries() >= 3; }));
    EXPECT_GE(Clock::now() - start, 1900ms);
    server().reply(answer(0, 1));
    EXPECT_EQ("completed", before.outcome());
    hungry->feed();
    EXPECT_EQ(2U, receivedB());
    server().reply(answer(0, 2));
    EXPECT_EQ("completed", sent.outcome());
}

// Has no memory for its answer.
class Overfed : public Note {
  public:
    using Note::Note;

    void read(InputStream&) override { throw std::bad_alloc(); }
};

TEST_F(DornNotifyLinkWithAnswers, AnAnswerForWhichThereIsNoMemoryFailsItsNotificationAndNoOther) {
    const Sent overfed(notify(), new Overfed(0, 1, "note"));
    const Sent other(notify(), 0, 2);
    EXPECT_EQ(1U, receivedB());
    EXPECT_EQ(2U, receivedB());
    server().reply(answer(0, 1));
    EXPECT_EQ("error: std::bad_alloc", overfed.outcome());
    EXPECT_EQ(1U, log_.count({180, "Notifications have failed: std::bad_alloc"}));
    EXPECT_TRUE(other.isOpen());
    server().reply(answer(0, 2));
    EXPECT_EQ("completed", other.outcome());
}

// Is held up behind its nth release of a lock from the failure on, until the pause before the next
// try is over.
class HeldUp : public Hungry {
  public:
    HeldUp(std::size_t n, std::uint32_t b) : Hungry(0, b, "note"), n_(n) {}

    void write(OutputStream& out) override {
        if (tries() == 0) {
            atRelease(n_, [this] {
                feed();
                std::this_thread::sleep_for(DornNotify::RETRY_PAUSE + 100ms);
            });
        }
        Hungry::write(out);
    }

  private:
    const std::size_t n_;
};

TEST_F(DornNotifyLinkWithAnswers,
       WhatCouldNotBeSentIsTriedAgainWhereverTheThreadIsHeldUpMeanwhile) {
    std::list<DornNotify> notifiers;
    std::list<Sent> sent;
    for (std::uint32_t n = 1; n <= 16; ++n) {
        sent.emplace_back(notifiers.emplace_back(), new HeldUp(n, n));
        EXPECT_EQ(0, notifiers.back().start());
    }
    for (std::size_t n = 1; n <= sent.size(); ++n) {
        const std::uint32_t b = receivedB();
        server().reply(answer(0, b));
    }
    for (const Sent& each : sent) EXPECT_EQ("completed", each.outcome());
    for (DornNotify& each : notifiers) {
        each.stop();
        each.join();
    }
}

class DornNotifyLinkTest : public NotifyFixture {};

// Too many lines of other failures stand in front of it in its second.
TEST_F(DornNotifyLinkTest, ThatTheServerCannotBeReachedIsLoggedOnceALineIsFree) {
    configure("127.0.0.1", server().port());
    std::list<Sent> tooLong;
    for (std::uint32_t b = 1; b <= 6; ++b) {
        tooLong.emplace_back(notify(), 0, b, std::string(70'000, 'x'));
    }
    auto* const hungry = new Hungry(0, 7, "note");
    const Sent sent(notify(), hungry);
    begin();
    EXPECT_TRUE(log_.waitFor({180, "Cannot reach the notification server: std::bad_alloc"}));
    hungry->feed();
    EXPECT_EQ(7U, receivedB());
    server().reply(answer(0, 7));
    EXPECT_EQ("completed", sent.outcome());
}

// The notifier in one network and the server in another.
class DornNotifyLinkToAnotherNetwork : public NotifyFixture {
  protected:
    DornNotifyLinkToAnotherNetwork() {
        here_.addCable("eth0", there_, "eth1");
        there_.addAddress("eth1", "10.1.0.2/24");
        there_.in([this] { openServer(0, "10.1.0.2"); });
        configure("10.1.0.2", server().port());
        here_.in([this] { begin(); });
    }
    const NetworkNamespace& here() const { return here_; }
    static constexpr char kUnreachable[] =
        "Cannot reach the notification server: IOException: SocketException: ConnectException: "
        "Network is unreachable: 10.1.0.2:";

  private:
    const NetworkNamespace here_;
    const NetworkNamespace there_;
};

TEST_F(DornNotifyLinkToAnotherNetwork, IsReachedFromTheAddressThatTheMachineHasNow) {
    here().addAddress("eth0", "10.1.0.1/24");
    expectWorks();
    EXPECT_EQ("10.1.0.1", server().senderHost());
    here().removeAddress("eth0", "10.1.0.1/24");
    here().addAddress("eth0", "10.1.0.9/24");
    expectWorks();
    EXPECT_EQ("10.1.0.9", server().senderHost());
}

TEST_F(DornNotifyLinkToAnotherNetwork, GetsWhatWaitedUntilThereWasAWay) {
    std::list<Sent> sent;
    for (std::uint32_t b = 1; b <= 3; ++b) sent.emplace_back(notify(), 0, b);
    EXPECT_TRUE(log_.waitForText(kUnreachable));
    for (const Sent& each : sent) EXPECT_TRUE(each.isOpen());
    here().addAddress("eth0", "10.1.0.1/24");
    for (std::uint32_t b = 1; b <= 3; ++b) EXPECT_EQ(b, receivedB());
    for (std::uint32_t b = 1; b <= 3; ++b) server().reply(answer(0, b));
    for (const Sent& each : sent) EXPECT_EQ("completed", each.outcome());
}

TEST_F(DornNotifyLinkToAnotherNetwork, GetsTheLatest256OfThoseThatWaited) {
    std::list<Sent> sent;
    for (std::uint32_t b = 0; b < 300; ++b) sent.emplace_back(notify(), 0, b);
    auto dropped = sent.begin();
    for (; dropped != std::next(sent.begin(), 44); ++dropped) {
        EXPECT_EQ("error: Too many notifications wait", dropped->outcome());
    }
    EXPECT_TRUE(log_.waitFor({180, "More than 256 notifications wait; the oldest is dropped"}));
    EXPECT_TRUE(dropped->isOpen());
    here().addAddress("eth0", "10.1.0.1/24");
    for (std::uint32_t b = 44; b < 300; ++b) {
        EXPECT_EQ(b, receivedB());
        server().reply(answer(0, b));
    }
    for (; dropped != sent.end(); ++dropped) EXPECT_EQ("completed", dropped->outcome());
}

TEST_F(DornNotifyLinkToAnotherNetwork, GetsWhatTheWayWasLostFor) {
    here().addAddress("eth0", "10.1.0.1/24");
    expectWorks();
    here().takeDown("eth0");
    const Sent sent(notify(), 0, 1);
    EXPECT_TRUE(log_.waitForText("Network is unreachable"));
    EXPECT_TRUE(sent.isOpen());
    here().bringUp("eth0");
    EXPECT_EQ(1U, receivedB());
    server().reply(answer(0, 1));
    EXPECT_EQ("completed", sent.outcome());
}

}  // namespace
}  // namespace teskd::test
