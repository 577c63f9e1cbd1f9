// The daemon's way to the notification server, over a cable to another network.

#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/NetworkNamespace.h"

namespace teskd::test {
namespace {

// A daemon that asks for the time every second, and its server at 10.1.0.2.
class NotificationLink : public testing::Test {
  protected:
    NotificationLink() {
        here_.addCable("eth0", there_, "eth1");
        there_.addAddress("eth1", "10.1.0.2/24");
        there_.in([this] { server_ = UdpPeer(0, "10.1.0.2"); });
        daemon_.config().server(server_.port());
    }
    void TearDown() override { EXPECT_CLEAN_STOP(daemon_); }

    void start() {
        here_.in([this] { daemon_.start(); });
    }
    // The next question for the time, answered with what changes nothing.
    void awaitQuestion() { notifications_.answer(notifications_.take(1), 4, "-"); }

    NetworkNamespace here_;
    NetworkNamespace there_;
    UdpPeer server_;
    Notifications notifications_{server_};
    DaemonProcess daemon_{daemonOptions(), withoutMachines()
                                               .set("IP_ADDRESS", "IP_SERVER", "10.1.0.2")
                                               .set("RICH_ORA", "TOUT_ORA", "1")
                                               .polling(30, 30)};
};

TEST_F(NotificationLink, ThatIsNotThereYetAtTheStartLosesNothing) {
    start();
    EXPECT_TRUE(daemon_.log().waitFor("Cannot reach the notification server: "));
    here_.addAddress("eth0", "10.1.0.1/24");
    notifications_.answer(notifications_.take(2), 4, "-");
    awaitQuestion();
}

TEST_F(NotificationLink, GoesOnFromANewAddress) {
    here_.addAddress("eth0", "10.1.0.1/24");
    start();
    awaitQuestion();
    EXPECT_EQ("10.1.0.1", server_.senderHost());
    here_.removeAddress("eth0", "10.1.0.1/24");
    here_.addAddress("eth0", "10.1.0.9/24");
    const auto fromTheNewOne = [this] {
        awaitQuestion();
        return server_.senderHost() == "10.1.0.9";
    };
    EXPECT_TRUE(eventually(fromTheNewOne));
}

}  // namespace
}  // namespace teskd::test
