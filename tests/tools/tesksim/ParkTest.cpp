// The example scenarios at work, serial lines and the live view.

#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <termios.h>

#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "tesksim/LiveView.h"
#include "tesksim/Park.h"
#include "tesksim/Pty.h"

namespace teskd::test {
namespace {

using tesksim::Park;
using tesksim::Scenario;

// An example on ports that the kernel chooses.
Scenario example(const std::string& name) {
    Scenario scenario = Scenario::load(SCENARIOS + name);
    for (tesksim::MachineScenario& machine : scenario.machines) machine.options.port = 0;
    return scenario;
}

TEST(Park, TheExampleServesAGateway) {
    Park park(example("park.json"), {});
    park.start();
    EXPECT_EQ(std::nullopt, park.followSchedules());
    std::vector<std::uint16_t> ports;
    for (const auto& machine : park.machines()) ports.push_back(machine->port());
    DaemonProcess daemon(daemonOptions(), Config().serialPorts(ports));
    daemon.start();
    for (const auto& machine : park.machines()) {
        EXPECT_TRUE(machine->journal().waitForAcknowledgements(1)) << machine->codeId();
    }
    HostClient host(daemon.port());
    host.request(3, bytes("00 01 02 BC") + "ZB000000002", 1, 1);
    const Frame page = host.readFrame();
    EXPECT_EQ(0x81, page.kind);
    EXPECT_EQ("\3\1", page.body.substr(8, 2)) << "600 entries make three pages";
    host.request(6, "ZN000000003" + std::string(4, '\0') + "113~0008", 1, 2);
    Frame answer = host.readFrame();
    while (answer.identifierB != 2) answer = host.readFrame();
    EXPECT_EQ(2, answer.constant) << "the third machine signs its meters";
    EXPECT_EQ(std::string(268, 'S'), answer.body.substr(answer.body.size() - 268));
    EXPECT_CLEAN_STOP(daemon);
}

TEST(Park, TheExampleWithTroubleStartsWithAMachineThatRefuses) {
    Park park(example("trouble.json"), {});
    park.start();
    EXPECT_TRUE(park.followSchedules().has_value());
    EXPECT_FALSE(park.machines()[0]->faults().refuse);
    EXPECT_TRUE(park.machines()[1]->faults().refuse);
}

// A pseudo-terminal keeps speed and stop bits.
TEST(ParkSerialLine, IsSetOnTheDeviceThatAMachineSpeaksOn) {
    const tesksim::Pty device("");
    tesksim::Machine machine(
        {.tty = device.name(), .line = tesksim::SerialLine::parse("9600 8N2")});
    machine.start();
    ASSERT_TRUE(machine.journal().waitForConnections(1));
    termios settings{};
    ASSERT_EQ(0, ::tcgetattr(device.open().get(), &settings));
    EXPECT_EQ(B9600, ::cfgetospeed(&settings));
    EXPECT_NE(0U, settings.c_cflag & CSTOPB);
    EXPECT_EQ(0U, settings.c_lflag & (ECHO | ICANON));
}

std::string withoutTimes(const std::string& text) {
    return std::regex_replace(text, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2} "), "");
}

TEST(ParkLiveView, ATerminalShowsTheMachinesAboveTheLatestMessages) {
    std::ostringstream out;
    tesksim::LiveView view(out, true, {"ZA000000001", "ZB000000002"});
    view.setEndpoints({"port 2100", "tty /dev/ttyS0"});
    view.show(2, tesksim::Machine::Event::Connected, "");
    view.show(1, tesksim::Machine::Event::FaultsChanged, "silent, slow 500");
    out.str("");
    view.show(2, tesksim::Machine::Event::Asked, "113~0008\a");
    EXPECT_EQ(
        "\x1B[H\x1B[2J"
        "no machine     endpoint       line           received answered  fault\n"
        " 1 ZA000000001 port 2100      not connected         0        0  silent, slow 500\n"
        " 2 ZB000000002 tty /dev/ttyS0 connected             1        0  none\n"
        "\n"
        "2 ZB000000002 connected\n"
        "1 ZA000000001 fault: silent, slow 500\n"
        "2 ZB000000002 <- 113~0008\\x07\n",
        withoutTimes(out.str()));
}

TEST(ParkLiveView, ShowsThatAFaultHasEnded) {
    std::ostringstream out;
    tesksim::LiveView view(out, false, {"ZA000000001"});
    view.show(1, tesksim::Machine::Event::FaultsChanged, "deaf");
    view.show(1, tesksim::Machine::Event::FaultsChanged, "none");
    EXPECT_EQ("1 ZA000000001 fault: deaf\n1 ZA000000001 fault: none\n", withoutTimes(out.str()));
}

TEST(ParkFaults, AreDescribedInTheWordsOfTheConsole) {
    using namespace std::chrono_literals;
    EXPECT_EQ("none", tesksim::describe({}));
    EXPECT_EQ("silent", tesksim::describe({.silent = true}));
    EXPECT_EQ(
        "slow 500, dribble 20, length -3, cut 0",
        tesksim::describe({.delay = 500ms, .dribble = 20ms, .lengthError = -3, .closeAfter = 0}));
    EXPECT_EQ("garbage, repeat 0, only for 118",
              tesksim::describe({.onlyFor = 118, .garbageAfter = "x", .repeatAfter = 0ms}));
    EXPECT_EQ("garbage, refuses telnet options, refuse, deaf",
              tesksim::describe({.garbageBefore = "x",
                                 .negotiation = tesksim::Negotiation::Refuse,
                                 .refuse = true,
                                 .deaf = true}));
    EXPECT_EQ("ignores telnet options",
              tesksim::describe({.negotiation = tesksim::Negotiation::Mute}));
}

}  // namespace
}  // namespace teskd::test
