// The subcommands for the AAMS requests 501 to 507, one at a time.

#include <gtest/gtest.h>

#include "dornctl/Dornctl.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

// One machine whose reading fails a check, once the engine has it.
class AamsCommand : public testing::Test {
  protected:
    void SetUp() override {
        gateway_.machine(1).answers().setBody(113, "110~200~1~100~200~0");
        gateway_.startKnown();
        HostClient host = gateway_.host();
        ASSERT_TRUE(eventually([&] { return ask(host, 502).size() > 50; }));
    }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    Printed run(const std::vector<std::string>& arguments) {
        return dornctl(gateway_.daemon().port(), arguments);
    }
    // What the tool prints when all goes well.
    std::string output(const std::vector<std::string>& arguments) {
        const Printed printed = run(arguments);
        EXPECT_EQ(0, printed.status);
        EXPECT_EQ("", printed.error);
        return printed.output;
    }

    Gateway gateway_{1, Config()
                            .set("INTERNAL", "ZQ_MODEL", "BOX7")
                            .set("INTERNAL", "ZQ_SW_VERSION", "2.4")
                            .set("INTERNAL", "SW_UPDATE_B", "211231235959")};
};

TEST_F(AamsCommand, IdentificationNamesTheGateway) {
    EXPECT_EQ("x", output({"identification"}));
    EXPECT_EQ("x", output({"identification", "--json"}));
}

TEST_F(AamsCommand, ReadingsShowsTheNewestOfEveryMachine) {
    EXPECT_EQ("x", output({"readings"}));
    EXPECT_EQ("x", output({"readings", "--json"}));
}

TEST_F(AamsCommand, HistoryShowsTheReadingsOfAMachine) {
    EXPECT_EQ("x", output({"history", "ZA000000001"}));
}

TEST_F(AamsCommand, HistoryOfAMachineThatIsNotKnownIsRefused) {
    const Printed printed = run({"history", "ZA000000009"});
    EXPECT_EQ(7, printed.status);
    EXPECT_EQ("x", printed.output);
    EXPECT_EQ("dornctl: the gateway replies with result 0C (unknown machine)\n", printed.error);
}

TEST_F(AamsCommand, ChecksNamesWhatFailed) {
    EXPECT_EQ("x", output({"checks", "ZA000000001"}));
}

TEST_F(AamsCommand, ParametersShowsTheirUnits) {
    EXPECT_EQ("x", output({"parameters"}));
}

TEST_F(AamsCommand, SetParametersChangesAllFour) {
    EXPECT_EQ("done\n", output({"set-parameters", "--every", "5", "--report", "yes",
                                "--report-unanswered", "no", "--first", "2"}));
    EXPECT_TRUE(gateway_.log().waitFor(
        "AAMS External parameters changed: tmp_app_collegati = 5, invio_app_collegati = 1, "
        "invio_no_app_collegati = 0, tmp_app_accensione = 2"));
}

// The daemon lacks the privilege, and the time is the present one.
TEST_F(AamsCommand, SetClockTellsWhenTheGatewayCannot) {
    const Printed printed = run({"set-clock", "now"});
    EXPECT_EQ(7, printed.status);
    EXPECT_EQ("x", printed.output);
    EXPECT_EQ("dornctl: the gateway replies with result FF (date and time could not be set)\n",
              printed.error);
    EXPECT_TRUE(gateway_.log().waitFor("Unable to set date and time"));
}

}  // namespace
}  // namespace teskd::test
