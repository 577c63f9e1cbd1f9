// The list of machines.

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <thread>

#include "HostLink.h"
#include "dorn/DornPacketType8.h"
#include "packet/PacketHandle.h"
#include "support/Bytes.h"
#include "support_src/ByteSink.h"

namespace teskd::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

std::string list(HostLink& link) {
    link.host().request(8, "ignored", 7, 8);
    const Frame answer = link.host().readFrame();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(8, answer.type);
    EXPECT_EQ(7U, answer.identifierA);
    EXPECT_EQ(8U, answer.identifierB);
    EXPECT_TRUE(answer.checksumOk);
    return answer.body;
}

TEST(DornPacketType8Test, WithoutMachinesTheListIsOneZeroByte) {
    HostLink link;
    EXPECT_BYTES(bytes("00"), list(link));
}

TEST(DornPacketType8Test, EveryKnownMachineHasARecordWithItsNameAndPort) {
    HostLink link(3);
    EXPECT_BYTES(bytes("03") + "ZA000000001" + bytes("01 00 00") + "ZA000000002" +
                     bytes("02 00 00") + "ZA000000003" + bytes("03 00 00"),
                 list(link));
}

TEST(DornPacketType8Test, ShortNamesAreFilledAndLongOnesCut) {
    HostLink link(2);
    link.machine(1).setCodeId("ZA1");
    link.machine(2).setCodeId("ZA0000000023456");
    link.host().request(1, bytes("00"));
    link.host().readFrame();
    link.host().readFrame();
    EXPECT_BYTES(bytes("02") + "ZA1" + bytes("00 00 00 00 00 00 00 00  01 00 00") + "ZA000000002" +
                     bytes("02 00 00"),
                 list(link));
}

TEST(DornPacketType8Test, AMachineThatNoLongerAnswersIsListedAsNotKnown) {
    HostLink link(2);
    link.machine(2).setFaults({.closeAfter = 5});
    link.host().request(1, bytes("01") + "ZA000000002");
    EXPECT_EQ(0xAB, link.host().readFrame().kind);
    EXPECT_BYTES(
        bytes("02") + "ZA000000001" + bytes("01 00 00") + "ZA000000002" + bytes("02 00 01"),
        list(link));
}

// The body of an answer of the controller's.
std::string listFrom(TeskController& controller) {
    const PacketHandle<DornPacketType8> packet(new DornPacketType8);
    packet->offer_to_controller(controller);
    ByteSink sink;
    packet->write(sink);
    return sink.bytes.substr(42);
}

TEST(DornPacketType8Test, AMachineThatNeverAnsweredIsListedUnderItsFixedNameCutAsNotKnown) {
    const KeptConfig config;
    KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", "1,300");
    TeskController controller;
    const PacketHandle<DornPacketType8> packet(new DornPacketType8);
    packet->offer_to_controller(controller);
    ByteSink sink;
    packet->write(sink);
    EXPECT_BYTES(
        bytes("02") + "SlotMachine" + bytes("01 00 01") + "SlotMachine" + bytes("2C 00 01"),
        sink.bytes.substr(42, 29));
}

// Two machines claim one CodeId in turn: at any moment one of them has it, and the list shows that.
TEST(DornPacketType8Test, AListThatARenameMeetsShowsTheNameOnceAndNotLessOften) {
    const KeptConfig config;
    KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", "1,2");
    TeskController controller;
    TeskMaster& first = *controller.get_machines().front();
    TeskMaster& second = *controller.get_machines().back();
    controller.bind(first, "ZA000000001");
    std::atomic<bool> over{false};
    std::jthread machines([&] {
        while (!over) {
            controller.bind(second, "ZA000000001");
            controller.bind(first, "ZA000000001");
        }
    });
    std::map<int, int> lists;  // by how often the name is in it
    for (int i = 0; i < 20000; ++i) {
        const std::string records = listFrom(controller);
        const bool isFirst = records.substr(1, 11) == "ZA000000001";
        const bool isSecond = records.substr(15, 11) == "ZA000000001";
        ++lists[int{isFirst} + int{isSecond}];
    }
    over = true;
    EXPECT_THAT(lists, ElementsAre(Pair(1, 20000)));
}

}  // namespace
}  // namespace teskd::test
