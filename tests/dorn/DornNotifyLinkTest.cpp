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

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// The patience with a server that stays silent. Two packets are sent half of it apart.
const std::chrono::milliseconds kPatient = 1s * timeScale();

class SilentServer : public NotifyFixture {
  protected:
    SilentServer() : NotifyFixture(kPatient) {
        configure("127.0.0.1", server().port());
        begin();
    }
};

TEST_F(SilentServer, LeavesALine) {
    const Sent sent(notify(), 0, 1);
    EXPECT_EQ("failed", sent.outcome());
    EXPECT_TRUE(log_.waitFor({180, "Notifications that the server has left unanswered: 1"}));
}

TEST_F(SilentServer, HasTheTimeOfEachPacketCountedFromItsOwnSending) {
    const Sent first(notify(), 0, 1);
    EXPECT_EQ(1U, receivedB());
    std::this_thread::sleep_for(kPatient / 2);
    const Sent second(notify(), 0, 2);
    EXPECT_EQ(2U, receivedB());
    const Clock::time_point received = Clock::now();
    EXPECT_TRUE(first.isOpen());
    EXPECT_EQ("failed", first.outcome());
    EXPECT_EQ("failed", second.outcome());
    EXPECT_GE(Clock::now() - received, kPatient * 9 / 10);
}

TEST_F(SilentServer, GetsNoMoreTimeByForeignDatagrams) {
    const Sent sent(notify(), 0, 1);
    receivedB();
    const auto ended = [&] {
        server().reply(answer(5, 5));
        return !sent.isOpen();
    };
    EXPECT_TRUE(eventually(ended));
    EXPECT_EQ("failed", sent.outcome());
}

class LinkWithAnswers : public NotifyFixture {
  protected:
    LinkWithAnswers() {
        configure("127.0.0.1", server().port());
        begin();
    }
};

TEST_F(LinkWithAnswers, ADatagramThatCameWhileNothingWasPendingCostsNothing) {
    for (const char* stray :
         {"", "x", "a stray datagram that is longer than the header of a frame"}) {
        expectWorks();
        server().reply(stray);
        expectWorks();
    }
}

TEST_F(LinkWithAnswers, AsManyAsTheSocketHoldsCostNothingEither) {
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

TEST_F(LinkWithAnswers, WhatThereIsNoMemoryToSendIsTriedOnceASecondAndHarmsNoOther) {
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

}  // namespace
}  // namespace teskd::test
