// The listener when there is no memory for what it does.

#include <atomic>
#include <exception>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "DeamonFixture.h"
#include "support_src/AtThreadStart.h"
#include "support_src/FailingNew.h"

namespace teskd::test {
namespace {

class DornDeamonMemory : public DeamonFixture {
  protected:
    // False for a host that is turned away.
    static bool isServed(std::uint16_t port) {
        try {
            HostClient host(port);
            host.request(7, "", 0, 5);
            return host.readFrame().identifierB == 5;
        } catch (const std::exception&) {
            return false;
        }
    }
};

// From the start of one host's thread to that of the next, the nth allocation of the listener's
// thread fails, for each n until there is no such one.
TEST_F(DornDeamonMemory, ThatEndsCostsOneHostAtMostAndIsLogged) {
    const std::uint16_t port = freeTcpPort();
    start(port);
    expectServed(port);
    std::atomic<std::size_t> nth{0};
    std::atomic<bool> allHaveFailed{false};
    std::optional<FailingNew> failing;
    const AtThreadStart ofAHost([&](int) {
        allHaveFailed = nth > 0 && !FailingNew::hasFailed();
        failing.emplace(++nth);
    });
    int turnedAway = 0;
    while (!allHaveFailed) {
        const std::size_t before = nth;
        int attempts = 0;
        while (nth == before && attempts < 3) {
            ++attempts;
            turnedAway += isServed(port) ? 0 : 1;
        }
        ASSERT_LE(attempts, 2) << "allocation " << nth;
    }
    EXPECT_GE(nth, 4U);
    EXPECT_GE(turnedAway, 1);
    EXPECT_TRUE(log_.waitFor({180, "Cannot accept a connection: std::bad_alloc"}));
    deamon().stop();
    deamon().awaitEnd();
}

}  // namespace
}  // namespace teskd::test
