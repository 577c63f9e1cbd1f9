#include <gtest/gtest.h>
#include <stdexcept>
#include <system_error>

#include "support/UdpPeer.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

TEST(UdpPeer, RepliesToTheLastSender) {
    UdpPeer server;
    UdpPeer client;
    EXPECT_THROW(server.reply("nobody asked"), std::logic_error);
    client.sendTo(server.port(), "question");
    EXPECT_EQ("question", server.receive());
    server.reply("answer");
    EXPECT_EQ("answer", client.receive());
}

TEST(UdpPeer, RepliesFromAnothersPort) {
    UdpPeer server;
    UdpPeer stranger;
    UdpPeer client;
    client.sendTo(server.port(), "question");
    server.receive();
    server.replyThrough(stranger, "unasked");
    EXPECT_EQ("unasked", client.receive());
    client.reply("who is there?");
    EXPECT_EQ("who is there?", stranger.receive());
}

TEST(UdpPeer, SilenceEndsAtTheDeadline) {
    UdpPeer peer;
    EXPECT_FALSE(peer.receiveWithin(10ms).has_value());
    EXPECT_THROW(peer.receive(10ms), Timeout);
}

TEST(UdpPeer, KeepsDatagramsApart) {
    UdpPeer server;
    UdpPeer client;
    client.sendTo(server.port(), "one");
    client.sendTo(server.port(), "");
    client.sendTo(server.port(), "three");
    EXPECT_EQ("one", server.receive());
    EXPECT_EQ("", server.receive());
    EXPECT_EQ("three", server.receive());
}

TEST(UdpPeer, WhileItRefusesNothingReachesItAndNobodyGetsItsPort) {
    const std::uint16_t port = [] { return UdpPeer().port(); }();
    UdpPeer server(port);
    UdpPeer client;
    server.setRefusing(true);
    client.sendTo(server.port(), "lost");
    EXPECT_FALSE(server.receiveWithin(10ms).has_value());
    EXPECT_THROW(UdpPeer{port}, std::system_error);
    server.setRefusing(false);
    client.sendTo(server.port(), "question");
    EXPECT_EQ("question", server.receive());
    server.reply("answer");
    EXPECT_EQ("answer", client.receive());
}

}  // namespace
}  // namespace teskd::test
