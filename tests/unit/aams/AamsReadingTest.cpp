// What the engine makes of a machine's counter reading.

#include <gtest/gtest.h>
#include <thread>
#include <typeinfo>

#include "Engine.h"
#include "support_src/AtRelease.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

const std::string kGood = "100~200~1~100~200~0";
const std::string kCode = "ZA000000001";

// Body of the nth report of a failed check, without its time.
std::string report(const Engine& engine, std::size_t n = 0) {
    const std::vector<std::string> bodies = engine.board.bodies(5);
    return n < bodies.size() ? withoutStamp(bodies[n]) : "no report";
}

TEST(AamsReading, ThatPassesEveryCheckSendsNothing) {
    Engine engine;
    engine.read(reading(kGood));
    EXPECT_TRUE(engine.board.frames().empty());
}

TEST(AamsReading, StoresItsCounters) {
    Engine engine;
    engine.read(reading(kGood));
    EXPECT_EQ(100, engine.controller.get_maximum(kCode, "CNTTOTIN"));
    EXPECT_EQ(200, engine.controller.get_maximum(kCode, "CNTTOTOT"));
    EXPECT_EQ(1, engine.controller.get_maximum(kCode, "CNTCL"));
}

TEST(AamsReading, CountersOfOneMachineAreNotThoseOfAnother) {
    Engine engine(2);
    engine.read(reading(kGood));
    engine.read(reading("50~100~0~50~100~0", "ZA000000002"));
    EXPECT_TRUE(engine.board.frames().empty());
    EXPECT_EQ(100, engine.controller.get_maximum(kCode, "CNTTOTIN"));
    EXPECT_EQ(50, engine.controller.get_maximum("ZA000000002", "CNTTOTIN"));
}

// The readings of other machines may push a machine's own out of the cache before it is reported.
TEST(AamsReading, ACounterThatWentBackIsReportedThoughOthersReadMeanwhile) {
    for (std::size_t n = 1; n <= 40; ++n) {
        Engine engine;
        engine.read(reading(kGood));
        atRelease(n, [&engine] {
            for (int other = 100; other < 356; ++other) {
                engine.read(reading(kGood, "ZB000000" + std::to_string(other)));
            }
        });
        engine.read(reading("50~200~1~50~200~0"));
        atRelease(0, nullptr);
        const std::string message = "-113~0032~15.03.21~ZA000000001~00~50~200~1~50~200~0";
        EXPECT_TRUE(report(engine).starts_with(kMac + "-04-38" + message)) << n;
        EXPECT_TRUE(report(engine).ends_with(message)) << n << ": " << report(engine);
    }
}

TEST(AamsReading, ACounterThatWentBackIsReportedWithTheReadingTwiceAndStored) {
    Engine engine;
    engine.read(reading(kGood));
    engine.read(reading("50~200~1~50~200~0"));
    ASSERT_EQ(1U, engine.board.frames().size());
    const std::string message = "-113~0032~15.03.21~ZA000000001~00~50~200~1~50~200~0";
    const std::string body = report(engine);
    ASSERT_TRUE(body.ends_with(message)) << body;
    EXPECT_EQ(kMac + "-04-38" + message,
              withoutStamp(body.substr(0, body.size() - message.size())));
    EXPECT_EQ(50, engine.controller.get_maximum(kCode, "CNTTOTIN"));
}

TEST(AamsReading, EveryStoredCounterIsOverwrittenWithALowerOne) {
    Engine engine;
    engine.read(reading("200~400~3~200~400~0"));
    engine.read(reading(kGood));
    EXPECT_EQ(3U, engine.board.bodies(5).size());
    EXPECT_EQ(100, engine.controller.get_maximum(kCode, "CNTTOTIN"));
    EXPECT_EQ(200, engine.controller.get_maximum(kCode, "CNTTOTOT"));
    EXPECT_EQ(1, engine.controller.get_maximum(kCode, "CNTCL"));
    engine.read(reading(kGood));  // and is what the next reading is held against
    EXPECT_EQ(3U, engine.board.bodies(5).size());
}

TEST(AamsReading, OtherErrorsAreReportedWithTheReadingOnce) {
    Engine engine;
    engine.read(reading("100~200~1~100~200~-1"));
    ASSERT_EQ(1U, engine.board.frames().size());
    EXPECT_EQ(kMac + "-04-35-113~0035~15.03.21~ZA000000001~00~100~200~1~100~200~-1",
              report(engine));
}

TEST(AamsReading, EveryErrorIsReportedInTheOrderOfTheChecks) {
    Engine engine;
    engine.read(reading("101~200~1~99~200~14001"));
    const std::string message = "-113~0037~15.03.21~ZA000000001~00~101~200~1~99~200~14001";
    EXPECT_EQ(3U, engine.board.frames().size());
    EXPECT_EQ(kMac + "-04-39" + message, report(engine, 0));
    EXPECT_EQ(kMac + "-04-40" + message, report(engine, 1));
    EXPECT_EQ(kMac + "-04-41" + message, report(engine, 2));
}

TEST(AamsReading, TheContextHasTwoDigitsAtLeast) {
    Engine engine;
    engine.read(reading("100~200~1~100~200~-1"), 3);
    engine.read(reading("100~200~1~100~200~-1"), 12);
    engine.read(reading("100~200~1~100~200~-1"), 0);
    EXPECT_TRUE(report(engine, 0).starts_with(kMac + "-03-35-"));
    EXPECT_TRUE(report(engine, 1).starts_with(kMac + "-12-35-"));
    EXPECT_TRUE(report(engine, 2).starts_with(kMac + "-00-35-"));
}

TEST(AamsReading, ATrailerSparesTheLastThreeChecksAndIsInTheMessage) {
    Engine engine;
    const std::string code = "ZN000000001";
    engine.controller.rename(kCode, code);
    const std::string trailer(268, 't');
    engine.read(reading("101~200~1~99~200~14001", code, 268), 4, trailer);
    EXPECT_TRUE(engine.board.frames().empty());
    engine.read(reading("101~200~1~99~200~-1", code, 268), 4, trailer);
    EXPECT_EQ(kMac + "-04-35-113~0140~15.03.21~ZN000000001~00~101~200~1~99~200~-1" + trailer,
              report(engine));
}

TEST(AamsReading, WithFewerThanSixFieldsIsKeptUnchecked) {
    Engine engine;
    engine.start();
    for (const char* const body : {"", "x", "-1~-1~-1~-1~-1"}) engine.read(reading(body));
    EXPECT_TRUE(engine.board.bodies(5).empty());
    EXPECT_EQ(0, engine.controller.get_maximum(kCode, "CNTTOTIN"));
    EXPECT_EQ(kMac + "-0E", bodyOf(engine.askText("504-0014-ZA000000001"), 504));
    EXPECT_NE(std::string::npos, bodyOf(engine.askText("503-0014-ZA000000001"), 503)
                                     .find("-113~002F~15.03.21~ZA000000001~00~-1~-1~-1~-1~-1"));
}

TEST(AamsReading, NumbersBeyondTheRangeAreStoredSaturated) {
    Engine engine;
    engine.read(reading("1e10~-1e10~nan~0~0~0"));
    EXPECT_EQ(2147483647, engine.controller.get_maximum(kCode, "CNTTOTIN"));
    EXPECT_EQ(-2147483648, engine.controller.get_maximum(kCode, "CNTTOTOT"));
    EXPECT_EQ(0, engine.controller.get_maximum(kCode, "CNTCL"));
    engine.read(reading("inf~-inf~0.5~0~0~0"));
    EXPECT_EQ(2147483647, engine.controller.get_maximum(kCode, "CNTTOTIN"));
    EXPECT_EQ(-2147483648, engine.controller.get_maximum(kCode, "CNTTOTOT"));
    EXPECT_EQ(0, engine.controller.get_maximum(kCode, "CNTCL"));
}

TEST(AamsReading, OfAMachineThatNobodyKnowsIsCheckedAgainstNothing) {
    Engine engine;
    engine.start();
    engine.read(reading("100~200~1~100~200~-1", "ZX000000009"));
    EXPECT_EQ(kMac + "-04-35-113~0035~15.03.21~ZX000000009~00~100~200~1~100~200~-1",
              report(engine));
    EXPECT_TRUE(bodyOf(engine.askText("503-0014-ZX000000009"), 503).starts_with(kMac + "-00-04-"));
}

TEST(AamsReading, APacketOfAnotherClassIsABadCast) {
    Engine engine;
    const PacketHandle<Packet> stranger(new Packet);
    EXPECT_THROW(engine.aams.packetCompleted(stranger.pointer()), std::bad_cast);
}

TEST(AamsReading, APollWithoutAnAnswerIsNotChecked) {
    Engine engine;
    engine.start();
    const PacketHandle<Packet> poll(new Packet);
    poll->addListener(&engine.aams);
    poll->notifyFailed();
    poll->notifyError(Exception("why"));
    EXPECT_EQ(kMac + "-0B", bodyOf(engine.askText("502-0008"), 502));
}

TEST(AamsReading, ReadingsMayComeWhileRequestsAreAnswered) {
    Engine engine(2);
    engine.start();
    std::vector<std::thread> machines;
    for (std::size_t n = 1; n <= 2; ++n) {
        machines.emplace_back([&engine, n] {
            for (int i = 0; i < 60; ++i) {
                engine.read(reading("100~200~1~100~200~-1", Engine::nameOf(n)));
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        for (const char* const text : {"502-0008", "503-0014-ZA000000001", "504-0014-ZA000000002",
                                       "505-0008", "506-0011-10!1!0!5"}) {
            EXPECT_EQ(0x81, engine.askText(text).kind);
        }
    }
    for (std::thread& machine : machines) machine.join();
    EXPECT_EQ(120U, engine.board.bodies(5).size());
}

}  // namespace
}  // namespace teskd::test
