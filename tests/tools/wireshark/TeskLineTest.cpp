// The slot machines' messages and the telnet around them.

#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "wireshark/Tshark.h"

namespace teskd::test {
namespace {

using Side = CaptureFile::Side;

constexpr Side kGateway{2, 40000};
constexpr Side kMachine{3, 2100};

const std::vector<std::string> kFields = {"tesk.id",
                                          "tesk.length",
                                          "tesk.date",
                                          "tesk.code_id",
                                          "tesk.outcome",
                                          "tesk.body",
                                          "tesk.trailer",
                                          "tesk.payload",
                                          "tesk.padding",
                                          "tesk.request",
                                          "tesk.answer",
                                          "tesk.acknowledgement",
                                          "tesk.request_in",
                                          "tesk.answer_in",
                                          "tesk.acknowledges",
                                          "tesk.time",
                                          "tesk.junk",
                                          "tesk.telnet.command",
                                          "tesk.malformed",
                                          "tesk.telnet.option",
                                          "tesk.telnet.stray",
                                          "tesk.com_port.command",
                                          "tesk.com_port.baudrate",
                                          "tesk.telnet.value"};

// One connection.
class TeskLine : public testing::Test {
  protected:
    void toMachine(std::string_view data) { capture_.tcp(kGateway, kMachine, data); }
    void toGateway(std::string_view data) { capture_.tcp(kMachine, kGateway, data); }
    Shown shown() const { return tshark(capture_, kFields, {"-2"}); }

    CaptureFile capture_;
};

TEST_F(TeskLine, ShowsLineSettingsRequestAnswerAndAcknowledgement) {
    toMachine(bytes("FF FB 03 FF FB 2C"));
    toGateway(bytes("FF FD 03 FF FD 2C FF FA 2C 64 FF F0"));
    toMachine(bytes("FF FA 2C 01 00 00 25 80 FF F0 FF FA 2C 02 08 FF F0"));
    toGateway(bytes("FF FA 2C 65 00 00 25 80 FF F0 FF F1"));
    toMachine("115~001A~CNT00001~CNT99999");
    toGateway("115~0023~210315~XN42~00~A~01!100~B~");
    toMachine("150~000C~115");
    toMachine("50~0008" + std::string(1, '\0') + "113~0008");

    const Shown line = shown();

    EXPECT_EQ("tesk.telnet.command=0xfb|0xfb tesk.telnet.option=3|44", line.line(1));
    EXPECT_EQ(
        "tesk.com_port.command=100 tesk.telnet.command=0xfd|0xfd|0xfa tesk.telnet.option=3|44|44",
        line.line(2));
    EXPECT_EQ(
        "tesk.com_port.baudrate=9600 tesk.com_port.command=1|2 tesk.telnet.command=0xfa|0xfa "
        "tesk.telnet.option=44|44 tesk.telnet.value=08",
        line.line(3));
    EXPECT_EQ(
        "tesk.com_port.baudrate=9600 tesk.com_port.command=101 tesk.telnet.command=0xfa|0xf1 "
        "tesk.telnet.option=44",
        line.line(4));
    EXPECT_EQ(
        "tesk.answer_in=6 tesk.id=115 tesk.length=001A tesk.payload=CNT00001~CNT99999 "
        "tesk.request=1",
        line.line(5));
    EXPECT_EQ(
        "tesk.answer=1 tesk.body=A~01!100~B~ tesk.code_id=XN42 tesk.date=210315 tesk.id=115 "
        "tesk.length=0023 tesk.outcome=00 tesk.request_in=5 tesk.time=0.001000000",
        line.line(6));
    EXPECT_EQ(
        "tesk.acknowledgement=1 tesk.acknowledges=6 tesk.id=150 tesk.length=000C tesk.payload=115",
        line.line(7));
    EXPECT_EQ("tesk.id=50|113 tesk.length=0008|0008 tesk.padding=00 tesk.request=1|1",
              line.line(8));
}

// What a byte 0xFF is doubled to, and commands in the middle, are no part of the message.
TEST_F(TeskLine, AMessageIsFreeOfTelnetAndWholeHoweverItIsCut) {
    const std::string telnet = bytes("FF F1 FF FA 2C 6A 10 FF F0");
    const std::string answer = "118~0126~210315~ZP42~00~AB" + telnet + "\n\r" + telnet +
                               bytes("FF FF") + std::string(264, ' ') + bytes("FF FF");
    std::string trailer = "0a0dff";
    for (int i = 0; i < 264; ++i) trailer += "20";
    trailer += "ff";
    std::size_t packets = 0;
    for (std::size_t cut = 1; cut < 60; ++cut) {
        const Side gateway{2, static_cast<std::uint16_t>(40000 + cut)};
        capture_.tcp(gateway, kMachine, "118~0008");
        capture_.tcp(kMachine, gateway, answer.substr(0, cut));
        packets = capture_.tcp(kMachine, gateway, answer.substr(cut));
    }

    const Shown line = shown();

    ASSERT_EQ(packets, line.packets());
    for (std::size_t packet = 3; packet <= packets; packet += 3) {
        EXPECT_EQ("AB", line.at(packet, "tesk.body")) << packet;
        EXPECT_EQ(trailer, line.at(packet, "tesk.trailer"));
        EXPECT_EQ("", line.at(packet, "tesk.malformed"));
        EXPECT_EQ(std::to_string(packet - 2), line.at(packet, "tesk.request_in"));
    }
}

// It is not read anew with each of its segments, which would take minutes.
TEST_F(TeskLine, AMessageOfAMegabyteIsShownAtItsEnd) {
    const std::string body = bytes("FF FF") + std::string(0xFFFFF - 30, 'b');
    const std::string answer = "118~FFFFF~15.03.21~ZA42~00~" + bytes("FF FF FF FF") + body;
    for (std::size_t at = 0; at < answer.size(); at += 1460) {
        toGateway(std::string_view(answer).substr(at, 1460));
    }

    const Shown line = shown();

    EXPECT_EQ("118", line.at(line.packets(), "tesk.id"));
    EXPECT_EQ(0U, line.values("tesk.malformed").size());
}

TEST_F(TeskLine, AHeaderThatNothingButCommandsFollowIsNoMessage) {
    toGateway("113");
    std::string commands;
    for (int i = 0; i < 100; ++i) commands += bytes("FF F1");
    for (int i = 0; i < 30; ++i) toGateway(commands);
    toGateway("113~001C~15.03.21~ZA42~00~OK");

    const Shown line = shown();

    EXPECT_EQ("OK", line.at(line.packets(), "tesk.body"));
    EXPECT_EQ(1U, line.values("tesk.malformed").size());
}

TEST_F(TeskLine, NamesWhatAServerTellsAboutTheLine) {
    toGateway(bytes("FF FA 2C 6B 30 FF F0"));

    const Shown line = tshark(capture_, {kInfo, "tesk.telnet.value"});

    EXPECT_EQ("NOTIFY-MODEMSTATE (server)", line.at(1, kInfo));
    EXPECT_EQ("30", line.at(1, "tesk.telnet.value"));
}

TEST_F(TeskLine, WhatIsNoMessageIsMarkedAndTheNextSegmentShown) {
    toGateway("What is this?");
    toGateway("113~0007~");
    toGateway("113~FFFFFFFF~");
    toGateway("113~0015~no tilde her");
    toGateway(bytes("FF 41 FF F1"));
    toMachine("AB~0008");
    toGateway("113~001C~15.03.21~ZA42~00~OK");

    const Shown line = shown();

    EXPECT_EQ("this is no message", line.at(1, kExpertMessage));
    EXPECT_EQ("this is no message", line.at(2, kExpertMessage));
    EXPECT_EQ("this is no message", line.at(3, kExpertMessage));
    EXPECT_EQ("a \"~\" is missing", line.at(4, kExpertMessage));
    EXPECT_EQ("0xFF without a telnet command behind it", line.at(5, kExpertMessage));
    EXPECT_EQ("0xf1", line.at(5, "tesk.telnet.command"));
    EXPECT_EQ("this is no message", line.at(6, kExpertMessage));
    EXPECT_EQ("OK", line.at(7, "tesk.body"));
}

}  // namespace
}  // namespace teskd::test
