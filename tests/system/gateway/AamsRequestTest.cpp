// AAMS requests 501 to 507 over TCP. What a reply says about the time is matched by pattern.

#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

// What the machines of these tests answer to a poll.
constexpr char kReading1[] = "113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0";
constexpr char kReading2[] = "113~0034~15.03.21~ZA000000002~00~100~200~1~100~200~0";

// A request until its reply no longer has this result code.
std::string askUntilNot(HostClient& host, const std::string& result, int code,
                        const std::string& body) {
    std::string reply;
    eventually([&] {
        reply = ask(host, code, body);
        return reply.find(result) == std::string::npos;
    });
    return reply;
}

// A frame whose whole body is given; returns the reply.
Frame send(HostClient& host, const std::string& body) {
    host.request(kAamsType, body, 5, 6);
    return host.readFrame();
}

TEST(AamsRequest, AsBytes) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    const std::string rest =
        bytes("11 22 33 44 55 66") + std::string(20, '\x20') + bytes("00 00 00 07  00 00 00 08");
    host.sendRaw(bytes("FF 81 02 FE  00 00 00 0D") + rest + bytes("00 00 00 08") + "502-0008" +
                 bytes("15"));
    EXPECT_BYTES(bytes("FF 81 02 FE  00 00 00 1D") + rest + bytes("00 00 00 18") +
                     "502-0018-ffffffffff00-0B" + bytes("5E"),
                 readWire(host));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request501IdentifiesTheGateway) {
    Config config;
    config.set("INTERNAL", "MAC_ADDR_eth0", "00:1a:2B:03:04:05")
        .set("INTERNAL", "ZQ_MODEL", "BOX7")
        .set("INTERNAL", "SW_UPDATE_B", "211231235959");
    Gateway gateway(0, config);
    gateway.start();
    HostClient host = gateway.host();
    EXPECT_THAT(ask(host, 501),
                MatchesRegex("501-004D-001a2B030405-00-BOX7-<unknown-211231235959-ZEPH WLT-3-9-"
                             "[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request502ListsTheNewestReadingOfEveryMachine) {
    Gateway gateway(2);
    gateway.startKnown();
    HostClient host = gateway.host();
    ASSERT_TRUE(eventually([&] { return ask(host, 502).size() > 140; }));
    EXPECT_THAT(ask(host, 502),
                MatchesRegex("502-00AB-ffffffffff00-00-3-[0-9]{12}-" + std::string(kReading1) +
                             "-[0-9]{12}-" + kReading2 + "-[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request503ListsTheReadingsOfAMachineNewestFirst) {
    Gateway gateway(1);
    gateway.startKnown();
    HostClient host = gateway.host();
    EXPECT_THAT(askUntilNot(host, "-0C", 503, "-ZA000000001"),
                MatchesRegex("503-006A-ffffffffff00-00-04-[0-9]{12}-" + std::string(kReading1) +
                             "-[0-9]{12}"));
    EXPECT_EQ("503-0018-ffffffffff00-0C", ask(host, 503, "-ZA000000002"));
    EXPECT_EQ("503-0018-ffffffffff00-0C", ask(host, 503, "-"));

    gateway.machine(1).answers().setBody(113, "150~250~1~100~200~0");
    Notifications notifications(gateway.server());
    notifications.answer(notifications.take(2), 2, "-1!1!1!0");
    notifications.take(4);
    EXPECT_THAT(ask(host, 503, "-ZA000000001"),
                MatchesRegex("503-00AF-ffffffffff00-00-04-[0-9]{12}-"
                             "113~0034~15.03.21~ZA000000001~00~150~250~1~100~200~0-04-[0-9]{12}-" +
                             std::string(kReading1) + "-[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request504ListsTheFailedChecksOfTheNewestReading) {
    Gateway gateway(2);
    gateway.machine(2).answers().setBody(113, "10.5~200~1~10~200~0");
    gateway.startKnown();
    HostClient host = gateway.host();
    EXPECT_EQ("504-0018-ffffffffff00-0E", askUntilNot(host, "-0C", 504, "-ZA000000001"));
    EXPECT_EQ("504-0018-ffffffffff00-0C", ask(host, 504, "-ZA000000009"));
    EXPECT_THAT(askUntilNot(host, "-0C", 504, "-ZA000000002"),
                MatchesRegex("504-0074-ffffffffff00-00-3-32-39-40-[0-9]{12}-"
                             "113~0034~15.03.21~ZA000000002~00~10.5~200~1~10~200~0---[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request505ReturnsTheExternalParameters) {
    Config config;
    config.polling(30, 7).set("AAMS", "INVIO_APP_COLLEGATI", "0");
    Gateway gateway(0, config);
    gateway.start();
    HostClient host = gateway.host();
    EXPECT_THAT(ask(host, 505), MatchesRegex("505-002E-ffffffffff00-00-7!0!1!30-[0-9]{12}"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

struct Change {
    const char* body;        // of the request
    const char* parameters;  // as 505 then shows them
    const char* logged;
};

class AamsRequestChangedParameters : public testing::TestWithParam<Change> {};

TEST_P(AamsRequestChangedParameters, AreStoredUpToTheFirstBadField) {
    const auto& [body, parameters, logged] = GetParam();
    Gateway gateway(0, Config().polling(30, 7));
    gateway.start();
    HostClient host = gateway.host();
    const Frame reply = send(host, aamsPayload(506, body));
    EXPECT_EQ(0x81, reply.kind);
    EXPECT_EQ("", reply.body);
    EXPECT_TRUE(reply.checksumOk);
    EXPECT_THAT(ask(host, 505), HasSubstr("-ffffffffff00-00-" + std::string(parameters) + "-"));
    const auto line = gateway.log().waitFor("AAMS External parameters changed");
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(182, line->priority);
    EXPECT_EQ("AAMS External parameters changed: " + std::string(logged), line->text);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

std::string nameOfChange(const testing::TestParamInfo<Change>& info) {
    constexpr const char* kNames[] = {"AllFields",    "SecondBad",  "FirstBad",
                                      "ThirdMissing", "LastTooBig", "NoFields"};
    return kNames[info.index];
}

INSTANTIATE_TEST_SUITE_P(
    AamsRequest506, AamsRequestChangedParameters,
    testing::Values(
        Change{"-10!1!0!5", "10!1!0!5",
               "tmp_app_collegati = 10, invio_app_collegati = 1, invio_no_app_collegati = 0, "
               "tmp_app_accensione = 5"},
        Change{"-10!x", "10!1!1!30",
               "tmp_app_collegati = 10, invio_app_collegati = 1, invio_no_app_collegati = 1, "
               "tmp_app_accensione = 30"},
        Change{"-x!0!0!0", "7!1!1!30",
               "tmp_app_collegati = 7, invio_app_collegati = 1, invio_no_app_collegati = 1, "
               "tmp_app_accensione = 30"},
        Change{"-3!0!!9", "3!0!1!30",
               "tmp_app_collegati = 3, invio_app_collegati = 0, invio_no_app_collegati = 1, "
               "tmp_app_accensione = 30"},
        Change{"-3!0!2!2147483647", "3!0!1!30",
               "tmp_app_collegati = 3, invio_app_collegati = 0, invio_no_app_collegati = 1, "
               "tmp_app_accensione = 30"},
        Change{"-", "7!1!1!30",
               "tmp_app_collegati = 7, invio_app_collegati = 1, invio_no_app_collegati = 1, "
               "tmp_app_accensione = 30"}),
    nameOfChange);

// The time as it is: should the daemon ever be allowed to set the clock, nothing would change.
std::string now() {
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    std::strftime(text, sizeof text, "%y%m%d%H%M%S", &local);
    return text;
}

TEST(AamsRequest, Request507WithoutThePrivilegeSaysSo) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    const std::string date = now();
    EXPECT_EQ("507-0018-ffffffffff00-FF", ask(host, 507, "-" + date));
    const auto line = gateway.log().waitFor("Unable to set date and time");
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(180, line->priority);
    EXPECT_EQ("Unable to set date and time: ZqConfigException: Operation not permitted",
              line->text);
    const auto debug = gateway.log().waitFor("String date is: " + date.substr(0, 2) + " " +
                                             date.substr(2, 2) + " " + date.substr(4, 2));
    ASSERT_TRUE(debug.has_value()) << gateway.log().dump();
    EXPECT_EQ(183, debug->priority);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request507WithAYearOfTheLastCenturyIsRefused) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    EXPECT_EQ("507-0018-ffffffffff00-FF", ask(host, 507, "-991231235959"));
    EXPECT_TRUE(
        gateway.log().waitFor("Unable to set date and time: ZqConfigException: Invalid year"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, Request507WithATextThatIsNoDateDoesNothing) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    for (const char* text : {"-tomorrow, please", "-", "-12"}) {
        const Frame reply = send(host, aamsPayload(507, text));
        EXPECT_EQ(0x81, reply.kind) << text;
        EXPECT_EQ("", reply.body) << text;
    }
    EXPECT_EQ(0U, gateway.log().count("Unable to set date and time"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(AamsRequest, AnInvalidCodeIsReportedAndTheBodyComesBackUnchanged) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    for (const int code : {500, 508}) {
        const std::string body = aamsPayload(code, "-whatever");
        const Frame reply = send(host, body);
        EXPECT_EQ(0x81, reply.kind);
        EXPECT_BYTES(body, reply.body);
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_EQ("Invalid request code id: 500\nInvalid request code id: 508\n",
              gateway.daemon().standardError());
}

TEST(AamsRequest, AFrameOfGarbageDoesNotEndTheEngine) {
    Gateway gateway;
    gateway.start();
    HostClient host = gateway.host();
    EXPECT_EQ("", send(host, "").body);
    EXPECT_BYTES(bytes("00 00"), send(host, bytes("00 00")).body);
    EXPECT_BYTES("rubbish!", send(host, "rubbish!").body);
    EXPECT_BYTES(std::string(100, '\xFF'), send(host, std::string(100, '\xFF')).body);

    // Without a body these have nothing to work on.
    for (const int code : {503, 504, 506, 507}) {
        const Frame reply = send(host, aamsPayload(code, ""));
        EXPECT_EQ(0xAB, reply.kind) << code;
        EXPECT_EQ("", reply.body) << code;
    }
    EXPECT_THAT(ask(host, 505), HasSubstr("505-"));
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_EQ(
        "Invalid request code id: 0\nInvalid request code id: 0\n"
        "Invalid request code id: 0\nInvalid request code id: 0\n",
        gateway.daemon().standardError());
}

TEST(AamsRequest, ManyHostsAskAtOnce) {
    Gateway gateway;
    gateway.start();
    std::vector<HostClient> hosts;
    for (int i = 0; i < 20; ++i) hosts.push_back(gateway.host());
    for (int round = 0; round < 20; ++round) {
        for (HostClient& host : hosts) host.request(kAamsType, aamsPayload(501, ""), 1, 1);
    }
    for (HostClient& host : hosts) {
        for (int round = 0; round < 20; ++round) {
            EXPECT_THAT(aamsText(host.readFrame().body), HasSubstr("-ZEPH WLT-3-9-"));
        }
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
