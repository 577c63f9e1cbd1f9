// Scenario files: what they say, and what is told when they say it wrong.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tesksim/Scenario.h"

namespace tesksim {
namespace {

using namespace std::chrono_literals;

std::string problemOf(const std::string& text) {
    try {
        Scenario::parse(text);
    } catch (const ScenarioError& e) {
        return e.what();
    }
    return "none";
}

// The problem of a scenario with one machine.
std::string problemOfMachine(const std::string& members) {
    return problemOf(R"({"machines": [{)" + members + "}]}");
}

TEST(Scenario, ReadsEveryMember) {
    const Scenario scenario = Scenario::parse(R"({
        "seed": 3,  // with comments
        "machines": [{
            "code_id": "ABC", "port": 7, "date": "01.02.26", "trailer": true,
            "meters": {"total_in": 1, "total_out": 2, "cleared": 3, "item_5": 4, "every_ms": 5,
                       "most_in": 6, "most_out": 7},
            "answers": {"118": "text"}, "outcomes": {"120": "1C"},
            "entries": {"119": 2, "117": 1},
            "faults": [{"at_ms": 1, "for_ms": 2, "again_ms": [3, 4], "silent": true, "refuse": true,
                        "deaf": true, "delay_ms": 5, "dribble_ms": 6, "length_error": -7,
                        "close_after": 8, "repeat_after_ms": 9, "garbage_before": "b", "garbage_after": "a"}]
        }, {"tty": "/dev/ttyS9", "line": "9600 7E2"}]
    })");
    EXPECT_EQ(3U, scenario.seed);
    ASSERT_EQ(2U, scenario.machines.size());
    const MachineScenario& machine = scenario.machines[0];
    EXPECT_EQ("ABC", machine.options.codeId);
    EXPECT_EQ(7, machine.options.port);
    EXPECT_EQ("01.02.26", machine.date);
    EXPECT_TRUE(machine.trailer);
    EXPECT_EQ("1~2~3~1~2~4", Meters(machine.meters.value(), 0).bodyAt(0ms));
    EXPECT_EQ("text", machine.bodies.at(118));
    EXPECT_EQ("EVENT001~01=1!02=1~EVENT002~01=2!02=4", machine.bodies.at(119));
    EXPECT_EQ("EVENT001~00:01:1", machine.bodies.at(117));
    EXPECT_EQ("1C", machine.outcomes.at(120));
    const FaultSchedule::Entry& fault = machine.faults.at(0);
    EXPECT_EQ(1ms, fault.at);
    EXPECT_EQ(2ms, fault.last);
    EXPECT_EQ(4ms, fault.againMax);
    EXPECT_TRUE(fault.faults.silent && fault.faults.refuse && fault.faults.deaf);
    EXPECT_EQ(5ms, fault.faults.delay);
    EXPECT_EQ(-7, fault.faults.lengthError);
    EXPECT_EQ(8U, fault.faults.closeAfter);
    EXPECT_EQ(9ms, fault.faults.repeatAfter);
    EXPECT_EQ("ba", fault.faults.garbageBefore + fault.faults.garbageAfter);
    EXPECT_EQ("/dev/ttyS9", scenario.machines[1].options.tty);
    EXPECT_EQ(9600U, scenario.machines[1].options.line.speed);
    EXPECT_EQ('E', scenario.machines[1].options.line.parity);
}

TEST(Scenario, TellsWhereAMistakeIsAndWhatWasExpected) {
    EXPECT_EQ("line 1: the scenario: an object is expected", problemOf("[]"));
    EXPECT_EQ("line 1: machines: a list of 1 to 99 machines is expected", problemOf("{}"));
    EXPECT_EQ("line 1: machines: a list is expected", problemOf(R"({"machines": 3})"));
    EXPECT_EQ("line 1: machines[0]: an object is expected", problemOf(R"({"machines": [1]})"));
    EXPECT_EQ("line 1: machines[0].code: nothing has this name", problemOfMachine(R"("code": 1)"));
    EXPECT_EQ("line 1: machines[0].code_id: 1 to 11 characters is expected",
              problemOfMachine(R"("code_id": "TWELVELETTER")"));
    EXPECT_EQ("line 1: machines[0].port: a whole number from 0 to 65535 is expected",
              problemOfMachine(R"("port": 65536)"));
    EXPECT_EQ("line 1: machines[0].trailer: true or false is expected",
              problemOfMachine(R"("trailer": 1)"));
    EXPECT_EQ("line 1: machines[0].meters.every_ms: a whole number from 1 to 86400000 is expected",
              problemOfMachine(R"("meters": {"every_ms": 0})"));
    EXPECT_EQ("line 1: machines[0].answers: a message code from 1 to 255 as each name is expected",
              problemOfMachine(R"("answers": {"256": "x"})"));
    EXPECT_EQ("line 1: machines[0].answers.118: a text is expected",
              problemOfMachine(R"("answers": {"118": 5})"));
    EXPECT_EQ(
        "line 1: machines[0].faults[0].again_ms: [shortest, longest] in milliseconds is expected",
        problemOfMachine(R"("faults": [{"again_ms": [2, 1]}])"));
    EXPECT_EQ(
        R"(line 1: machines[0].line: a line setting such as "19200 8N1" is expected, not "fast")",
        problemOfMachine(R"("line": "fast")"));
    EXPECT_THAT(problemOf("{\n\"seed\" 1}"),
                testing::StartsWith("parse error at line 2, column 8"));
    EXPECT_NE("none", problemOfMachine(R"("tty": "a", "pty": "b")"));
}

TEST(Scenario, TellsTheLineOfAMistake) {
    EXPECT_EQ("line 3: seed: a whole number from 0 to 4294967295 is expected",
              problemOf("{\n // seed\n \"seed\": -1, \"machines\": [{}]}"));
    EXPECT_EQ("line 4: machines[1].faults[1].silent: true or false is expected",
              problemOf("{\"machines\": [{},\n {\"faults\": [{},\n {\"at_ms\": 1,\n "
                        "\"silent\":\n 1}]}\n]}"));
    EXPECT_EQ("line 3: machines[1]: an object is expected",
              problemOf("{\"machines\": [\n{},\n 1]}"));
    EXPECT_EQ("machines[0].port: is there twice, in lines 2 and 3",
              problemOf("{\"machines\": [{\n\"port\": 1,\n\"port\": 2}]}"));
}

TEST(Scenario, DeepNestingIsRefused) {
    EXPECT_THAT(problemOf(std::string(100000, '[')), testing::EndsWith("[0]: nested too deeply"));
}

TEST(Scenario, AFileWithoutAnEndIsRefused) {
    try {
        Scenario::load("/dev/zero");
        FAIL() << "it is read";
    } catch (const ScenarioError& e) {
        EXPECT_STREQ("/dev/zero: larger than 16 MiB", e.what());
    }
}

TEST(ScenarioMeters, TheSameSeedMovesTheSameWayHoweverOftenItIsAsked) {
    const Meters::Options options = {
        .totalIn = 100, .totalOut = 50, .every = 10ms, .mostIn = 500, .mostOut = 400};
    Meters often(options, 5);
    Meters once(options, 5);
    Meters other(options, 6);
    EXPECT_EQ("100~50~0~100~50~0", often.bodyAt(9ms));
    for (int i = 0; i < 100; ++i) often.bodyAt(std::chrono::milliseconds(10 * i));
    EXPECT_EQ(once.bodyAt(1000ms), often.bodyAt(1000ms));
    EXPECT_NE(once.bodyAt(1000ms), other.bodyAt(1000ms));
}

// Whether the machine is silent at each of these times.
std::string silences(FaultSchedule& schedule, const std::vector<int>& times) {
    std::string result;
    for (const int time : times) {
        result += schedule.at(std::chrono::milliseconds(time)).silent ? 'S' : '-';
    }
    return result;
}

FaultSchedule::Entry silentFrom(int at) {
    FaultSchedule::Entry entry;
    entry.faults.silent = true;
    entry.at = std::chrono::milliseconds(at);
    return entry;
}

TEST(ScenarioFaultSchedule, FaultsComeAndGo) {
    FaultSchedule::Entry entry = silentFrom(10);
    entry.last = 5ms;
    FaultSchedule schedule({entry}, 1);
    EXPECT_EQ(10ms, schedule.nextChange());
    EXPECT_EQ("-SS--", silences(schedule, {9, 10, 14, 15, 1000}));
    EXPECT_EQ(std::nullopt, schedule.nextChange());
}

TEST(ScenarioFaultSchedule, FaultsWithoutAnEndStay) {
    FaultSchedule schedule({silentFrom(10)}, 1);
    EXPECT_EQ("-SS", silences(schedule, {0, 10, 100000}));
    EXPECT_EQ(std::nullopt, schedule.nextChange());
}

TEST(ScenarioFaultSchedule, FaultsComeAgainWhenTheSeedSays) {
    FaultSchedule::Entry entry = silentFrom(10);
    entry.last = 5ms;
    entry.againMin = 20ms;
    entry.againMax = 40ms;
    FaultSchedule schedule({entry}, 1);
    FaultSchedule same({entry}, 1);
    EXPECT_EQ("S-", silences(schedule, {10, 15}));
    const auto again = schedule.nextChange();
    EXPECT_LE(35ms, again.value());
    EXPECT_GE(55ms, again.value());
    same.at(15ms);
    EXPECT_EQ(again, same.nextChange());
}

}  // namespace
}  // namespace tesksim
