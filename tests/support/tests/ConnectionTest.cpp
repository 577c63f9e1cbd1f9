#include <gtest/gtest.h>
#include <stdexcept>
#include <system_error>

#include "support/Bytes.h"
#include "support/Connection.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

TEST(Connection, CarriesBytesBothWays) {
    TcpPair pair;
    pair.client.sendAll("question");
    EXPECT_EQ("ques", pair.server.readExactly(4));
    EXPECT_EQ("tion", pair.server.readExactly(4));
    pair.server.sendByteByByte("answer");
    EXPECT_EQ("answer", pair.client.readExactly(6));
}

TEST(Connection, SendsMoreThanTheSocketsHold) {
    TcpPair pair;
    const std::string data(8 * 1024 * 1024, 'x');
    std::thread sender([&] {
        pair.client.sendAll(data);
        pair.client.shutdownWrite();
    });
    EXPECT_EQ(data.size(), pair.server.readUntilClosed().size());
    sender.join();
}

TEST(Connection, ReadingGivesUpAtTheDeadlineAndTellsWhatCame) {
    TcpPair pair;
    pair.client.sendAll("ab");
    try {
        pair.server.readExactly(3, 30ms);
        FAIL() << "no exception";
    } catch (const Timeout& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("61 62"));
    }
}

TEST(Connection, AnEarlyEndIsAnError) {
    TcpPair pair;
    pair.client.sendAll("ab");
    pair.client.close();
    EXPECT_THROW(pair.server.readExactly(3), std::runtime_error);
}

TEST(Connection, ClosedByPeerSeesEndAndResetButNotSilence) {
    TcpPair ended;
    EXPECT_FALSE(ended.server.closedByPeer(20ms));
    ended.client.sendAll("rest");
    ended.client.close();
    EXPECT_TRUE(ended.server.closedByPeer());

    TcpPair reset;
    reset.client.reset();
    EXPECT_TRUE(reset.server.closedByPeer());
}

TEST(Connection, AHalfClosedConnectionStillReceives) {
    TcpPair pair;
    pair.client.shutdownWrite();
    EXPECT_EQ("", pair.server.readUntilClosed());
    pair.server.sendAll("late");
    EXPECT_EQ("late", pair.client.readExactly(4));
}

TEST(Connection, AvailableDataIsReadWithoutWaiting) {
    TcpPair pair;
    EXPECT_FALSE(pair.server.readableWithin(0ms));
    EXPECT_EQ("", pair.server.readAvailable());
    pair.client.sendAll("abc");
    ASSERT_TRUE(pair.server.readableWithin(10s));
    EXPECT_EQ("abc", pair.server.readAvailable());
}

TEST(ConnectionListener, RefusesOnceClosed) {
    Listener listener;
    EXPECT_FALSE(listener.pendingWithin(0ms));
    Connection client = Connection::to(listener.port());
    EXPECT_TRUE(listener.pendingWithin(10s));
    EXPECT_EQ(client.localPort() != 0, listener.accept().isOpen());
    const std::uint16_t port = listener.port();
    listener.close();
    EXPECT_THROW(Connection::to(port), std::system_error);
    EXPECT_THROW(Connection::connectEventually(port, 30ms), Timeout);
}

TEST(ConnectionDeadline, EventuallyAsksUntilItIsTrueOrTooLate) {
    int asked = 0;
    EXPECT_TRUE(eventually([&] { return ++asked == 3; }));
    EXPECT_EQ(3, asked);
    EXPECT_FALSE(eventually([] { return false; }, 10ms));
    EXPECT_EQ(0ms, Deadline(0ms).left());
    EXPECT_GT(Deadline(1s).left(), 500ms);
}

}  // namespace
}  // namespace teskd::test
