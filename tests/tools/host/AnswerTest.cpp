#include <gtest/gtest.h>

#include "host/CountersAnswer.h"
#include "host/DecodeError.h"
#include "host/ListAnswer.h"
#include "host/MachinesAnswer.h"
#include "host/MessageAnswer.h"
#include "host/TimesAnswer.h"
#include "host/ValueAnswer.h"
#include "host/VersionAnswer.h"
#include "support/Bytes.h"

namespace {

using namespace teskhost;
using teskd::test::bytes;

const std::string kMachineDate = "15.03.26" + std::string(3, '\0');

TEST(HostAnswer, Counters) {
    const std::string body =
        "21.11.26" + bytes("04 02 01") + kMachineDate +
        bytes("03 00 00 00 64 FF FF FF FF 00 0C 00 00 00 05 00 00 00 06 FF FF");
    const CountersAnswer answer = CountersAnswer::decode(body);
    EXPECT_EQ("21.11.26", answer.date);
    EXPECT_EQ(4, answer.machines);
    EXPECT_EQ(2, answer.number);
    EXPECT_EQ("15.03.26", answer.machineDate);
    EXPECT_EQ(3, answer.outcome);
    EXPECT_EQ((std::array<std::int32_t, 6>{100, -1, 12, 5, 6, 65535}), answer.items);
    EXPECT_THROW(CountersAnswer::decode(body + "x"), DecodeError);
    EXPECT_THROW(CountersAnswer::decode(body.substr(1)), DecodeError);
}

TEST(HostAnswer, List) {
    const std::string body = "21.11.26" + bytes("03 02") + kMachineDate + bytes("00 02") +
                             "CNTTOTIN" + bytes("00 02 01 FF FF FF FE 63 00 01 00 00") +
                             "NOTHING " + bytes("00 00");
    const ListAnswer answer = ListAnswer::decode(body);
    EXPECT_EQ(3, answer.pages);
    EXPECT_EQ(2, answer.page);
    ASSERT_EQ(2U, answer.entries.size());
    EXPECT_EQ("CNTTOTIN", answer.entries[0].name);
    EXPECT_EQ(-2, answer.entries[0].values.at(0).value);
    EXPECT_EQ(99, answer.entries[0].values.at(1).number);
    EXPECT_EQ(65536, answer.entries[0].values.at(1).value);
    EXPECT_TRUE(answer.entries[1].values.empty());
    EXPECT_THROW(ListAnswer::decode(body.substr(0, body.size() - 1)), DecodeError);
}

TEST(HostAnswer, Times) {
    const TimesAnswer answer =
        TimesAnswer::decode("21.11.26" + bytes("04 03 09 01") + kMachineDate + bytes("01") +
                            "OPENDOOR" + bytes("00 01 17 3B 05"));
    EXPECT_EQ(4, answer.pages);
    EXPECT_EQ(3, answer.page);
    EXPECT_EQ(9, answer.outcome);
    ASSERT_EQ(1U, answer.entries.size());
    EXPECT_EQ(23, answer.entries[0].values.at(0).first);
    EXPECT_EQ(59, answer.entries[0].values.at(0).second);
    EXPECT_EQ(5, answer.entries[0].values.at(0).digit);
}

TEST(HostAnswer, ValueAndText) {
    const std::string head = "21.11.26" + bytes("01 01 01") + kMachineDate + bytes("00");
    EXPECT_EQ(-2, ValueAnswer::decode(head + bytes("FF FF FF FE") + std::string(8, '\0')).value);
    EXPECT_EQ("A1B2C3D4", ValueAnswer::decode(head + bytes("00 00 00 00") + "A1B2C3D4").text);
}

TEST(HostAnswer, MessageWithTrailer) {
    const std::string text = "113~0125~15.03.26~ZN01~00~4711" + std::string(263, 'S') + "~TAIL";
    ASSERT_EQ(0x12AU, text.size());
    std::string right = text;
    right.replace(4, 4, "012A");
    const MessageAnswer answer = MessageAnswer::decode(bytes("00 00 01 2A") + right);
    EXPECT_EQ("4711", answer.message.body);
    EXPECT_TRUE(answer.message.trailer);
    EXPECT_THROW(MessageAnswer::decode(bytes("00 00 01 2A") + text), DecodeError);
}

TEST(HostAnswer, Version) {
    EXPECT_EQ("1.2", VersionAnswer::decode("1.2" + std::string(27, '\0')).version);
    EXPECT_EQ(std::string(30, 'v'), VersionAnswer::decode(std::string(30, 'v')).version);
    EXPECT_THROW(VersionAnswer::decode("1.2"), DecodeError);
}

TEST(HostAnswer, Machines) {
    const MachinesAnswer answer = MachinesAnswer::decode(
        bytes("02") + "ZA000000001" + bytes("03 00 00") + "SlotMachine" + bytes("04 00 01"));
    ASSERT_EQ(2U, answer.machines.size());
    EXPECT_EQ("ZA000000001", answer.machines[0].name);
    EXPECT_EQ(3, answer.machines[0].port);
    EXPECT_TRUE(answer.machines[0].known);
    EXPECT_FALSE(answer.machines[1].known);
}

}  // namespace
