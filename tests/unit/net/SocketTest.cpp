#include <csignal>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <set>
#include <unistd.h>

#include "core/Event.h"
#include "net/ClientAndPeer.h"
#include "net/Socket.h"
#include "support/Bytes.h"
#include "support/ProcInfo.h"
#include "support_src/BlockedCall.h"
#include "support_src/LimitedDescriptors.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;
using Sockets = std::list<Socket*>;

const std::string kPrefix = "IOException: SocketException: ";
const std::string kSelect =
    kPrefix +
    "static void Socket::select(std::list<Socket*, std::allocator<Socket*> >&, "
    "std::list<Socket*, std::allocator<Socket*> >&, "
    "std::list<Socket*, std::allocator<Socket*> >&, timeval*)";

Socket tcpSocket() {
    return {AF_INET, SOCK_STREAM, 0};
}

TEST(Socket, HasThreeDescriptorsUntilItGoes) {
    const std::size_t before = openDescriptors(::getpid());
    {
        const Socket socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_EQ(before + 3, openDescriptors(::getpid()));
        const Socket copy(socket);
        EXPECT_EQ(before + 6, openDescriptors(::getpid()));
    }
    EXPECT_EQ(before, openDescriptors(::getpid()));
}

TEST(Socket, ItsDescriptorsAreClosedOnExec) {
    const Socket socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(socket.getDescriptor(), F_GETFD));
    const Socket copy(socket);
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(copy.getDescriptor(), F_GETFD));
}

TEST(Socket, AnImpossibleSocketIsAnError) {
    EXPECT_EQ(kPrefix + "void Socket::initAttributes()Address family not supported by protocol",
              messageOf<SocketException>([] { Socket(9999, SOCK_STREAM, 0); }));
}

// Each descriptor that a socket asks for is refused in turn.
TEST(Socket, WithoutDescriptorsNothingIsBuiltAndNothingIsLeft) {
    const std::set<std::string> errors = {
        kPrefix + "void Socket::initAttributes()Too many open files",
        kPrefix +
            "SocketOutputStream& SocketOutputStream::operator=(const SocketOutputStream&)"
            "Too many open files",
        kPrefix +
            "SocketInputStream& SocketInputStream::operator=(const SocketInputStream&)"
            "Too many open files"};
    const std::size_t before = openDescriptors(::getpid());
    std::set<std::string> met;
    std::string message;
    for (auto limit = static_cast<rlim_t>(nextDescriptor()); message != "nothing was thrown";
         ++limit) {
        const LimitedDescriptors few(limit);
        message = messageOf<SocketException>([] { tcpSocket(); });
        met.insert(message);
    }
    met.erase("nothing was thrown");
    EXPECT_EQ(errors, met);
    EXPECT_EQ(before, openDescriptors(::getpid()));
}

TEST(Socket, SigpipeHasAHandler) {
    tcpSocket();
    struct sigaction action {};
    ::sigaction(SIGPIPE, nullptr, &action);
    EXPECT_NE(SIG_DFL, action.sa_handler);
    EXPECT_NE(SIG_IGN, action.sa_handler);
    EXPECT_EQ(0, ::raise(SIGPIPE));
}

TEST(Socket, WhatOnlyServersOrClientsDoIsNotImplemented) {
    Socket socket = tcpSocket();
    const std::string prefix = kPrefix + "SocketOperationNotImplException: ";
    using Error = SocketOperationNotImplException;
    EXPECT_EQ(prefix + "accept", messageOf<Error>([&] { socket.accept(); }));
    EXPECT_EQ(prefix + "bind", messageOf<Error>([&] { socket.bind(); }));
    EXPECT_EQ(prefix + "connect", messageOf<Error>([&] { socket.connect(); }));
    EXPECT_EQ(prefix + "listen", messageOf<Error>([&] { socket.listen(); }));
}

TEST(Socket, ACopySharesTheConnectionAndOutlivesTheOriginal) {
    ClientAndPeer pair;
    Socket copy(pair.client);
    EXPECT_NE(pair.client.getDescriptor(), copy.getDescriptor());
    pair.client.close();
    copy.getOutputStream().write("out");
    EXPECT_EQ("out", pair.peer.readExactly(3));
    pair.peer.sendAll("i");
    EXPECT_EQ('i', copy.getInputStream().read());
}

TEST(Socket, ACopyKeepsTheReadTimeout) {
    Socket socket = tcpSocket();
    socket.getInputStream().setTimeout(123);
    EXPECT_EQ(123, Socket(socket).getInputStream().getTimeout());
}

TEST(Socket, AClosedSocketCannotBeCopied) {
    Socket socket = tcpSocket();
    socket.close();
    EXPECT_EQ(kPrefix + "Socket::Socket(const Socket&)Bad file descriptor",
              messageOf<SocketException>([&] { Socket{socket}; }));
}

TEST(Socket, AssignmentClosesTheOldConnectionAndSharesTheNewOne) {
    ClientAndPeer old;
    ClientAndPeer next;
    static_cast<Socket&>(old.client) = next.client;
    EXPECT_TRUE(old.peer.closedByPeer());
    old.client.getOutputStream().write("x");
    EXPECT_EQ("x", next.peer.readExactly(1));
}

TEST(Socket, AssignmentKeepsItsOwnTimeoutAndStopEvent) {
    ClientAndPeer old;
    ClientAndPeer next;
    Event own;
    Event others;
    old.client.setInterrupt(&own);
    next.client.setInterrupt(&others);
    old.client.getInputStream().setTimeout(77);
    static_cast<Socket&>(old.client) = next.client;
    EXPECT_EQ(77, old.client.getInputStream().getTimeout());
    others.set();
    next.peer.sendAll("x");
    EXPECT_EQ('x', old.client.getInputStream().read());
    own.set();
    EXPECT_EQ(kPrefix + "void SocketInputStream::wait_for_data()Interrupted system call",
              messageOf<SocketException>([&] { old.client.getInputStream().read(); }));
}

TEST(Socket, AssignmentToItselfChangesNothing) {
    ClientAndPeer pair;
    Socket& same = pair.client;
    same = pair.client;
    pair.client.getOutputStream().write("x");
    EXPECT_EQ("x", pair.peer.readExactly(1));
}

TEST(Socket, AClosedSocketCannotBeAssigned) {
    Socket closed = tcpSocket();
    closed.close();
    Socket socket = tcpSocket();
    EXPECT_EQ(kPrefix + "Socket& Socket::operator=(const Socket&)Bad file descriptor",
              messageOf<SocketException>([&] { socket = closed; }));
}

TEST(Socket, ClosingTellsThePeerAndForgetsTheDescriptor) {
    ClientAndPeer pair;
    pair.client.close();
    EXPECT_EQ(-1, pair.client.getDescriptor());
    EXPECT_TRUE(pair.peer.closedByPeer());
}

TEST(Socket, ClosingTwiceIsAnErrorOfTheOutputStream) {
    Socket socket = tcpSocket();
    socket.close();
    EXPECT_EQ(kPrefix + "virtual void SocketOutputStream::close()Bad file descriptor",
              messageOf<SocketException>([&] { socket.close(); }));
}

TEST(Socket, ADescriptorThatSomebodyElseClosedIsAnErrorOfClose) {
    Socket socket = tcpSocket();
    ::close(socket.getDescriptor());
    EXPECT_EQ(kPrefix + "virtual void Socket::close()Bad file descriptor",
              messageOf<SocketException>([&] { socket.close(); }));
}

TEST(Socket, ShutdownEndsOneDirection) {
    ClientAndPeer pair;
    pair.client.shutdown(SHUT_WR);
    EXPECT_EQ("", pair.peer.readUntilClosed());
    pair.peer.sendAll("x");
    EXPECT_EQ('x', pair.client.getInputStream().read());
}

TEST(Socket, ShutdownWithoutAConnectionIsAnError) {
    EXPECT_EQ(kPrefix + "virtual void Socket::shutdown(int)Transport endpoint is not connected",
              messageOf<SocketException>([] { tcpSocket().shutdown(SHUT_RDWR); }));
}

TEST(Socket, NamesEndInTheLowEightBitsOfThePort) {
    ClientAndPeer pair;
    const auto text = [](std::uint16_t port) {
        return "127.0.0.1:" + std::string(1, static_cast<char>(port & 0xFF));
    };
    sockaddr_in own{};
    socklen_t size = sizeof own;
    ::getsockname(pair.client.getDescriptor(), reinterpret_cast<sockaddr*>(&own), &size);
    EXPECT_EQ(text(pair.listener.port()), pair.client.getpeername());
    EXPECT_EQ(text(ntohs(own.sin_port)), pair.client.getsockname());
}

TEST(Socket, WithoutAConnectionThePeerHasNoName) {
    EXPECT_EQ(kPrefix + "std::string Socket::getpeername()Transport endpoint is not connected",
              messageOf<SocketException>([] { tcpSocket().getpeername(); }));
}

TEST(Socket, AClosedSocketHasNoName) {
    Socket socket = tcpSocket();
    socket.close();
    EXPECT_EQ(kPrefix + "std::string Socket::getsockname()Bad file descriptor",
              messageOf<SocketException>([&] { socket.getsockname(); }));
}

TEST(Socket, AnotherFamilyHasNoName) {
    Socket socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(kPrefix + "Unknown Address Family",
              messageOf<SocketException>([&] { socket.getsockname(); }));
}

TEST(Socket, OptionsAreThoseOfTheTcpLevel) {
    Socket socket = tcpSocket();
    int value = -1;
    socket.getsockopt(TCP_NODELAY, value);
    EXPECT_EQ(0, value);
    socket.setsockopt(TCP_NODELAY, 1);
    socket.getsockopt(TCP_NODELAY, value);
    EXPECT_EQ(1, value);
}

TEST(Socket, AnUnknownOptionIsAnError) {
    Socket socket = tcpSocket();
    int value = 0;
    EXPECT_EQ(kPrefix + "void Socket::getsockopt(int, int&)Protocol not available",
              messageOf<SocketException>([&] { socket.getsockopt(9999, value); }));
    EXPECT_EQ(kPrefix + "void Socket::setsockopt(int, int)Protocol not available",
              messageOf<SocketException>([&] { socket.setsockopt(9999, 1); }));
}

TEST(Socket, ThePendingErrorIsTakenOnce) {
    ClientAndPeer pair;
    pair.peer.reset();
    pollfd hangup{pair.client.getDescriptor(), POLLIN, 0};
    ASSERT_EQ(1, ::poll(&hangup, 1, 10'000));
    EXPECT_EQ(ECONNRESET, pair.client.takePendingError());
    EXPECT_EQ(0, pair.client.takePendingError());
}

TEST(Socket, AClosedSocketTellsNothingOfItsConnection) {
    Socket socket = tcpSocket();
    socket.close();
    EXPECT_EQ(kPrefix + "unsigned int Socket::unacknowledged() constBad file descriptor",
              messageOf<SocketException>([&] { (void)socket.unacknowledged(); }));
    EXPECT_EQ(kPrefix + "void Socket::getsockopt(int, int&)Bad file descriptor",
              messageOf<SocketException>([&] { socket.takePendingError(); }));
}

TEST(Socket, AnAdoptedDescriptorReplacesTheOldOne) {
    ClientAndPeer pair;
    TcpPair other;
    const int fd = ::dup(other.client.fd());
    pair.client.setDescriptor(fd);
    EXPECT_EQ(fd, pair.client.getDescriptor());
    EXPECT_TRUE(pair.peer.closedByPeer());
    pair.client.getOutputStream().write("x");
    EXPECT_EQ("x", other.server.readExactly(1));
    other.server.sendAll("y");
    EXPECT_EQ('y', pair.client.getInputStream().read());
}

TEST(SocketSelect, KeepsOnlyWhatIsReadable) {
    ClientAndPeer silent;
    ClientAndPeer talking;
    talking.peer.sendAll("x");
    Sockets read{&silent.client, &talking.client};
    Sockets none;
    timeval limit{10, 0};
    Socket::select(read, none, none, &limit);
    EXPECT_EQ(Sockets{&talking.client}, read);
}

TEST(SocketSelect, AClosedPeerIsReadable) {
    ClientAndPeer pair;
    pair.peer.close();
    Sockets read{&pair.client};
    Sockets none;
    timeval limit{10, 0};
    Socket::select(read, none, none, &limit);
    EXPECT_EQ(Sockets{&pair.client}, read);
}

void fillUp(const Socket& socket) {
    const std::string block(65536, 'x');
    while (::send(socket.getDescriptor(), block.data(), block.size(), MSG_DONTWAIT) > 0) continue;
}

TEST(SocketSelect, LeavesTheOtherListsAloneWhenSomethingIsReadable) {
    ClientAndPeer talking;
    ClientAndPeer full;
    talking.peer.sendAll("x");
    fillUp(full.client);
    Sockets read{&talking.client};
    Sockets write{&full.client};
    Sockets except{&full.client};
    timeval limit{10, 0};
    Socket::select(read, write, except, &limit);
    EXPECT_EQ(Sockets{&talking.client}, read);
    EXPECT_EQ(Sockets{&full.client}, write);
    EXPECT_EQ(Sockets{&full.client}, except);
}

TEST(SocketSelect, AWritableSocketEndsTheWait) {
    ClientAndPeer pair;
    Sockets read{&pair.client};
    Sockets write{&pair.client};
    Sockets none;
    Socket::select(read, write, none, nullptr);
    EXPECT_EQ(Sockets{}, read);
    EXPECT_EQ(Sockets{&pair.client}, write);
}

TEST(SocketSelect, ATimeoutEmptiesAllLists) {
    ClientAndPeer pair;
    fillUp(pair.client);
    Sockets read{&pair.client};
    Sockets write{&pair.client};
    Sockets except{&pair.client};
    const auto start = std::chrono::steady_clock::now();
    timeval limit{0, 100'000};
    Socket::select(read, write, except, &limit);
    EXPECT_LE(100ms, std::chrono::steady_clock::now() - start);
    EXPECT_EQ(Sockets{}, read);
    EXPECT_EQ(Sockets{}, write);
    EXPECT_EQ(Sockets{}, except);
}

TEST(SocketSelect, ATimeoutOfZeroOnlyLooks) {
    ClientAndPeer pair;
    Sockets read{&pair.client};
    Sockets none;
    timeval limit{0, 0};
    Socket::select(read, none, none, &limit);
    EXPECT_EQ(Sockets{}, read);
    pair.peer.sendAll("x");
    ASSERT_EQ('x', pair.client.getInputStream().read());
    pair.peer.sendAll("y");
    ASSERT_TRUE(eventually([&] { return pair.client.getInputStream().available() == 1; }));
    read = {&pair.client};
    Socket::select(read, none, none, &limit);
    EXPECT_EQ(Sockets{&pair.client}, read);
}

TEST(SocketSelect, WithoutATimeoutItWaitsForData) {
    ClientAndPeer pair;
    Sockets read{&pair.client};
    Sockets none;
    BlockedCall select([&] {
        Socket::select(read, none, none, nullptr);
        return std::to_string(read.size());
    });
    EXPECT_FALSE(select.endsWithin(100ms));
    pair.peer.sendAll("x");
    EXPECT_EQ("1", select.result());
}

TEST(SocketSelect, AStopEventEndsTheWaitWithAnEmptyReadList) {
    ClientAndPeer pair;
    Event stop;
    Sockets read{&pair.client};
    Sockets none;
    BlockedCall select([&] {
        Socket::select(read, none, none, nullptr, &stop);
        return std::to_string(read.size());
    });
    EXPECT_FALSE(select.ended());
    stop.set();
    EXPECT_EQ("0", select.result());
}

TEST(SocketSelect, AClosedSocketIsAnError) {
    Socket closed = tcpSocket();
    closed.close();
    Sockets none;
    Sockets read{&closed};
    EXPECT_EQ(kSelect + "Bad file descriptor",
              messageOf<SocketException>([&] { Socket::select(read, none, none, nullptr); }));
}

TEST(SocketSelect, ADescriptorThatSomebodyElseClosedIsAnError) {
    Socket socket = tcpSocket();
    ::close(socket.getDescriptor());
    Sockets none;
    Sockets read{&socket};
    EXPECT_EQ(kSelect + "Bad file descriptor",
              messageOf<SocketException>([&] { Socket::select(read, none, none, nullptr); }));
}

TEST(SocketSelect, ANegativeTimeoutIsAnError) {
    Socket socket = tcpSocket();
    Sockets none;
    Sockets read{&socket};
    timeval limit{-1, 0};
    EXPECT_EQ(kSelect + "Invalid argument",
              messageOf<SocketException>([&] { Socket::select(read, none, none, &limit); }));
}

// A number of milliseconds that an int does not hold.
TEST(SocketSelect, AnEndlessTimeoutWaits) {
    ClientAndPeer pair;
    Sockets read{&pair.client};
    Sockets none;
    timeval limit{2'147'483'647, 0};
    BlockedCall select([&] {
        Socket::select(read, none, none, &limit);
        return std::to_string(read.size());
    });
    EXPECT_FALSE(select.endsWithin(50ms));
    pair.peer.sendAll("x");
    EXPECT_EQ("1", select.result());
}

TEST(SocketHighDescriptors, SocketsConnectReadWriteAndSelect) {
    const HighDescriptors high;
    ASSERT_TRUE(high.granted()) << "this test needs 2048 descriptors";
    ClientAndPeer pair;
    ASSERT_LE(1024, pair.client.getDescriptor());
    pair.client.getOutputStream().write("out");
    EXPECT_EQ("out", pair.peer.readExactly(3));

    pair.client.getInputStream().setTimeout(50);
    EXPECT_THROW(pair.client.getInputStream().read(), SocketTimeoutException);
    pair.peer.sendAll("in");
    Sockets read{&pair.client};
    Sockets none;
    timeval limit{10, 0};
    Socket::select(read, none, none, &limit);
    EXPECT_EQ(Sockets{&pair.client}, read);
    EXPECT_EQ('i', pair.client.getInputStream().read());
}

TEST(SocketHighDescriptors, ReadsAndWritesWaitForStopEventsAndTime) {
    const HighDescriptors high;
    ASSERT_TRUE(high.granted()) << "this test needs 2048 descriptors";
    ClientAndPeer pair;
    Event stop;
    ASSERT_LE(1024, stop.descriptor());
    const std::string many(std::size_t{32} * 1024 * 1024, 'x');
    pair.client.getOutputStream().setTimeout(50);
    EXPECT_EQ(kPrefix + "virtual void SocketOutputStream::write(const char*, size_t)" +
                  "Connection timed out",
              messageOf<SocketException>([&] { pair.client.getOutputStream().write(many); }));
    pair.client.setInterrupt(&stop);
    BlockedCall read(
        [&] { return messageOf<SocketException>([&] { pair.client.getInputStream().read(); }); });
    EXPECT_FALSE(read.ended());
    stop.set();
    EXPECT_EQ(kPrefix + "void SocketInputStream::wait_for_data()Interrupted system call",
              read.result());
}

TEST(SocketOptions, APeerThatHasVanishedIsNoticedAfterTwoMinutes) {
    Socket socket(AF_INET, SOCK_STREAM, 0);
    socket.keepAlive();
    int on = 0;
    socklen_t size = sizeof on;
    ::getsockopt(socket.getDescriptor(), SOL_SOCKET, SO_KEEPALIVE, &on, &size);
    EXPECT_EQ(1, on);
    int idle = 0;
    int interval = 0;
    int probes = 0;
    socket.getsockopt(TCP_KEEPIDLE, idle);
    socket.getsockopt(TCP_KEEPINTVL, interval);
    socket.getsockopt(TCP_KEEPCNT, probes);
    EXPECT_EQ(120, idle + interval * probes);
    int unacknowledged = 0;
    socket.getsockopt(TCP_USER_TIMEOUT, unacknowledged);
    EXPECT_EQ(120'000, unacknowledged);
}

}  // namespace
}  // namespace teskd::test
