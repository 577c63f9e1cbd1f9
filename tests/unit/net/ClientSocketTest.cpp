#include <fcntl.h>
#include <gtest/gtest.h>

#include "core/Event.h"
#include "net/ClientAndPeer.h"
#include "net/ClientSocket.h"
#include "net/DatagramClientSocket.h"
#include "net/FullBacklog.h"
#include "support/UdpPeer.h"
#include "support_src/BlockedCall.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

const std::string kPrefix = "IOException: SocketException: ";

TEST(ClientSocket, ConstructionDoesNotConnect) {
    Listener listener;
    const StreamClientSocket client(localAddress(listener.port()), AF_INET);
    EXPECT_FALSE(client.isConnected());
    EXPECT_FALSE(listener.pendingWithin(std::chrono::milliseconds(50)));
}

TEST(ClientSocket, HasAnAddressOfZerosUnlessGivenOne) {
    StreamClientSocket client(AF_INET);
    EXPECT_EQ("0.0.0.0:0", client.getAddress());
    client.setAddress("10.0.0.1:23");
    EXPECT_EQ("10.0.0.1:23", client.getAddress());
}

TEST(ClientSocket, ConnectsToItsAddress) {
    Listener listener;
    StreamClientSocket client(AF_INET);
    client.setAddress(localAddress(listener.port()));
    client.connect();
    EXPECT_TRUE(client.isConnected());
    Connection peer = listener.accept();
    client.getOutputStream().write("out");
    EXPECT_EQ("out", peer.readExactly(3));
    peer.sendAll("in");
    char buffer[2];
    EXPECT_EQ(2, client.getInputStream().readFully(buffer, 2));
}

TEST(ClientSocket, AConnectedSocketBlocks) {
    ClientAndPeer pair;
    EXPECT_EQ(0, ::fcntl(pair.client.getDescriptor(), F_GETFL) & O_NONBLOCK);
}

TEST(ClientSocket, ARefusalNamesReasonAndAddress) {
    const std::string address = localAddress(freeTcpPort());
    StreamClientSocket client(address, AF_INET);
    EXPECT_EQ(kPrefix + "ConnectException: Connection refused: " + address,
              messageOf<ConnectException>([&] { client.connect(); }));
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(0, ::fcntl(client.getDescriptor(), F_GETFL) & O_NONBLOCK);
}

TEST(ClientSocket, AClosedSocketDoesNotConnect) {
    StreamClientSocket client("127.0.0.1:1", AF_INET);
    client.close();
    EXPECT_EQ(kPrefix + "ConnectException: Bad file descriptor: 127.0.0.1:1",
              messageOf<ConnectException>([&] { client.connect(); }));
}

TEST(ClientSocket, AnAsteriskOrNothingForTheHostIsUnknown) {
    for (const char* address : {"*:23", ":23"}) {
        StreamClientSocket client(address, AF_INET);
        EXPECT_EQ(kPrefix + "UnknownHostException: " + address,
                  messageOf<UnknownHostException>([&] { client.connect(); }));
    }
}

TEST(ClientSocket, AnAddressWithoutAColonIsUnknown) {
    StreamClientSocket client("10.0.0.1", AF_INET);
    EXPECT_EQ(kPrefix + "UnknownHostException: 10.0.0.1",
              messageOf<UnknownHostException>([&] { client.connect(); }));
}

TEST(ClientSocket, AHostOfTheOtherFamilyDoesNotConnect) {
    StreamClientSocket client("/:23", AF_INET);
    EXPECT_EQ(kPrefix + "ConnectException: Address family not supported by protocol: /:23",
              messageOf<ConnectException>([&] { client.connect(); }));
}

TEST(ClientSocket, DoesNotAcceptBindOrListen) {
    StreamClientSocket client(AF_INET);
    EXPECT_THROW(client.accept(), SocketOperationNotImplException);
    EXPECT_THROW(client.bind(), SocketOperationNotImplException);
    EXPECT_THROW(client.listen(), SocketOperationNotImplException);
}

TEST(ClientSocket, AStopEventEndsAConnectThatNobodyAnswers) {
    const FullBacklog full;
    Event stop;
    StreamClientSocket client(localAddress(full.port()), AF_INET);
    client.setInterrupt(&stop);
    BlockedCall connect([&] { return messageOf<ConnectException>([&] { client.connect(); }); });
    EXPECT_FALSE(connect.ended());
    stop.set();
    EXPECT_EQ(kPrefix + "ConnectException: Interrupted system call: " + client.getAddress(),
              connect.result());
    EXPECT_FALSE(client.isConnected());
}

TEST(ClientSocket, DatagramsGoToItsAddress) {
    UdpPeer server;
    DatagramClientSocket client(localAddress(server.port()), AF_INET);
    client.connect();
    EXPECT_TRUE(client.isConnected());
    client.getOutputStream().write("datagram");
    EXPECT_EQ("datagram", server.receive());
}

}  // namespace
}  // namespace teskd::test
