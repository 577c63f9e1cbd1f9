// The controller's clock: who sets it, and dates at which clocks have failed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "controller/Controller.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr std::chrono::seconds kLong{60};
constexpr char kEndOf32Bits[] = "380119031408";  // UTC

class ControllerClock : public testing::Test {
  protected:
    ControllerClock() { machine_.start(); }
    Config config() { return Controller::config({machine_.port()}, server_.port()); }
    bool polled(std::size_t times) {
        return machine_.journal().waitForAcknowledgements(times, std::chrono::seconds(150));
    }
    std::size_t passes() { return machine_.journal().acknowledgementCount(); }
    // Seconds, which no step of the clock changes.
    static double uptime(Controller& controller) {
        return std::stod(controller.run("cat /proc/uptime"));
    }
    static std::string now(Controller& controller) {
        return controller.run("date -u +%y%m%d%H%M%S");
    }
    // A host sets the clock; the answer of success is empty.
    static void set(Controller& controller, const std::string& date) {
        HostClient host = controller.host();
        host.request(kAamsType, aamsPayload(507, "-" + date));
        EXPECT_EQ("", host.readFrame(kLong).body);
    }

    tesksim::Machine machine_{{.codeId = "ZA000000001"}};
    UdpPeer server_;
    Notifications notifications_{server_};
};

// The second pass comes a minute after the first one, beyond the end of 32 bits.
TEST_F(ControllerClock, TheEndOf32BitsPassesWhileMachinesArePolled) {
    Controller controller(config(), {.date = "2038-01-19T03:13:30"});
    controller.boot();
    ASSERT_TRUE(polled(1)) << controller.log();
    ASSERT_GT(kEndOf32Bits, now(controller)) << "the first poll came too late for this test";
    ASSERT_TRUE(polled(2)) << controller.log();
    EXPECT_LE(kEndOf32Bits, now(controller));
    HostClient host = controller.host();
    EXPECT_THAT(ask(host, 503, "-ZA000000001", kLong),
                MatchesRegex("503-00AF-ffffffffff00-00-0[0-9]-38011903(1[4-9]|[2-9]).*-113~.*"
                             "-0[0-9]-3801190313[0-9][0-9]-113~.*"));
}

// A step by more than the time between two passes, forth or back: a pass comes at once, and from
// then on every minute again.
TEST_F(ControllerClock, AStepMakesAPassComeAtOnceAndKeepsTheirDistance) {
    Controller controller(config());
    controller.boot();
    ASSERT_TRUE(polled(1)) << controller.log();
    for (const std::string date : {"270203040506", "250203040506"}) {
        const std::size_t before = passes();
        const double step = uptime(controller);
        set(controller, date);
        EXPECT_EQ(date.substr(0, 10), controller.run("date -u +%y%m%d%H%M"));
        ASSERT_TRUE(polled(before + 1)) << controller.log();
        const double pass = uptime(controller);
        EXPECT_GE(10, pass - step) << date;
        ASSERT_TRUE(polled(before + 2)) << controller.log();
        EXPECT_NEAR(60, uptime(controller) - pass, 8) << date;
    }
}

// With an empty battery it starts in 1970; the server's answer to the first question brings it to
// today.
TEST_F(ControllerClock, AStartIn1970IsCorrectedByTheServersFirstAnswer) {
    Controller controller(config(), {.date = "1970-01-01T00:00:10"});
    controller.boot();
    EXPECT_EQ("1970", controller.run("date -u +%Y"));
    const Frame question = notifications_.take(1, kLong);
    notifications_.answer(question, 1, "-261122101500");
    EXPECT_TRUE(eventually([&] { return controller.run("date -u +%Y%m%d") == "20261122"; }, kLong));
    ASSERT_TRUE(polled(passes() + 1)) << controller.log();
    const double pass = uptime(controller);
    ASSERT_TRUE(polled(passes() + 1)) << controller.log();
    EXPECT_NEAR(60, uptime(controller) - pass, 8);
}

// The daemon sets the system's clock and no other; the image's shutdown hands it on to the
// battery's.
TEST_F(ControllerClock, TheBatterysClockFollowsWhenTheImageSaysSo) {
    Controller controller(config(), {.date = "2026-05-06T07:08:09"});
    controller.boot();
    set(controller, "310203040506");
    EXPECT_THAT(controller.run("hwclock --utc"), HasSubstr(" 2026 "));
    controller.run("hwclock --systohc --utc");
    EXPECT_THAT(controller.run("hwclock --utc"), HasSubstr(" 2031 "));
}

}  // namespace
}  // namespace teskd::test
