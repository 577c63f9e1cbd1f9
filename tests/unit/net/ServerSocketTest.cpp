#include <gtest/gtest.h>
#include <netinet/in.h>
#include <set>
#include <unistd.h>

#include "net/ServerSocket.h"
#include "net/StreamServerSocket.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support/ProcInfo.h"
#include "support_src/BlockedCall.h"
#include "support_src/LimitedDescriptors.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

const std::string kPrefix = "IOException: SocketException: ";

sockaddr_in boundTo(const Socket& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(socket.getDescriptor(), reinterpret_cast<sockaddr*>(&address), &size);
    return address;
}
std::uint16_t portOf(const Socket& socket) {
    return ntohs(boundTo(socket).sin_port);
}
std::string onLoopback(std::uint16_t port) {
    return "127.0.0.1:" + std::to_string(port);
}

TEST(ServerSocket, ListensFromConstruction) {
    const StreamServerSocket server("127.0.0.1:0", AF_INET);
    EXPECT_NO_THROW(Connection::to(portOf(server)));
}

TEST(ServerSocket, WithoutAnAddressItTakesEveryInterfaceAndAnyPort) {
    const StreamServerSocket server(AF_INET);
    EXPECT_EQ(htonl(INADDR_ANY), boundTo(server).sin_addr.s_addr);
    EXPECT_NO_THROW(Connection::to(portOf(server)));
}

TEST(ServerSocket, AnAsteriskOrNothingForTheHostIsEveryInterface) {
    for (const char* address : {"*:0", ":0"}) {
        const StreamServerSocket server(address, AF_INET);
        EXPECT_EQ(htonl(INADDR_ANY), boundTo(server).sin_addr.s_addr) << address;
        EXPECT_NO_THROW(Connection::to(portOf(server))) << address;
    }
}

TEST(ServerSocket, AnAsteriskKeepsThePort) {
    const std::uint16_t port = freeTcpPort();
    const StreamServerSocket server("*:" + std::to_string(port), AF_INET);
    EXPECT_EQ(port, portOf(server));
}

TEST(ServerSocket, AcceptsAConnectionAsASocketOfItsOwn) {
    StreamServerSocket server("127.0.0.1:0", AF_INET);
    Connection host = Connection::to(portOf(server));
    Socket connection = server.accept();
    EXPECT_NE(server.getDescriptor(), connection.getDescriptor());
    EXPECT_EQ("127.0.0.1:" + std::string(1, static_cast<char>(host.localPort() & 0xFF)),
              connection.getpeername());
    host.sendAll("in");
    EXPECT_EQ('i', connection.getInputStream().read());
    connection.getOutputStream().write("out");
    EXPECT_EQ("out", host.readExactly(3));
}

TEST(ServerSocket, GoesOnListeningBesideItsConnections) {
    StreamServerSocket server("127.0.0.1:0", AF_INET);
    Connection first = Connection::to(portOf(server));
    Connection second = Connection::to(portOf(server));
    Socket one = server.accept();
    Socket two = server.accept();
    second.sendAll("2");
    first.sendAll("1");
    EXPECT_EQ('1', one.getInputStream().read());
    EXPECT_EQ('2', two.getInputStream().read());
    one.close();
    EXPECT_NO_THROW(Connection::to(portOf(server)));
}

TEST(ServerSocket, AcceptWaitsForAConnection) {
    StreamServerSocket server("127.0.0.1:0", AF_INET);
    BlockedCall accept([&] {
        Socket connection = server.accept();
        return std::string("accepted");
    });
    EXPECT_FALSE(accept.ended());
    const Connection host = Connection::to(portOf(server));
    EXPECT_EQ("accepted", accept.result());
}

TEST(ServerSocket, AnAddressInUseIsABindError) {
    const Listener taken;
    EXPECT_EQ(
        kPrefix + "BindException: virtual void ServerSocket::bind()Address already in use",
        messageOf<BindException>([&] { StreamServerSocket(onLoopback(taken.port()), AF_INET); }));
}

TEST(ServerSocket, AForeignAddressIsABindError) {
    EXPECT_EQ(
        kPrefix + "BindException: virtual void ServerSocket::bind()Cannot assign requested address",
        messageOf<BindException>([] { StreamServerSocket("192.0.2.1:0", AF_INET); }));
}

TEST(ServerSocket, AnAddressWithoutAColonIsAnUnknownHost) {
    EXPECT_EQ(kPrefix + "UnknownHostException: 5001",
              messageOf<UnknownHostException>([] { StreamServerSocket("5001", AF_INET); }));
}

TEST(ServerSocket, ATypeThatCannotListenIsAnError) {
    EXPECT_EQ(
        kPrefix + "virtual void ServerSocket::listen()Operation not supported",
        messageOf<SocketException>([] { ServerSocket("127.0.0.1:0", AF_INET, SOCK_DGRAM, 0); }));
}

TEST(ServerSocket, AClosedListenerAcceptsNobody) {
    StreamServerSocket server("127.0.0.1:0", AF_INET);
    server.shutdown(SHUT_RDWR);
    EXPECT_EQ(kPrefix + "virtual Socket ServerSocket::accept()Invalid argument",
              messageOf<SocketException>([&] { server.accept(); }));
}

// Each descriptor that accept asks for is refused in turn.
TEST(ServerSocket, WithoutDescriptorsTheConnectionWaitsToBeAccepted) {
    StreamServerSocket server("127.0.0.1:0", AF_INET);
    Connection host = Connection::to(portOf(server));
    host.sendAll("in");
    const std::set<std::string> errors = {
        kPrefix + "Socket::Socket(const Socket&)Too many open files",
        kPrefix +
            "SocketOutputStream& SocketOutputStream::operator=(const SocketOutputStream&)"
            "Too many open files",
        kPrefix +
            "SocketInputStream& SocketInputStream::operator=(const SocketInputStream&)"
            "Too many open files",
        kPrefix + "virtual Socket ServerSocket::accept()Too many open files"};
    const std::size_t before = openDescriptors(::getpid());
    std::set<std::string> met;
    std::string message;
    int received = 0;
    for (auto limit = static_cast<rlim_t>(nextDescriptor()); message != "nothing was thrown";
         ++limit) {
        const LimitedDescriptors few(limit);
        message =
            messageOf<SocketException>([&] { received = server.accept().getInputStream().read(); });
        met.insert(message);
    }
    met.erase("nothing was thrown");
    EXPECT_EQ(errors, met);
    EXPECT_EQ('i', received);
    EXPECT_EQ(before, openDescriptors(::getpid()));
}

TEST(ServerSocket, AFailureLeavesNoDescriptorOpen) {
    const Listener taken;
    const std::size_t before = openDescriptors(::getpid());
    EXPECT_THROW(StreamServerSocket(onLoopback(taken.port()), AF_INET), BindException);
    EXPECT_EQ(before, openDescriptors(::getpid()));
}

TEST(ServerSocket, ItsAddressMayBeUsedAgain) {
    const StreamServerSocket server("127.0.0.1:0", AF_INET);
    int value = 0;
    socklen_t size = sizeof value;
    ::getsockopt(server.getDescriptor(), SOL_SOCKET, SO_REUSEADDR, &value, &size);
    EXPECT_EQ(1, value);
}

TEST(ServerSocket, DoesNotConnect) {
    StreamServerSocket server("127.0.0.1:0", AF_INET);
    EXPECT_EQ(kPrefix + "SocketOperationNotImplException: connect",
              messageOf<SocketOperationNotImplException>([&] { server.connect(); }));
}

// The side that closes first keeps the connection in TIME_WAIT.
TEST(ServerSocket, ListensAgainAtOnceAfterARestart) {
    std::uint16_t port = 0;
    {
        StreamServerSocket server("127.0.0.1:0", AF_INET);
        port = portOf(server);
        Connection host = Connection::to(port);
        server.accept().close();
        EXPECT_TRUE(host.closedByPeer());
    }
    const StreamServerSocket again(onLoopback(port), AF_INET);
    EXPECT_NO_THROW(Connection::to(port));
}

// Whether this machine has the other family at all.
bool inet6CanBeBound() {
    const UniqueFd socket(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    return socket.valid() &&
           ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) == 0;
}

TEST(ServerSocket, AHostWithASlashIsOfTheOtherFamily) {
    try {
        const StreamServerSocket server("/:0", AF_INET6);
        EXPECT_EQ(AF_INET6, boundTo(server).sin_family);
        EXPECT_NO_THROW(Connection::to(portOf(server)));
    } catch (const BindException& e) {
        EXPECT_FALSE(inet6CanBeBound()) << e.getMessage();
    }
}

}  // namespace
}  // namespace teskd::test
