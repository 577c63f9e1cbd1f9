// The gateway's work on a controller: hosts, machines and the notification server are outside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "controller/Controller.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

constexpr std::chrono::seconds kLong{60};
constexpr char kMachine[] = "ZA000000001";

class ControllerService : public testing::Test {
  protected:
    ControllerService() { machine_.start(); }
    Config config() { return Controller::config({machine_.port()}, server_.port()); }
    bool known() { return machine_.journal().waitForAcknowledgements(1, kLong); }

    tesksim::Machine machine_{{.codeId = kMachine}};
    UdpPeer server_;
};

TEST_F(ControllerService, AHostGetsAMachinesCounters) {
    machine_.answers().setBody(113, "100~200~1~100~200~0");
    Controller controller(config());
    controller.boot();
    ASSERT_TRUE(known()) << controller.log();
    HostClient host = controller.host();
    host.request(1, named("\1", kMachine), 7, 8);
    const Frame answer = host.readFrame(kLong);
    EXPECT_EQ(0x81, answer.kind);
    EXPECT_EQ(7U, answer.identifierA);
    EXPECT_EQ(8U, answer.identifierB);
    EXPECT_TRUE(answer.checksumOk);
    EXPECT_BYTES(bytes("00 00 00 64 00 00 00 C8 00 01"), answer.body.substr(23, 10));
    EXPECT_TRUE(controller.powerOff());
    EXPECT_THAT(controller.console(), HasSubstr("controller: down"));
}

TEST_F(ControllerService, TheServerIsToldOfTheStart) {
    Controller controller(config());
    controller.boot();
    EXPECT_NO_THROW(Notifications(server_).take(1, kLong));
}

// The stamps of the installed software are on the flash.
TEST_F(ControllerService, NewSoftwareIsReportedOnceAndRememberedOverAPowerOff) {
    Controller controller(config().set("INTERNAL", "SW_UPDATE_B", "260101120000"));
    controller.boot();
    Notifications(server_).take(3, kLong);
    ASSERT_TRUE(controller.powerOff());
    controller.boot();
    EXPECT_THAT(controller.run("cat /config/.sw_update.ini"),
                HasSubstr("SW_UPDATE_A=260101120000"));
    Notifications after(server_);
    EXPECT_NO_THROW(after.take(1, kLong));
    EXPECT_FALSE(after.arrivesWithin(3, std::chrono::seconds(3)));
}

}  // namespace
}  // namespace teskd::test
