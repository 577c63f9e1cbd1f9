// Requests that fail, each with a sentence and an exit status of its own.

#include <gtest/gtest.h>

#include "dornctl/Dornctl.h"
#include "gateway/Gateway.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

TEST(DornctlFailure, AMachineThatIsNotKnownIsStatus3) {
    Gateway gateway;
    gateway.start();
    for (const std::vector<std::string> arguments :
         {std::vector<std::string>{"meters"}, {"meters", "ZA000000009"}}) {
        const Printed printed = dornctl(gateway.daemon().port(), arguments);
        EXPECT_EQ(3, printed.status);
        EXPECT_EQ("", printed.output);
        EXPECT_EQ(
            "dornctl: no machine that was asked for is known to the gateway (0xFD); "
            "\"dornctl machines\" lists those that are\n",
            printed.error);
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlFailure, AMachineWithoutAnAnswerIsStatus4) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.closeAfter = 5});
    const Printed printed = dornctl(gateway.daemon().port(), {"raw", "113~0008", "ZA000000001"});
    EXPECT_EQ(5, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ("dornctl: the gateway could not carry out the request (0xAB); its log says why\n",
              printed.error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlFailure, NobodyListeningIsStatus6) {
    std::uint16_t port = 0;
    { port = Listener().port(); }
    const Printed printed = dornctl(port, {"version"});
    EXPECT_EQ(6, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ(
        "dornctl: no connection: 127.0.0.1:" + std::to_string(port) + ": Connection refused\n",
        printed.error);
}

TEST(DornctlFailure, NoAnswerInTimeIsStatus6) {
    Listener listener;
    const Printed printed = dornctl(listener.port(), {"--timeout", "50", "version"});
    EXPECT_EQ(6, printed.status);
    EXPECT_EQ("dornctl: 127.0.0.1:" + std::to_string(listener.port()) +
                  ": no complete answer came in time\n",
              printed.error);
}

}  // namespace
}  // namespace teskd::test
