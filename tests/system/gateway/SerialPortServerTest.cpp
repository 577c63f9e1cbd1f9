// The whole road with a real serial-port server and a pseudo-terminal between daemon and machine.

#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "support/Ser2net.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

// A daemon, a serial-port server and a machine on the far end of the line.
struct Line {
    explicit Line(Config config = {}, const std::string& before = "9600n81")
        : server(before),
          machine({.codeId = "ZC000000001", .tty = server.machineTty().string()}),
          gateway(0, config.serialPorts({server.port()})) {}

    void start() {
        machine.start();
        ASSERT_TRUE(machine.journal().waitForConnections(1));
        gateway.start();
    }

    Ser2net server;
    tesksim::Machine machine;
    Gateway gateway;
};

class SerialPortServer : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(Ser2net::available()) << "script/setup installs it"; }
};

TEST_F(SerialPortServer, APollMakesTheMachineKnownAndAHostIsAnswered) {
    Line line;
    line.start();
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1)) << line.server.output();
    EXPECT_EQ("113~0008150~000C~113", line.machine.journal().dataReceived());

    HostClient host = line.gateway.host();
    host.request(1, named("\1", "ZC000000001"));
    const Frame answer = host.readFrame();
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(100U, big32(answer.body, 23));

    // All eight kinds of request go through the same line.
    host.request(2, named("CNT00001CNT99999", "ZC000000001"));
    EXPECT_EQ(2, host.readFrame().body.at(22));
    host.request(6, named("", "ZC000000001", std::string(4, '\0') + "120~0008"));
    EXPECT_EQ("120~0025~15.03.21~ZC000000001~00~4711", host.readFrame().body.substr(4));
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

TEST_F(SerialPortServer, AnAnswerOfManyBytesComesThroughWhole) {
    Line line;
    std::string payload;
    for (int i = 0; i < 600; ++i) payload += (i == 0 ? "" : "~") + std::string("CNT00001~01=5");
    line.machine.answers().setBody(115, payload);
    line.start();
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1));
    HostClient host = line.gateway.host();
    host.request(2, named("CNT00001CNT99999", "ZC000000001"));
    for (const int entries : {255, 255, 90}) {
        EXPECT_EQ(entries, static_cast<unsigned char>(host.readFrame().body.at(22)));
    }
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

struct Settings {
    const char* baudrate;
    const char* stopsize;
    const char* flow;
    const char* before;  // what the line was set to
    speed_t speed;
    tcflag_t stopBits;  // of CSTOPB
    tcflag_t hardware;  // of CRTSCTS
    tcflag_t software;  // of IXON
};

class SerialPortServerLineSettings : public SerialPortServer,
                                     public testing::WithParamInterface<Settings> {};

TEST_P(SerialPortServerLineSettings, ReachTheLine) {
    const Settings& wanted = GetParam();
    Config config;
    config.set("PORT_ASYNC1", "BAUDRATE", wanted.baudrate)
        .set("PORT_ASYNC1", "STOPSIZE", wanted.stopsize)
        .set("PORT_ASYNC1", "FLOWCONTROL", wanted.flow);
    Line line(config, wanted.before);
    line.start();
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1)) << line.server.output();

    const termios settings = line.server.lineSettings();
    EXPECT_EQ(wanted.speed, cfgetospeed(&settings));
    EXPECT_EQ(wanted.speed, cfgetispeed(&settings));
    EXPECT_EQ(wanted.stopBits, settings.c_cflag & CSTOPB);
    EXPECT_EQ(wanted.hardware, settings.c_cflag & CRTSCTS);
    EXPECT_EQ(wanted.software, settings.c_iflag & IXON);
    EXPECT_EQ(static_cast<tcflag_t>(CS8), settings.c_cflag & CSIZE);
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

INSTANTIATE_TEST_SUITE_P(
    SerialPortServer, SerialPortServerLineSettings,
    testing::Values(Settings{"9600", "1", "No Flow", "19200n82,rtscts", B9600, 0, 0, 0},
                    Settings{"19200", "2", "No Flow", "9600n81", B19200, CSTOPB, 0, 0},
                    Settings{"38400", "1", "XON/XOFF", "9600n81", B38400, 0, 0, IXON},
                    Settings{"57600", "2", "CTS/RTS", "9600n81", B57600, CSTOPB, CRTSCTS, 0},
                    Settings{"115200", "1", "No Flow", "9600n81,xonxoff", B115200, 0, 0, 0}),
    [](const auto& test) { return std::string("At") + test.param.baudrate; });

// A pseudo-terminal keeps neither data size nor parity; the server's replies, which the daemon
// logs as unhandled, show that all five settings were taken.
TEST_F(SerialPortServer, EverySettingIsConfirmed) {
    Config config;
    config.set("PORT_ASYNC1", "DATASIZE", "7").set("PORT_ASYNC1", "PARITY", "EVEN");
    Line line(config);
    line.start();
    for (const char* reply :
         {"(101, 0x65)", "(102, 0x66)", "(103, 0x67)", "(104, 0x68)", "(105, 0x69)"}) {
        const auto found =
            line.gateway.log().waitFor("Un-handle Telnet : COM_PORT_OPTION" + std::string(reply));
        ASSERT_TRUE(found.has_value()) << reply << "\n" << line.gateway.log().dump();
        EXPECT_EQ(182, found->priority);
    }
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

// A server in the middle of a command takes nothing for data until the command ends, and a whole
// one sets the line to 1200 baud.
TEST_F(SerialPortServer, CommandsInAHostsRequestDoNotReachIt) {
    Line line;
    line.start();
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1)) << line.server.output();
    HostClient host = line.gateway.host();
    for (const char* const payload :
         {"FF FA", "FF FA 2C 01 00 00 04 B0 FF F0", "FF", "FF FF FF", "FF FF 31 FF"}) {
        host.request(6, named("", "ZC000000001", std::string(4, '\0') + bytes(payload)));
        EXPECT_EQ(0xAB, host.readFrame().kind) << payload;
        host.request(1, named("\1", "ZC000000001"));
        EXPECT_EQ(0x81, host.readFrame().kind) << payload;
    }
    const auto notice = line.gateway.log().waitFor(
        "A request for 'ZC000000001' was refused: "
        "it has a byte FF that is not one of a pair");
    ASSERT_TRUE(notice.has_value()) << line.gateway.log().dump();
    EXPECT_EQ(181, notice->priority);
    EXPECT_EQ(static_cast<speed_t>(B19200), line.server.speed());
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

TEST_F(SerialPortServer, APairOfTheCommandByteReachesTheMachineAsOneByte) {
    Line line;
    line.start();
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1)) << line.server.output();
    line.machine.journal().clear();
    HostClient host = line.gateway.host();
    const std::string payload = "120~000B~" + bytes("FF FF FF FF");
    host.request(6, named("", "ZC000000001", std::string(4, '\0') + payload));
    EXPECT_EQ(0x81, host.readFrame().kind);
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1));
    EXPECT_BYTES("120~000B~" + bytes("FF FF") + "150~000C~120",
                 line.machine.journal().dataReceived());
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

TEST_F(SerialPortServer, AnUnpluggedMachineIsATimeoutAndIsBackWhenPluggedIn) {
    Line line;
    line.start();
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(1));
    line.machine.stop();
    HostClient host = line.gateway.host();
    host.request(1, named("\1", "ZC000000001"));
    EXPECT_EQ(0xFE, host.readFrame(20s).kind);
    host.request(1, named("\1", "ZC000000001"));
    EXPECT_EQ(0xFD, host.readFrame().kind);

    line.machine.start();
    ASSERT_TRUE(line.machine.journal().waitForConnections(2));
    Notifications notifications(line.gateway.server());
    notifications.answer(notifications.take(2), 2, "-1!1!1!0");
    ASSERT_TRUE(line.machine.journal().waitForAcknowledgements(2)) << line.gateway.log().dump();
    host.request(1, named("\1", "ZC000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    EXPECT_CLEAN_STOP(line.gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
