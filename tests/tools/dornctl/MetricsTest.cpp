// The gateway's state for Prometheus.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "dornctl/Dornctl.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// How long something took is not known before.
std::string withoutRoundTrips(const std::string& text) {
    static const std::regex time("(round_trip_seconds(\\{[^}]*\\})?) [0-9.e-]+");
    return std::regex_replace(text, time, "$1 T");
}

class Metrics : public testing::Test {
  protected:
    void SetUp() override { gateway_.startKnown(); }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    std::string file() const { return directory_ / "teskd.prom"; }
    Printed run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "metrics");
        return dornctl(gateway_.daemon().port(), std::move(arguments));
    }

    Gateway gateway_{2, Config().set("INTERNAL", "ZQ_SW_VERSION", "2.4")};
    const TempDir directory_;
};

TEST_F(Metrics, TellTheGatewaysStateAndThatOfItsMachines) {
    const Printed printed = run({});
    EXPECT_EQ(0, printed.status);
    EXPECT_EQ("", printed.error);
    EXPECT_EQ(
        "# HELP teskd_up Whether the gateway answered.\n"
        "# TYPE teskd_up gauge\n"
        "teskd_up 1\n"
        "# HELP teskd_unanswered_looks_total Requests for the gateway's state without an answer.\n"
        "# TYPE teskd_unanswered_looks_total counter\n"
        "teskd_unanswered_looks_total 0\n"
        "# HELP teskd_info The gateway's software version.\n"
        "# TYPE teskd_info gauge\n"
        "teskd_info{version=\"2.4\"} 1\n"
        "# HELP teskd_round_trip_seconds From a request to the gateway itself to its answer.\n"
        "# TYPE teskd_round_trip_seconds gauge\n"
        "teskd_round_trip_seconds T\n"
        "# HELP teskd_machine_known Whether the machine's last answer came.\n"
        "# TYPE teskd_machine_known gauge\n"
        "teskd_machine_known{machine=\"ZA000000001\",port=\"1\"} 1\n"
        "teskd_machine_known{machine=\"ZA000000002\",port=\"2\"} 1\n"
        "# HELP teskd_machine_last_answer_age_seconds Since the machine's last answer to a poll or "
        "to this request.\n"
        "# TYPE teskd_machine_last_answer_age_seconds gauge\n"
        "teskd_machine_last_answer_age_seconds{machine=\"ZA000000001\",port=\"1\"} 0\n"
        "teskd_machine_last_answer_age_seconds{machine=\"ZA000000002\",port=\"2\"} 0\n"
        "# HELP teskd_machine_round_trip_seconds From a request for the machine's meters to its "
        "answer.\n"
        "# TYPE teskd_machine_round_trip_seconds gauge\n"
        "teskd_machine_round_trip_seconds{machine=\"ZA000000001\",port=\"1\"} T\n"
        "teskd_machine_round_trip_seconds{machine=\"ZA000000002\",port=\"2\"} T\n"
        "# HELP teskd_machine_requests_total Requests of this command to the machine.\n"
        "# TYPE teskd_machine_requests_total counter\n"
        "teskd_machine_requests_total{machine=\"ZA000000001\"} 1\n"
        "teskd_machine_requests_total{machine=\"ZA000000002\"} 1\n"
        "# HELP teskd_machine_timeouts_total Of them, those without an answer in time.\n"
        "# TYPE teskd_machine_timeouts_total counter\n"
        "teskd_machine_timeouts_total{machine=\"ZA000000001\"} 0\n"
        "teskd_machine_timeouts_total{machine=\"ZA000000002\"} 0\n"
        "# HELP teskd_machine_failures_total Of them, those that failed otherwise.\n"
        "# TYPE teskd_machine_failures_total counter\n"
        "teskd_machine_failures_total{machine=\"ZA000000001\"} 0\n"
        "teskd_machine_failures_total{machine=\"ZA000000002\"} 0\n",
        withoutRoundTrips(printed.output));
}

TEST_F(Metrics, AskNoMachineIfTheyAreToldNotTo) {
    HostClient host = gateway_.host();
    ASSERT_TRUE(eventually([&] { return ask(host, 502).size() > 150; }));
    gateway_.machine(1).journal().clear();
    const Printed printed = run({"--gateway-only"});
    EXPECT_EQ(0, printed.status);
    EXPECT_THAT(printed.output,
                HasSubstr("teskd_machine_known{machine=\"ZA000000001\",port=\"1\"} 1"));
    // From the gateway's readings.
    EXPECT_THAT(printed.output, testing::ContainsRegex(
                                    "last_answer_age_seconds\\{machine=\"ZA000000001\",port=\"1\""
                                    "\\} [0-9]+\n"));
    EXPECT_THAT(printed.output, Not(HasSubstr("teskd_machine_requests_total")));
    EXPECT_FALSE(gateway_.machine(1).journal().waitForRequests(1, std::chrono::milliseconds(0)));
}

TEST_F(Metrics, CountOnInTheirFileAlsoWhenSomethingFails) {
    EXPECT_EQ(0, run({"--output", file()}).status);
    EXPECT_EQ("", run({"--output", file()}).output);
    gateway_.machine(2).setFaults({.silent = true});
    EXPECT_EQ(6, run({"--timeout", "3000", "--output", file()}).status);
    const std::string text = readFile(file());
    EXPECT_THAT(text, HasSubstr("teskd_machine_requests_total{machine=\"ZA000000002\"} 3\n"));
    EXPECT_THAT(text, HasSubstr("teskd_machine_timeouts_total{machine=\"ZA000000001\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("teskd_machine_timeouts_total{machine=\"ZA000000002\"} 1\n"));

    const Printed nobody = dornctl(freeTcpPort(), {"metrics", "--output", file()});
    EXPECT_EQ(6, nobody.status);
    const std::string last = readFile(file());
    EXPECT_THAT(last, HasSubstr("teskd_up 0\n"));
    EXPECT_THAT(last, HasSubstr("teskd_unanswered_looks_total 1\n"));
    EXPECT_THAT(last, HasSubstr("teskd_machine_requests_total{machine=\"ZA000000002\"} 3\n"));
    EXPECT_THAT(last, Not(HasSubstr("teskd_machine_known")));
    EXPECT_FALSE(std::filesystem::exists(file() + ".new"));
}

TEST_F(Metrics, CountTheNotificationsThatListenHasKept) {
    const std::string kept = directory_ / "kept.jsonl";
    writeFile(kept,
              "{\"repeated\":false,\"code\":4}\n"
              "{\"repeated\":true,\"code\":4}\n"
              "{\"repeated\":false,\"code\":4}\n"
              "{\"repeated\":false,\"code\":5}\n"
              "{\"repeated\":false,\"co");
    const Printed printed = run({"--notifications", kept});
    EXPECT_THAT(printed.output, HasSubstr("# TYPE teskd_notifications_total counter\n"
                                          "teskd_notifications_total{code=\"4\"} 2\n"
                                          "teskd_notifications_total{code=\"5\"} 1\n"));
    EXPECT_EQ(1, run({"--notifications", "/none/file"}).status);
    EXPECT_EQ(1, run({"--output", "/none/file"}).status);
}

#ifdef PROMTOOL
// Prometheus' own judgement, where it is installed.
TEST_F(Metrics, AreWhatPrometheusTakes) {
    EXPECT_EQ(0, run({"--output", file()}).status);
    ChildProcess promtool(
        {.command = {"sh", "-c", PROMTOOL " check metrics < \"$1\"", "sh", file()}});
    EXPECT_EQ(0, promtool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ("", promtool.standardOutput() + promtool.standardError());
}
#endif

}  // namespace
}  // namespace teskd::test
