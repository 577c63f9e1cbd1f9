// Networks of a test's own: what is in them, who reaches whom, and cables that are pulled.

#include <chrono>
#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/Connection.h"
#include "support/DaemonProcess.h"
#include "support/Listener.h"
#include "support/NetworkNamespace.h"
#include "support/TempDir.h"
#include "support/UdpPeer.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

std::string addresses() {
    ChildProcess ip({.command = {"ip", "-brief", "-4", "address"}});
    ip.waitForExit();
    return ip.standardOutput();
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(NetworkNamespace, HasItsOwnLoopbackAndNothingElse) {
    const NetworkNamespace network;
    const std::string inside = network.in(addresses);
    EXPECT_EQ(0U, inside.find("lo "));
    EXPECT_TRUE(contains(inside, "127.0.0.1/8"));
    EXPECT_EQ(inside.size() - 1, inside.find('\n')) << inside;
}

TEST(NetworkNamespace, APortOfOneIsNotThatOfAnother) {
    const NetworkNamespace one;
    const NetworkNamespace other;
    Listener listener = one.in([] { return Listener(); });
    const auto connect = [&listener] { return Connection::to(listener.port()); };
    EXPECT_NO_THROW(one.in(connect));
    EXPECT_THROW(other.in(connect), std::system_error);
}

TEST(NetworkNamespace, AStayEndsWhereItBegan) {
    const std::string outside = addresses();
    const NetworkNamespace network;
    const NetworkNamespace second;
    network.addLink("eth0");
    network.addAddress("eth0", "10.1.0.1/24");
    {
        const NetworkNamespace::Stay stay(network);
        EXPECT_FALSE(contains(second.in(addresses), "10.1.0.1"));
        EXPECT_TRUE(contains(addresses(), "10.1.0.1/24"));
    }
    EXPECT_EQ(outside, addresses());
}

TEST(NetworkNamespace, ThreadsStartedInsideStayThere) {
    const NetworkNamespace network;
    network.addLink("eth0");
    network.addAddress("eth0", "10.1.0.1/24");
    std::string seen;
    std::thread thread =
        network.in([&seen] { return std::thread([&seen] { seen = addresses(); }); });
    thread.join();
    EXPECT_TRUE(contains(seen, "10.1.0.1/24")) << seen;
}

TEST(NetworkNamespace, AddressesComeAndGo) {
    const NetworkNamespace network;
    network.addLink("eth0");
    network.addAddress("eth0", "10.1.0.1/24");
    const auto bind = [] { return UdpPeer(0, "10.1.0.1"); };
    EXPECT_NO_THROW(network.in(bind));
    network.removeAddress("eth0", "10.1.0.1/24");
    EXPECT_THROW(network.in(bind), std::system_error);
}

// Two networks with a cable between them.
class NetworkNamespaceCable : public testing::Test {
  protected:
    NetworkNamespaceCable() {
        here_.addCable("eth0", there_, "eth1");
        here_.addAddress("eth0", "10.1.0.1/24");
        there_.addAddress("eth1", "10.1.0.2/24");
    }

    const NetworkNamespace here_;
    const NetworkNamespace there_;
};

TEST_F(NetworkNamespaceCable, JoinsTwoNetworks) {
    UdpPeer server = there_.in([] { return UdpPeer(0, "10.1.0.2"); });
    Listener listener = there_.in([] { return Listener("10.1.0.2"); });
    Connection client =
        here_.in([&] { return Connection::between("10.1.0.1", "10.1.0.2", listener.port()); });
    Connection served = listener.accept();
    client.sendAll("there");
    EXPECT_EQ("there", served.readExactly(5));
    served.sendAll("back");
    EXPECT_EQ("back", client.readExactly(4));
}

TEST_F(NetworkNamespaceCable, PulledItCarriesNothingUntilItIsBack) {
    Listener listener = there_.in([] { return Listener("10.1.0.2"); });
    Connection client =
        here_.in([&] { return Connection::between("", "10.1.0.2", listener.port()); });
    Connection served = listener.accept();
    there_.takeDown("eth1");
    client.sendAll("late");
    EXPECT_FALSE(served.readableWithin(200ms));
    there_.bringUp("eth1");
    EXPECT_EQ("late", served.readExactly(4));
}

TEST_F(NetworkNamespaceCable, TheDaemonsHostsComeOverIt) {
    DaemonProcess daemon({.program = FAKE_DAEMON});
    here_.in([&daemon] { daemon.start(); });
    EXPECT_NO_THROW(here_.in([&daemon] { return Connection::to(daemon.port()); }));
    EXPECT_THROW(Connection::to(daemon.port()), std::system_error);
    EXPECT_CLEAN_STOP(daemon);
}

TEST(NetworkNamespace, WhatTheSystemRefusesIsSaid) {
    const NetworkNamespace network;
    try {
        network.addAddress("eth7", "10.1.0.1/24");
        FAIL() << "there is no eth7";
    } catch (const std::runtime_error& e) {
        EXPECT_TRUE(contains(e.what(), "ip address add 10.1.0.1/24 dev eth7 has failed: "))
            << e.what();
    }
}

// Calls the function without root, in a process of its own, and hands back what it returns.
int asNobody(int (*function)()) {
    constexpr unsigned kNobody = 65534;
    // Past the library's fork(), with which a sanitizer gives the child another thread.
    const auto child = static_cast<pid_t>(::syscall(SYS_fork));
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) ::_exit(100);
        ::prctl(PR_SET_DUMPABLE, 1);  // its files in /proc are its own again
        ::_exit(function());
    }
    int status = -1;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : 101;
}

int makeTwoNetworks() {
    try {
        const NetworkNamespace first;
        const NetworkNamespace second;
        first.addCable("eth0", second, "eth1");
        second.addAddress("eth1", "10.1.0.2/24");
        return contains(second.in(addresses), "10.1.0.2/24") ? 0 : 1;
    } catch (const std::exception& e) {
        std::cerr << e.what() << std::endl;
        return 2;
    }
}

TEST(NetworkNamespace, NeedsNoRoot) {
    EXPECT_EQ(0, asNobody(makeTwoNetworks));
}

// The limit is that of the user namespace which the first network has brought along.
int makeOneNetworkMoreThanAllowed() {
    const NetworkNamespace first;
    writeFile("/proc/sys/user/max_net_namespaces", "0");
    try {
        const NetworkNamespace second;
        return 1;
    } catch (const std::runtime_error& e) {
        return contains(e.what(), "This test needs a network namespace. Run it as root, or") ? 0
                                                                                             : 2;
    }
}

TEST(NetworkNamespace, WhereTheSystemAllowsNoneTheTextSaysWhatToDo) {
    EXPECT_EQ(0, asNobody(makeOneNetworkMoreThanAllowed));
}

}  // namespace
}  // namespace teskd::test
