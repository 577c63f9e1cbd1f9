// The addresses that hosts are awaited on.

#include <gtest/gtest.h>
#include <list>
#include <string>

#include "dorn/LocalEndpoints.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

// The first so many addresses of this machine's own network, all at one port.
std::list<std::string> addresses(int count, std::uint16_t port) {
    std::list<std::string> addresses;
    for (int n = 1; n <= count; ++n) {
        addresses.push_back("127.0.0." + std::to_string(n) + ":" + std::to_string(port));
    }
    return addresses;
}

class LocalEndpointsTest : public testing::Test {
  protected:
    ~LocalEndpointsTest() noexcept override {}

    const std::uint16_t port_ = freeTcpPort();
    const LogRecorder log_;
};

TEST_F(LocalEndpointsTest, SixtyFourAreListenedOnWithoutAWord) {
    LocalEndpoints endpoints(addresses(64, port_));
    EXPECT_EQ(64U, endpoints.mostListeners());
    endpoints.open();
    EXPECT_EQ(64U, endpoints.listeners().size());
    EXPECT_EQ(teskd::Deadline::never(), endpoints.nextRound());
    EXPECT_TRUE(log_.lines().empty());
}

TEST_F(LocalEndpointsTest, ThoseBehindTheSixtyFourthAreLeftOutForGoodWithTheirNumber) {
    LocalEndpoints endpoints(addresses(70, port_));
    EXPECT_EQ(64U, endpoints.mostListeners());
    endpoints.open();
    EXPECT_EQ(64U, endpoints.listeners().size());
    EXPECT_EQ(teskd::Deadline::never(), endpoints.nextRound());
    EXPECT_EQ((std::vector{LogEntry{180, "Listening on 64 addresses; 6 more are left out"}}),
              log_.lines());
    endpoints.open();
    EXPECT_EQ(1U, log_.lines().size());
    EXPECT_NO_THROW(Connection::to(port_));
}

// Those that cannot be listened on take nobody's place.
TEST_F(LocalEndpointsTest, SixtyFourOthersAreListenedOnBehindSomeThatAreNotHere) {
    std::list<std::string> all = addresses(65, port_);
    all.push_front("192.0.2.1:1");
    LocalEndpoints endpoints(all);
    endpoints.open();
    EXPECT_EQ(64U, endpoints.listeners().size());
    EXPECT_EQ(1U, log_.count({180, "Listening on 64 addresses; 2 more are left out"}));
}

}  // namespace
}  // namespace teskd::test
