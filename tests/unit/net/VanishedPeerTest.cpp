// Connections whose peer vanishes without a word: the cable is pulled.

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

#include "net/StreamClientSocket.h"
#include "net/StreamServerSocket.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support/NetworkNamespace.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 2s;

// A socket under test, and its peer in another network.
class VanishedPeer : public testing::Test {
  protected:
    VanishedPeer() {
        here_.addCable("eth0", there_, "eth1");
        here_.addAddress("eth0", "10.1.0.1/24");
        there_.addAddress("eth1", "10.1.0.2/24");
    }

    // As to a serial-port server.
    void connectOut() {
        Listener listener = there_.in([] { return Listener("10.1.0.2"); });
        const std::string address = "10.1.0.2:" + std::to_string(listener.port());
        const NetworkNamespace::Stay stay(here_);
        auto socket = std::make_unique<StreamClientSocket>(address, AF_INET);
        socket->connect();
        peer_ = listener.accept();
        use(std::move(socket));
    }
    // As from a host.
    void accept() {
        const std::uint16_t port = here_.in([] { return freeTcpPort(); });
        const std::string address = "10.1.0.1:" + std::to_string(port);
        StreamServerSocket server =
            here_.in([&address] { return StreamServerSocket(address, AF_INET); });
        peer_ = there_.in([port] { return Connection::between("", "10.1.0.1", port); });
        use(std::make_unique<Socket>(server.accept()));
    }
    // The connection is good; then the peer is gone.
    void pullTheCable() {
        peer_.sendAll("x");
        ASSERT_EQ('x', socket_->getInputStream().read());
        there_.takeDown("eth1");
    }
    // Whether the system, not the time-out of the reading, has ended the connection.
    bool ended() {
        constexpr char kRead[] =
            "IOException: SocketException: virtual int SocketInputStream::read()";
        SocketInputStream& input = socket_->getInputStream();
        input.setTimeout(Deadline().pollTimeout());
        return messageOf<Exception>([&input] { input.read(); }).rfind(kRead, 0) == 0;
    }
    Socket& socket() { return *socket_; }

  private:
    void use(std::unique_ptr<Socket> socket) {
        socket_ = std::move(socket);
        socket_->keepAlive(kLimit);
    }

    const NetworkNamespace here_;
    const NetworkNamespace there_;
    Connection peer_;
    std::unique_ptr<Socket> socket_;
};

TEST_F(VanishedPeer, EndsAConnectionMadeWhileDataIsUnacknowledged) {
    connectOut();
    pullTheCable();
    socket().getOutputStream().write("request");
    EXPECT_TRUE(ended());
}

TEST_F(VanishedPeer, EndsAnAcceptedConnectionWhileDataIsUnacknowledged) {
    accept();
    pullTheCable();
    socket().getOutputStream().write("answer");
    EXPECT_TRUE(ended());
}

TEST_F(VanishedPeer, EndsAConnectionMadeThatIsSilent) {
    connectOut();
    pullTheCable();
    EXPECT_TRUE(ended());
}

TEST_F(VanishedPeer, EndsAnAcceptedConnectionThatIsSilent) {
    accept();
    pullTheCable();
    EXPECT_TRUE(ended());
}

}  // namespace
}  // namespace teskd::test
