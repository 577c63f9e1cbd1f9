#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "TestPacket.h"
#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/Text.h"
#include "packet/Packet.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordingListener.h"

namespace teskd::test {
namespace {

using Outcomes = std::vector<Outcome>;

// The counter is shared by all tests of the process: they compare against where it stood.
class PacketTest : public testing::Test {
  protected:
    ~PacketTest() noexcept override { EXPECT_EQ(before, packet_counter); }

    const unsigned long before = packet_counter;
    bool deleted = false;
    TestPacket* const packet = new TestPacket(deleted);
    RecordingListener listener;
};

// The line that announces the end of a packet.
LogEntry freed(const Packet* packet, unsigned long counter) {
    return {183, "static void Packet::put(Packet*):94 This (" +
                     text::format("%p", static_cast<const void*>(packet)) +
                     ") packet is being freed. (packet_counter == " + std::to_string(counter) +
                     ")"};
}

const unsigned long atTheStart = packet_counter;

TEST_F(PacketTest, TheCounterStartsAtZero) {
    EXPECT_EQ(0U, atTheStart);
    delete packet;
}

TEST_F(PacketTest, GetAndPutCountAllPacketsTogether) {
    Packet other;
    Packet::get(packet);
    EXPECT_EQ(before + 1, packet_counter);
    Packet::get(&other);
    Packet::get(&other);
    EXPECT_EQ(before + 3, packet_counter);
    Packet::put(&other);
    EXPECT_EQ(before + 2, packet_counter);
    Packet::put(packet);
    EXPECT_EQ(before + 1, packet_counter);
    --packet_counter;  // `other` is no heap object: its last reference is never put
}

TEST_F(PacketTest, TheLastPutDeletesThePacket) {
    Packet::get(packet);
    Packet::get(packet);
    Packet::put(packet);
    EXPECT_FALSE(deleted);
    Packet::put(packet);
    EXPECT_TRUE(deleted);
}

TEST_F(PacketTest, TheLastPutIsLoggedWithTheCounterAfterIt) {
    LogRecorder log;
    bool otherDeleted = false;
    auto* const other = new TestPacket(otherDeleted);
    Packet::get(other);
    Packet::get(packet);
    Packet::put(packet);
    EXPECT_EQ((std::vector{freed(packet, before + 1)}), log.lines());
    log.clear();
    Packet::put(other);
    EXPECT_EQ((std::vector{freed(other, before)}), log.lines());
}

TEST_F(PacketTest, TheReleaseIsLoggedByTheSourceThatThePacketWasHanded) {
    const LogRecorder log;
    LogSource none(0);
    packet->setLog(none);
    Packet::get(packet);
    Packet::put(packet);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(std::vector<LogEntry>{}, log.lines());
    EXPECT_TRUE(none.hasUnreported());
}

TEST_F(PacketTest, APutThatLeavesReferencesIsNotLogged) {
    const LogRecorder log;
    Packet::get(packet);
    Packet::get(packet);
    Packet::put(packet);
    EXPECT_EQ(std::vector<LogEntry>{}, log.lines());
    Packet::put(packet);
}

TEST_F(PacketTest, MayBeReleasedOnAnyThread) {
    for (int i = 0; i < 1000; ++i) Packet::get(packet);
    const auto putHalf = [this] {
        for (int i = 0; i < 500; ++i) Packet::put(packet);
    };
    std::thread first(putHalf);
    std::thread second(putHalf);
    first.join();
    second.join();
    EXPECT_TRUE(deleted);
}

TEST_F(PacketTest, HasNoAnswerTimeoutUntilItIsSet) {
    const std::unique_ptr<Packet> owner(packet);
    EXPECT_EQ(0U, packet->getAnswerTimeout());
    packet->setAnswerTimeout(300000);
    EXPECT_EQ(300000U, packet->getAnswerTimeout());
    packet->setAnswerTimeout(4294967295U);
    EXPECT_EQ(4294967295U, packet->getAnswerTimeout());
}

// Listeners that share one list, so that it shows their order.
class NamedListener : public PacketEventListener {
  public:
    NamedListener(std::string name, std::vector<std::string>& calls)
        : name_(std::move(name)), calls_(calls) {}

    void packetCompleted(Packet*) override { calls_.push_back(name_ + " completed"); }
    void packetFailed(Packet*) override { calls_.push_back(name_ + " failed"); }
    void packetError(Packet*, const Exception& e) override {
        calls_.push_back(name_ + " error " + e.getMessage());
    }

  private:
    const std::string name_;
    std::vector<std::string>& calls_;
};

TEST_F(PacketTest, TellsItsListenersInTheOrderOfRegistration) {
    const std::unique_ptr<Packet> owner(packet);
    std::vector<std::string> calls;
    NamedListener one("one", calls);
    NamedListener two("two", calls);
    Packet::get(packet);
    packet->addListener(&two);
    packet->addListener(&one);
    packet->notifyCompleted();
    packet->notifyFailed();
    packet->notifyError(TeskException("lost"));
    EXPECT_EQ((std::vector<std::string>{"two completed", "one completed", "two failed",
                                        "one failed", "two error TeskException: lost",
                                        "one error TeskException: lost"}),
              calls);
    --packet_counter;  // the reference goes with the owner
}

TEST_F(PacketTest, EachNotificationCallsItsOwnOperationWithThePacket) {
    Packet::get(packet);
    packet->addListener(&listener);
    packet->notifyCompleted();
    packet->notifyFailed();
    packet->notifyError(Exception("m"));
    EXPECT_EQ((Outcomes{{"completed", packet}, {"failed", packet}, {"error", packet, "m"}}),
              listener.outcomes());
    Packet::put(packet);
}

TEST_F(PacketTest, TheErrorKeepsItsClass) {
    struct Catcher : RecordingListener {
        void packetError(Packet*, const Exception& e) override { error = &e; }
        const Exception* error = nullptr;
    } catcher;
    Packet::get(packet);
    packet->addListener(&catcher);
    const ReadTimeoutException error("m");
    packet->notifyError(error);
    EXPECT_EQ(&error, catcher.error);
    Packet::put(packet);
}

TEST_F(PacketTest, AListenerRegisteredTwiceIsToldTwice) {
    Packet::get(packet);
    packet->addListener(&listener);
    packet->addListener(&listener);
    packet->notifyFailed();
    EXPECT_EQ((Outcomes{{"failed", packet}, {"failed", packet}}), listener.outcomes());
    Packet::put(packet);
}

TEST_F(PacketTest, RemovingAListenerRemovesEveryRegistration) {
    RecordingListener other;
    Packet::get(packet);
    for (auto* each : {&listener, &other, &listener}) packet->addListener(each);
    packet->removeListener(&listener);
    packet->notifyCompleted();
    EXPECT_EQ(Outcomes{}, listener.outcomes());
    EXPECT_EQ((Outcomes{{"completed", packet}}), other.outcomes());
    Packet::put(packet);
}

TEST_F(PacketTest, ANotificationWithoutListenersHasNoEffect) {
    Packet::get(packet);
    packet->notifyCompleted();
    EXPECT_FALSE(deleted);
    EXPECT_EQ(before + 1, packet_counter);
    Packet::put(packet);
}

TEST_F(PacketTest, ANotificationHoldsItsOwnReference) {
    struct Reader : RecordingListener {
        void packetCompleted(Packet*) override { seen = packet_counter; }
        unsigned long seen = 0;
    } reader;
    Packet::get(packet);
    packet->addListener(&reader);
    packet->notifyCompleted();
    EXPECT_EQ(before + 2, reader.seen);
    EXPECT_EQ(before + 1, packet_counter);
    Packet::put(packet);
}

// Drops the reference that the packet's owner held.
struct LettingGo : RecordingListener {
    explicit LettingGo(const bool& flag) : deleted(flag) {}
    void packetCompleted(Packet* told) override {
        Packet::put(told);
        stillThere = !deleted;
    }
    const bool& deleted;
    bool stillThere = false;
};

TEST_F(PacketTest, AListenerMayDropTheLastReference) {
    LettingGo first(deleted);
    Packet::get(packet);
    packet->addListener(&first);
    packet->addListener(&listener);
    const Packet* const address = packet;
    packet->notifyCompleted();
    EXPECT_TRUE(first.stillThere);
    EXPECT_EQ((Outcomes{{"completed", address}}), listener.outcomes());
    EXPECT_TRUE(deleted);
}

TEST_F(PacketTest, TheListenerListIsUnlockedWhileAListenerRuns) {
    struct Registering : RecordingListener {
        void packetCompleted(Packet* told) override {
            std::thread([&] { told->addListener(&added); }).join();
        }
        RecordingListener added;
    } registering;
    Packet::get(packet);
    packet->addListener(&registering);
    packet->notifyCompleted();
    packet->notifyFailed();
    EXPECT_EQ((Outcomes{{"failed", packet}}), registering.added.outcomes());
    Packet::put(packet);
}

TEST_F(PacketTest, AListenerMayRemoveItself) {
    struct Once : RecordingListener {
        void packetCompleted(Packet* told) override {
            told->removeListener(this);
            RecordingListener::packetCompleted(told);
        }
    } once;
    Packet::get(packet);
    packet->addListener(&once);
    packet->addListener(&listener);
    packet->notifyCompleted();
    packet->notifyCompleted();
    EXPECT_EQ(1U, once.outcomes().size());
    EXPECT_EQ(2U, listener.outcomes().size());
    Packet::put(packet);
}

TEST_F(PacketTest, AListenerThatThrowsLeavesNeitherLockNorReferenceBehind) {
    struct Throwing : RecordingListener {
        void packetCompleted(Packet*) override { throw TeskException("m"); }
    } throwing;
    Packet::get(packet);
    packet->addListener(&throwing);
    EXPECT_THROW(packet->notifyCompleted(), TeskException);
    EXPECT_EQ(before + 1, packet_counter);
    std::thread([&] { packet->addListener(&listener); }).join();
    Packet::put(packet);
    EXPECT_TRUE(deleted);
}

TEST_F(PacketTest, LeavesItsListenersAloneWhenItGoes) {
    Packet::get(packet);
    packet->addListener(&listener);
    Packet::put(packet);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(Outcomes{}, listener.outcomes());
}

}  // namespace
}  // namespace teskd::test
