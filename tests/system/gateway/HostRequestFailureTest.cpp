// Requests that no machine can answer.

#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "gateway/RestOfHeader.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

// A request frame with the header bytes of kRest.
Frame requestOf(std::uint8_t type, std::string body) {
    return Frame{.type = type,
                 .station = kRest.substr(0, 6),
                 .reserved = kRest.substr(6, 20),
                 .identifierA = 7,
                 .identifierB = 8,
                 .body = std::move(body)};
}

TEST(HostRequestFailure, AMachineThatNobodyKnowsIsAnsweredAtOnce) {
    Gateway gateway(1);
    gateway.startKnown();
    HostClient host = gateway.host();
    const std::string unknown = "ZA999999999";

    host.send(requestOf(1, bytes("01") + unknown));
    EXPECT_BYTES(bytes("FF FD 02 01  00 00 00 01") + kRest + bytes("B2"), readWire(host));
    host.send(requestOf(2, "CNT00001CNT99999" + unknown));
    EXPECT_BYTES(bytes("FF FD 02 02  00 00 00 01") + kRest + bytes("B3"), readWire(host));
    host.send(requestOf(3, bytes("00 01 00 02") + unknown));
    EXPECT_BYTES(bytes("FF FD 02 03  00 00 00 01") + kRest + bytes("B4"), readWire(host));
    host.send(requestOf(4, "08:00:0020:00:00" + bytes("01") + unknown));
    EXPECT_BYTES(bytes("FF FD 02 04  00 00 00 01") + kRest + bytes("B5"), readWire(host));
    host.send(requestOf(5, bytes("01") + unknown + bytes("76")));
    EXPECT_BYTES(bytes("FF FD 02 05  00 00 00 01") + kRest + bytes("B6"), readWire(host));
    host.send(requestOf(6, unknown + bytes("00 00 00 00") + "118~0008"));
    EXPECT_BYTES(bytes("FF FD 02 06  00 00 00 01") + kRest + bytes("B7"), readWire(host));
    EXPECT_EQ(1U, gateway.machine(1).journal().requests().size());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(HostRequestFailure, TheFixedNameOfAKnownMachineIsNotKnown) {
    Gateway gateway(1);
    gateway.startKnown();
    HostClient host = gateway.host();
    host.request(1, bytes("01") + "SlotMachine_1");
    EXPECT_EQ(0xFD, host.readFrame().kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(HostRequestFailure, SelectorZeroWithoutAnyKnownMachineIsAnsweredAtOnce) {
    Gateway gateway(1);
    gateway.machine(1).setFaults({.refuse = true});
    gateway.start();
    HostClient host = gateway.host();
    for (const int type : {1, 4, 5}) {
        host.request(static_cast<std::uint8_t>(type), std::string(28, '\0'));
        const Frame answer = host.readFrame();
        EXPECT_EQ(0xFD, answer.kind) << type;
        EXPECT_EQ("", answer.body) << type;
    }
    host.send(requestOf(8, ""));
    EXPECT_BYTES(bytes("FF 81 02 08  00 00 00 10") + kRest + bytes("01") + "SlotMachine" +
                     bytes("01 00 01  A6"),
                 readWire(host));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(HostRequestFailure, ABodyThatIsTooShortFailsAndReachesNoMachine) {
    Gateway gateway(1);
    gateway.startKnown();
    HostClient host = gateway.host();

    host.send(requestOf(1, ""));
    EXPECT_BYTES(bytes("FF AB 02 01  00 00 00 01") + kRest + bytes("60"), readWire(host));
    host.send(requestOf(2, std::string(15, '1')));
    EXPECT_BYTES(bytes("FF AB 02 02  00 00 00 01") + kRest + bytes("61"), readWire(host));
    host.send(requestOf(3, std::string(3, '1')));
    EXPECT_BYTES(bytes("FF AB 02 03  00 00 00 01") + kRest + bytes("62"), readWire(host));
    host.send(requestOf(5, std::string(12, '\0')));
    EXPECT_BYTES(bytes("FF AB 02 05  00 00 00 01") + kRest + bytes("64"), readWire(host));
    host.send(requestOf(6, "ZA000000001" + std::string(3, '\0')));
    EXPECT_BYTES(bytes("FF AB 02 06  00 00 00 01") + kRest + bytes("65"), readWire(host));
    EXPECT_EQ(1U, gateway.machine(1).journal().requests().size());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

class HostRequestFailureVersionText
    : public testing::TestWithParam<std::pair<const char*, std::string>> {};

TEST_P(HostRequestFailureVersionText, FillsThirtyBytes) {
    const auto& [version, answer] = GetParam();
    Gateway gateway(0, Config().set("INTERNAL", "ZQ_SW_VERSION", version));
    gateway.start();
    HostClient host = gateway.host();
    host.send(requestOf(7, ""));
    EXPECT_BYTES(bytes("FF 81 02 07  00 00 00 1F") + kRest + answer, readWire(host));
    host.send(requestOf(7, "a body that does not matter"));
    EXPECT_BYTES(answer.substr(0, 30), host.readFrame().body);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

INSTANTIATE_TEST_SUITE_P(Type7, HostRequestFailureVersionText,
                         testing::Values(std::pair{"2.10.3",
                                                   "2.10.3" + std::string(24, '\0') + bytes("7C")},
                                         std::pair{"1234567890123456789012345678901234",
                                                   "123456789012345678901234567890" + bytes("81")}),
                         [](const auto& test) { return test.index == 0 ? "Short" : "Long"; });

}  // namespace
}  // namespace teskd::test
