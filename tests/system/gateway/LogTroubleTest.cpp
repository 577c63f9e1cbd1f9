// The daemon serves whatever becomes of its log and its standard error.

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Bytes.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

void expectServed(Gateway& gateway, std::uint32_t requests) {
    HostClient host = gateway.host();
    for (std::uint32_t i = 0; i < requests; ++i) {
        host.request(7, "", i, 1);
        EXPECT_EQ(0x81, host.readFrame().kind);
        host.request(1, bytes("00"), i, 2);
        EXPECT_EQ(0x81, host.readFrame().kind);
    }
}

TEST(LogTrouble, WithoutALogTheDaemonStartsServesAndStops) {
    Gateway gateway(1, {}, {.withLog = false});
    gateway.startKnown();
    expectServed(gateway, 50);
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_TRUE(gateway.log().lines().empty());
}

TEST(LogTrouble, AFullLogKeepsTheDaemonFromNothing) {
    Gateway gateway(1);
    gateway.log().pause();
    gateway.startKnown();
    expectServed(gateway, 50);
    gateway.log().resume();
    // The lost lines are reported before the next line that the log takes. It may still be full
    // now, so that a line that follows at once is lost as well.
    EXPECT_TRUE(eventually([&] {
        expectServed(gateway, 1);
        return gateway.log()
            .waitFor(" lines were lost: the system log took none", 50ms)
            .has_value();
    }));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(LogTrouble, AFullLogDoesNotDelayTheStop) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.log().pause();
    expectServed(gateway, 20);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

// A pipe that is full and that nobody reads.
class FullPipe {
  public:
    FullPipe() {
        int fds[2];
        EXPECT_EQ(0, ::pipe2(fds, O_CLOEXEC | O_NONBLOCK));
        reader_.reset(fds[0]);
        writer_.reset(fds[1]);
        const std::string filling(4096, '.');
        while (::write(writer(), filling.data(), filling.size()) > 0) continue;
        EXPECT_EQ(0, ::fcntl(writer(), F_SETFL, 0));
    }

    int writer() const { return writer_.get(); }

  private:
    UniqueFd reader_;
    UniqueFd writer_;
};

TEST(LogTroubleOfStandardError, AFullOneStopsNeitherTheEngineNorTheDaemonsEnd) {
    const FullPipe error;
    Gateway gateway(0, {}, {.standardError = error.writer()});
    gateway.start();
    HostClient host = gateway.host();
    for (int i = 0; i < 3; ++i) {
        host.request(kAamsType, aamsPayload(999, ""));
        EXPECT_EQ(0x81, host.readFrame().kind);
    }
    EXPECT_NE("", ask(host, 501));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(LogTroubleOfStandardError, AFullOneStopsNothingWhenItHasEveryLogLine) {
    const FullPipe error;
    Gateway gateway(1, {}, {.arguments = {"--debug"}, .standardError = error.writer()});
    gateway.startKnown();
    expectServed(gateway, 50);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
