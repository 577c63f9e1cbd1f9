#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "TestPacket.h"
#include "core/Exception.h"
#include "core/Thread.h"
#include "packet/PacketContainer.h"
#include "support/Deadline.h"
#include "support_src/AtRelease.h"
#include "support_src/RecordingListener.h"

namespace teskd::test {
namespace {

using Outcomes = std::vector<Outcome>;

// Three packets that tell one listener, and a queue. The test holds a reference on each packet.
class PacketContainerTest : public testing::Test {
  protected:
    PacketContainerTest() {
        for (Packet* packet : packets) {
            Packet::get(packet);
            packet->addListener(&listener);
        }
    }
    ~PacketContainerTest() noexcept override {
        for (Packet* packet : packets) Packet::put(packet);
        EXPECT_EQ(before, packet_counter);
        EXPECT_TRUE(deleted[0] && deleted[1] && deleted[2]);
    }

    void addAll() {
        for (Packet* packet : packets) container.addPacket(packet);
    }

    const unsigned long before = packet_counter;
    bool deleted[3] = {};
    Packet* const packets[3] = {new TestPacket(deleted[0]), new TestPacket(deleted[1]),
                                new TestPacket(deleted[2])};
    Packet* const one = packets[0];
    Packet* const two = packets[1];
    Packet* const three = packets[2];
    RecordingListener listener;
    PacketContainer container;
};

TEST_F(PacketContainerTest, StartsEmpty) {
    EXPECT_TRUE(container.isEmpty());
}

TEST_F(PacketContainerTest, AQueuedPacketHasOneReferenceMore) {
    EXPECT_EQ(before + 3, packet_counter);
    container.addPacket(one);
    EXPECT_EQ(before + 4, packet_counter);
    EXPECT_FALSE(container.isEmpty());
    container.removePacket(one);
    EXPECT_EQ(before + 3, packet_counter);
    EXPECT_TRUE(container.isEmpty());
}

TEST_F(PacketContainerTest, TheQueueKeepsAPacketThatNobodyElseHolds) {
    bool gone = false;
    auto* const packet = new TestPacket(gone);
    container.addPacket(packet);
    EXPECT_EQ(packet, container.nextPacket().pointer());
    EXPECT_FALSE(gone);
    container.removePacket(packet);
    EXPECT_TRUE(gone);
}

TEST_F(PacketContainerTest, NextPacketReturnsTheSamePacketUntilItIsRemoved) {
    addAll();
    EXPECT_EQ(one, container.nextPacket().pointer());
    EXPECT_EQ(one, container.nextPacket().pointer());
    container.removePacket(one);
    EXPECT_EQ(two, container.nextPacket().pointer());
    container.removePacket(two);
    EXPECT_EQ(three, container.nextPacket().pointer());
    container.removePacket(three);
}

TEST_F(PacketContainerTest, NextPacketHoldsThePacketThatAnotherThreadTakesOut) {
    bool gone = false;
    auto* const packet = new TestPacket(gone);
    container.addPacket(packet);
    {
        const auto next = container.nextPacket();
        EXPECT_EQ(before + 5, packet_counter);
        std::thread([&] { container.removePacket(packet); }).join();
        EXPECT_FALSE(gone);
    }
    EXPECT_TRUE(gone);
}

TEST_F(PacketContainerTest, APacketCanBeRemovedFromTheMiddle) {
    addAll();
    container.removePacket(two);
    container.removePacket(one);
    EXPECT_EQ(three, container.nextPacket().pointer());
    container.removePacket(three);
    EXPECT_EQ(before + 3, packet_counter);
}

TEST_F(PacketContainerTest, RemovingTakesOutEveryOccurrence) {
    container.addPacket(one);
    container.addPacket(two);
    container.addPacket(one);
    container.removePacket(one);
    EXPECT_EQ(two, container.nextPacket().pointer());
    container.removePacket(two);
    EXPECT_TRUE(container.isEmpty());
    Packet::put(one);  // the queue's second reference, which one removal leaves
}

TEST_F(PacketContainerTest, RemovingAPacketThatIsNotQueuedLeavesItAlone) {
    container.addPacket(two);
    container.removePacket(one);
    EXPECT_FALSE(deleted[0]);
    EXPECT_EQ(before + 4, packet_counter);
    container.removePacket(two);
}

TEST_F(PacketContainerTest, WithdrawingTakesOutOneRequestersPacketsAndTellsNobody) {
    const int leaver = 0;
    const int other = 0;
    one->setRequester(&leaver);
    two->setRequester(&other);
    three->setRequester(&leaver);
    addAll();
    container.withdraw(&leaver);
    EXPECT_EQ(before + 4, packet_counter);
    EXPECT_EQ(two, container.nextPacket().pointer());
    container.removePacket(two);
    EXPECT_TRUE(container.isEmpty());
    EXPECT_EQ(Outcomes{}, listener.outcomes());
}

TEST_F(PacketContainerTest, APacketThatTheWorkerHasInHandIsNotWithdrawn) {
    const int leaver = 0;
    for (Packet* packet : packets) packet->setRequester(&leaver);
    addAll();
    const PacketHandle<Packet> handled = container.nextPacket();
    container.withdraw(&leaver);
    EXPECT_EQ(one, container.nextPacket().pointer());
    container.removeHandled(one);
    EXPECT_TRUE(container.isEmpty());
}

TEST_F(PacketContainerTest, WhatTheWorkerHadInHandBeforeIsWithdrawn) {
    const int leaver = 0;
    one->setRequester(&leaver);
    container.addPacket(one);
    container.nextPacket();
    container.removeHandled(one);
    container.addPacket(one);
    container.withdraw(&leaver);
    EXPECT_TRUE(container.isEmpty());
    container.addPacket(one);
    container.nextPacket();
    container.failAll(Exception("gone"));
    container.addPacket(one);
    container.withdraw(&leaver);
    EXPECT_TRUE(container.isEmpty());
}

TEST_F(PacketContainerTest, WithdrawingFreesAPacketThatNobodyElseHolds) {
    const int leaver = 0;
    bool gone = false;
    auto* const packet = new TestPacket(gone);
    packet->setRequester(&leaver);
    container.addPacket(packet);
    container.withdraw(&leaver);
    EXPECT_TRUE(gone);
}

TEST_F(PacketContainerTest, AHandledPacketThatAnotherThreadHasTakenOutIsLeftAlone) {
    addAll();
    const PacketHandle<Packet> handled = container.nextPacket();
    container.removePacket(one);
    container.removeHandled(one);
    EXPECT_EQ(two, container.nextPacket().pointer());
    container.failAll(Exception("end"));
}

TEST_F(PacketContainerTest, NextPacketWaitsForAPacket) {
    std::atomic<Packet*> next = nullptr;
    std::thread worker([&] { next = container.nextPacket().pointer(); });
    container.addPacket(one);
    worker.join();
    EXPECT_EQ(one, next);
    container.removePacket(one);
}

struct Consumer : Thread {
    explicit Consumer(PacketContainer& queue) : container(queue) {}
    void run() override {
        started.count_down();
        while (const PacketHandle<Packet> packet = container.nextPacket(this)) {
            handled.push_back(packet.pointer());
            container.removePacket(packet.pointer());
            ++count;
        }
    }
    void interrupt() override { container.wakeConsumer(); }

    PacketContainer& container;
    std::latch started{1};
    std::vector<Packet*> handled;
    std::atomic<int> count = 0;
};

// One packet at a time: one that is overlooked is never followed by another.
TEST_F(PacketContainerTest, NoPacketIsOverlookedBetweenLookAndWait) {
    Consumer consumer(container);
    consumer.start();
    const Deadline deadline;
    for (int i = 1; i <= 10'000 && !deadline.passed(); ++i) {
        container.addPacket(one);
        while (consumer.count < i && !deadline.passed()) continue;
    }
    EXPECT_EQ(10'000, consumer.count);
    consumer.stop();
    consumer.join();
}

TEST_F(PacketContainerTest, AStoppedWorkerStopsWaiting) {
    Consumer consumer(container);
    consumer.start();
    consumer.started.wait();
    consumer.stop();
    consumer.join();
    EXPECT_TRUE(consumer.handled.empty());
}

TEST_F(PacketContainerTest, AStoppedWorkerStillGetsWhatIsQueued) {
    addAll();
    Consumer consumer(container);
    consumer.start();
    consumer.stop();
    consumer.join();
    EXPECT_EQ((std::vector{one, two, three}), consumer.handled);
}

TEST_F(PacketContainerTest, FailAllOfAnEmptyContainerReturnsAtOnce) {
    container.failAll(TeskException("lost"));
    EXPECT_EQ(Outcomes{}, listener.outcomes());
}

TEST_F(PacketContainerTest, FailAllReportsTheErrorInTheOrderOfTheQueueAndEmptiesIt) {
    container.addPacket(two);
    container.addPacket(three);
    container.addPacket(one);
    container.failAll(TeskConnectionErrorException("lost"));
    const std::string message = "TeskException: TeskConnectionErrorException: lost";
    EXPECT_EQ(
        (Outcomes{{"error", two, message}, {"error", three, message}, {"error", one, message}}),
        listener.outcomes());
    EXPECT_TRUE(container.isEmpty());
    EXPECT_EQ(before + 3, packet_counter);
}

TEST_F(PacketContainerTest, FailAllFreesAPacketThatNobodyElseHolds) {
    bool gone = false;
    container.addPacket(new TestPacket(gone));
    container.failAll(Exception("lost"));
    EXPECT_TRUE(gone);
}

// Directly behind the look whether there is any.
TEST_F(PacketContainerTest, FailAllLeavesAloneWhatIsTakenOutMeanwhile) {
    container.addPacket(one);
    atRelease(1, [this] { container.removePacket(one); });
    container.failAll(Exception("lost"));
    EXPECT_EQ(Outcomes{}, listener.outcomes());
}

TEST_F(PacketContainerTest, FailAllReportsToEveryListenerOfAPacket) {
    RecordingListener other;
    one->addListener(&other);
    container.addPacket(one);
    container.failAll(Exception("lost"));
    EXPECT_EQ((Outcomes{{"error", one, "lost"}}), listener.outcomes());
    EXPECT_EQ((Outcomes{{"error", one, "lost"}}), other.outcomes());
}

TEST_F(PacketContainerTest, FailAllTakesInWhatAListenerQueuesMeanwhile) {
    struct Requeueing : RecordingListener {
        void packetError(Packet* packet, const Exception& e) override {
            RecordingListener::packetError(packet, e);
            if (next != nullptr) container->addPacket(std::exchange(next, nullptr));
        }
        PacketContainer* container = nullptr;
        Packet* next = nullptr;
    } requeueing;
    requeueing.container = &container;
    requeueing.next = two;
    one->addListener(&requeueing);
    container.addPacket(one);
    container.failAll(Exception("lost"));
    EXPECT_EQ((Outcomes{{"error", one, "lost"}, {"error", two, "lost"}}), listener.outcomes());
    EXPECT_TRUE(container.isEmpty());
}

TEST_F(PacketContainerTest, FailAllGoesOnAfterAnEmptyListExceptionAndKeepsThatPacketsReferences) {
    struct Throwing : RecordingListener {
        void packetError(Packet*, const Exception&) override { throw EmptyListException(); }
    } throwing;
    one->addListener(&throwing);
    container.addPacket(one);
    container.addPacket(two);
    EXPECT_NO_THROW(container.failAll(Exception("lost")));
    EXPECT_EQ((Outcomes{{"error", one, "lost"}, {"error", two, "lost"}}), listener.outcomes());
    EXPECT_TRUE(container.isEmpty());
    EXPECT_EQ(before + 5, packet_counter);  // the queue's reference, and the one for the report
    Packet::put(one);
    Packet::put(one);
}

TEST_F(PacketContainerTest, AnyOtherExceptionOfAListenerLeavesFailAll) {
    struct Throwing : RecordingListener {
        void packetError(Packet*, const Exception&) override { throw TeskException("m"); }
    } throwing;
    one->addListener(&throwing);
    container.addPacket(one);
    container.addPacket(two);
    EXPECT_THROW(container.failAll(Exception("lost")), TeskException);
    EXPECT_EQ(two, container.nextPacket().pointer());
    container.removePacket(two);
    Packet::put(one);
    Packet::put(one);
}

TEST_F(PacketContainerTest, ClosingFailsWhatIsQueued) {
    container.addPacket(one);
    container.addPacket(two);
    container.closeContainer();
    EXPECT_EQ((Outcomes{{"error", one, "The receiver has been stopped"},
                        {"error", two, "The receiver has been stopped"}}),
              listener.outcomes());
    EXPECT_TRUE(container.isEmpty());
}

TEST_F(PacketContainerTest, AClosedContainerFailsWhatStillComes) {
    container.closeContainer();
    container.addPacket(one);
    EXPECT_EQ((Outcomes{{"error", one, "The receiver has been stopped"}}), listener.outcomes());
    EXPECT_TRUE(container.isEmpty());
    EXPECT_EQ(before + 3, packet_counter);
}

}  // namespace
}  // namespace teskd::test
