#include <gtest/gtest.h>

#include "notifyserver/NotificationServer.h"
#include "support/Bytes.h"
#include "support/UdpPeer.h"

namespace {

using notifyserver::Notification;
using notifyserver::NotificationServer;
using teskd::test::bytes;
using teskd::test::eventually;
using teskd::test::UdpPeer;

// Notification 1 without a text, with the identifiers 0 and 1.
std::string notification() {
    return bytes(
               "FF 81 02 FE 00 00 00 0D 00 00 00 00 00 00"
               "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 00 01 00 00 00 08") +
           "001-0008" + bytes("1C");
}

TEST(NotificationServer, AnswersWithoutATextAndKeepsWhatCame) {
    NotificationServer server;
    UdpPeer daemon;
    daemon.sendTo(server.port(), notification());
    EXPECT_BYTES(notification(), daemon.receive());
    EXPECT_TRUE(server.waitFor(1).has_value());
    EXPECT_EQ(1U, server.notifications().size());
    EXPECT_FALSE(server.waitFor(1, 2, std::chrono::milliseconds(0)).has_value());
    server.forget();
    EXPECT_TRUE(server.notifications().empty());
}

TEST(NotificationServer, AnswersWithTheTextThatWasSet) {
    NotificationServer server;
    server.setAnswer(
        1, [](const Notification& n) { return "A" + std::to_string(n.frame.identifierB); });
    UdpPeer daemon;
    daemon.sendTo(server.port(), notification());
    EXPECT_EQ("001-000B-A1", daemon.receive().substr(46, 11));
}

TEST(NotificationServer, TellsWhatIsWrongWithADatagram) {
    NotificationServer server;
    UdpPeer daemon;
    daemon.sendTo(server.port(), "junk");
    EXPECT_TRUE(eventually([&] { return server.problems().size() == 1; }));
    daemon.sendTo(server.port(), notification());
    EXPECT_BYTES(notification(), daemon.receive());
}

}  // namespace
