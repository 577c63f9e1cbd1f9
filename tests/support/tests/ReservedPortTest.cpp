#include <gtest/gtest.h>
#include <system_error>

#include "support/Listener.h"

namespace teskd::test {
namespace {

TEST(ReservedPort, LeadsNobodyAnywhereUntilSomebodyListens) {
    const ReservedPort reserved;
    EXPECT_THROW(Connection::to(reserved.number()), std::system_error);
}

TEST(ReservedPort, CanBeListenedOnAgainAndAgain) {
    const ReservedPort reserved;
    for (int round = 0; round < 2; ++round) {
        Listener listener(reserved.number());
        Connection client = Connection::to(reserved.number());
        Connection server = listener.accept();
        server.sendAll("x");
        EXPECT_EQ("x", client.readExactly(1));
    }
}

// Were they not reserved, one of them would be met nearly always.
TEST(ReservedPort, IsGivenToNobodyElse) {
    const ReservedPort reserved[64];
    for (int attempt = 0; attempt < 2000; ++attempt) {
        const std::uint16_t given = freeTcpPort();
        for (const ReservedPort& port : reserved) ASSERT_NE(port.number(), given);
    }
}

}  // namespace
}  // namespace teskd::test
