// The load generator, seen to run: figures come, whatever they are.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace {

using nlohmann::json;
using teskd::test::ChildProcess;

json figuresOf(std::vector<std::string> arguments) {
    ChildProcess::Options options;
    options.command = {LOAD_GENERATOR, "--seconds", "0.1", "--rounds", "2", "--json", "-"};
    options.command.insert(options.command.end(), arguments.begin(), arguments.end());
    ChildProcess program(options);
    const auto status = program.waitForExit();
    EXPECT_TRUE(status && status->ok()) << program.standardError();
    return json::parse(program.standardOutput(), nullptr, false);
}

bool isPositive(const json& figures, const char* field) {
    const json::json_pointer pointer(field);
    return figures.contains(pointer) && figures[pointer].is_number() &&
           figures[pointer].get<double>() > 0;
}

void expectFigures(const json& road) {
    for (const char* field :
         {"/requests", "/requests_per_second", "/latency_us/p50", "/latency_us/p90",
          "/latency_us/p99", "/latency_us/max", "/cpu_us_per_request",
          "/context_switches_per_request", "/resident_kb"}) {
        EXPECT_TRUE(isPositive(road, field)) << field << " in " << road.dump(2);
    }
    EXPECT_TRUE(road.contains("/system_calls_per_request/without_log"_json_pointer));
}

void expectRoads(const json& figures, const std::vector<std::string>& names) {
    ASSERT_TRUE(figures.is_object());
    ASSERT_EQ(names.size(), figures["roads"].size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(names[i], figures["roads"][i]["name"]);
        expectFigures(figures["roads"][i]);
    }
    ASSERT_EQ(names.size() - 1, figures["ratios"].size());
    for (const json& ratio : figures["ratios"]) {
        for (const char* field : {"/requests_per_second", "/p50", "/p99"}) {
            EXPECT_TRUE(isPositive(ratio, field)) << field;
        }
    }
    EXPECT_TRUE(isPositive(figures, "/machine/cores"));
    EXPECT_TRUE(figures.contains("/machine/kernel"_json_pointer));
    EXPECT_TRUE(figures.contains("/machine/load_before"_json_pointer));
    EXPECT_TRUE(figures.contains("/setup/answer_size"_json_pointer));
}

TEST(LoadGenerator, ComparesARequestToAMachineWithTheRelay) {
    const json figures = figuresOf({"--type", "1", "--hosts", "2", "--machines", "2",
                                    "--idle-hosts", "3", "--counted-requests", "0"});
    expectRoads(figures, {"daemon", "relay", "crowded daemon"});
}

TEST(LoadGenerator, HasMachinesThatTakeTheirTimeToAnswer) {
    constexpr double MICROSECONDS = 5000;
    const json figures =
        figuresOf({"--type", "1", "--answer-after", "5000", "--counted-requests", "0"});
    expectRoads(figures, {"daemon", "relay"});
    for (const json& road : figures["roads"]) EXPECT_GE(road["latency_us"]["p50"], MICROSECONDS);
}

TEST(LoadGenerator, ComparesAnImmediateAnswerWithTheEcho) {
    const json figures = figuresOf({"--type", "7", "--counted-requests", "10"});
    expectRoads(figures, {"daemon", "echo"});
}

}  // namespace
