// The init script and the package under BusyBox, where everything is as on a controller: users,
// too.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "controller/Controller.h"
#include "gateway/AamsDialogue.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr int kNotRunning = 3;

class ControllerScript : public testing::Test {
  protected:
    ControllerScript() { controller_.boot(); }

    std::string order(const std::string& action) {
        return controller_.run("/etc/init.d/teskd " + action, std::chrono::seconds(60));
    }
    bool listens() {
        return eventually(
            [this] { return controller_.status("netstat -ltn | grep -q :5001") == 0; },
            std::chrono::seconds(30));
    }
    void runAs(const std::string& user) {
        controller_.run("echo RUN_AS=" + user + " >/etc/default/teskd");
        order("restart");
        ASSERT_TRUE(listens());
    }

    UdpPeer server_;
    Controller controller_{Controller::config({}, server_.port())};
};

TEST_F(ControllerScript, StartsReportsRestartsAndStops) {
    EXPECT_THAT(order("status"), HasSubstr("teskd is running"));
    const std::string before = controller_.pid();
    order("start");
    EXPECT_EQ(before, controller_.pid()) << "it runs already";
    order("restart");
    EXPECT_NE(before, controller_.pid());
    EXPECT_TRUE(listens());
    order("stop");
    EXPECT_EQ(0, controller_.status("[ ! -e /run/teskd.pid ]"));
    EXPECT_EQ("", controller_.run("pidof teskd || true"));
    EXPECT_EQ(kNotRunning, controller_.status("/etc/init.d/teskd status"));
}

TEST_F(ControllerScript, AsRootTheDaemonSetsTheClock) {
    HostClient host = controller_.host();
    host.request(kAamsType, aamsPayload(507, "-270203040506"));
    EXPECT_EQ("", host.readFrame(std::chrono::seconds(30)).body) << "the answer of success";
    EXPECT_THAT(controller_.run("date -u +%Y%m%d%H%M"), testing::StartsWith("202702030405"));
}

// BusyBox has no program that would leave an ordinary user the privilege to set the clock.
TEST_F(ControllerScript, AnOrdinaryUserServesWithoutSettingTheClock) {
    runAs("teskd");
    EXPECT_EQ(controller_.run("id -u teskd"),
              controller_.run("stat -c %u /proc/$(cat /run/teskd.pid)"));
    EXPECT_EQ(controller_.run("id -g teskd"), std::to_string(controller_.statusValue("Gid")));
    HostClient host = controller_.host();
    host.request(7, "");
    EXPECT_EQ(0x81, host.readFrame(std::chrono::seconds(30)).kind);
    EXPECT_EQ("507-0018-ffffffffff00-FF",
              ask(host, 507, "-270203040506", std::chrono::seconds(30)));
    EXPECT_EQ("-rw-------", controller_.run("ls -l /tmp/dump_map.ini | cut -c 1-10"));
    EXPECT_THAT(order("restart"), HasSubstr("unable to set the clock"));
}

// The user that the package made may write where the stamps are kept.
TEST_F(ControllerScript, AnOrdinaryUserKeepsTheStamps) {
    controller_.run("rm -f /config/.sw_update.ini");
    runAs("teskd");
    EXPECT_THAT(controller_.run("ls -l /config/.sw_update.ini"), HasSubstr("teskd"));
    EXPECT_THAT(controller_.log(), Not(HasSubstr("Cannot")));
}

// A daemon that cannot read its settings serves nobody but its own machine.
TEST_F(ControllerScript, AnOrdinaryUserTakesOverWhatADaemonOfRootLeft) {
    EXPECT_THAT(controller_.run("ls -l /config/.sw_update.ini"), HasSubstr("root"));
    runAs("teskd");
    EXPECT_THAT(controller_.log(), Not(HasSubstr("Cannot")));
    EXPECT_THAT(controller_.log(), Not(HasSubstr("Only this machine itself may connect")));
}

// By BusyBox's dpkg, which runs a package's scripts without telling them what for.
TEST_F(ControllerScript, AnUpgradeStartsTheNewDaemonOnTheOldSettings) {
    controller_.run("echo ZQ_MODEL=kept >>/etc/tesk_v2.ini");
    const std::string before = controller_.pid();
    controller_.run("dpkg -i /var/cache/packages/teskd_*.deb", std::chrono::seconds(60));
    ASSERT_TRUE(listens());
    EXPECT_NE(before, controller_.pid());
    EXPECT_EQ(1, std::stoi(controller_.run("pidof teskd | wc -w")));
    EXPECT_EQ("ZQ_MODEL=kept", controller_.run("tail -n 1 /etc/tesk_v2.ini"));
}

TEST_F(ControllerScript, AnUpgradeOfAStoppedServiceLeavesItStopped) {
    order("stop");
    controller_.run("dpkg -i /var/cache/packages/teskd_*.deb", std::chrono::seconds(60));
    EXPECT_EQ(kNotRunning, controller_.status("/etc/init.d/teskd status"));
}

TEST_F(ControllerScript, APurgeLeavesNothingOfTheServices) {
    controller_.run("dpkg -P teskd", std::chrono::seconds(60));
    EXPECT_EQ("", controller_.run("pidof teskd || true"));
    EXPECT_EQ("", controller_.run("ls /config/.sw_update.ini /tmp/dump_map.ini /usr/sbin/teskd "
                                  "/etc/tesk_v2.ini /run/teskd.* 2>/dev/null || true"));
    EXPECT_NE(0, controller_.status("id teskd"));
}

}  // namespace
}  // namespace teskd::test
