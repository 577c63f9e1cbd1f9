// The subcommands for the AAMS requests 501 to 507, one at a time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dornctl/Dornctl.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

// The one reading of these tests, as a table.
const std::string kReadings =
    "time of the reading  machine      outcome  CNTTOTIN  CNTTOTOT  CNTCL  item 3  item 4  "
    "item 5  trailer\n"
    "-------------------  -----------  -------  --------  --------  -----  ------  ------  "
    "------  -------\n"
    "YYYY-MM-DD hh:mm:ss  ZA000000001  00            110       200      1     100     200      "
    " 0  none\n";

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
    std::string output(const std::vector<std::string>& arguments) {
        return outputOf(gateway_.daemon().port(), arguments);
    }
    std::string json(const std::vector<std::string>& arguments) {
        return jsonOf(gateway_.daemon().port(), arguments);
    }

    Gateway gateway_{1, Config()
                            .set("INTERNAL", "ZQ_MODEL", "BOX7")
                            .set("INTERNAL", "ZQ_SW_VERSION", "2.4")
                            .set("INTERNAL", "SW_UPDATE_B", "211231235959")};
};

TEST_F(AamsCommand, IdentificationAndReadingsNeedNoMachinesName) {
    EXPECT_EQ(
        "field                 value\n"
        "--------------------  -------------------\n"
        "MAC address           ffffffffff00\n"
        "result                00 (success)\n"
        "model                 BOX7\n"
        "software version      2.4\n"
        "software installed    YYYY-MM-DD hh:mm:ss\n"
        "manufacturer          ZEPH WLT\n"
        "Tesk connection type  3\n"
        "connection type       9\n"
        "time of the answer    YYYY-MM-DD hh:mm:ss\n",
        output({"identification"}));
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","code":501,"meaning":"identification",)"
              R"("mac":"ffffffffff00","result":{"code":"00","text":"success"},"model":"BOX7",)"
              R"("software_version":"2.4","software_installed":"TIME",)"
              R"("manufacturer":"ZEPH WLT","tesk_connection_type":3,"connection_type":9,)"
              R"("answered":"TIME","readings":[]})",
              json({"identification"}));

    EXPECT_EQ(
        "field               value\n"
        "------------------  ----------------------\n"
        "MAC address         ffffffffff00\n"
        "result              00 (success)\n"
        "state               3 (first polling pass)\n"
        "time of the answer  YYYY-MM-DD hh:mm:ss\n"
        "\n" +
            kReadings,
        output({"readings"}));
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","code":502,)"
              R"("meaning":"machines and their newest readings","mac":"ffffffffff00",)"
              R"("result":{"code":"00","text":"success"},)"
              R"("state":{"code":3,"text":"first polling pass"},"answered":"TIME","readings":[)"
              R"({"time":"TIME","machine":"ZA000000001","id":113,"machine_date":"15.03.21",)"
              R"("outcome":{"code":0,"text":"00"},"body":"110~200~1~100~200~0",)"
              R"("trailer":false,"counters":{"CNTTOTIN":110,"CNTTOTOT":200,"CNTCL":1,)"
              R"("item_3":100,"item_4":200,"item_5":0}}]})",
              json({"readings"}));
}

TEST_F(AamsCommand, HistoryShowsTheReadingsOfAMachineThatIsKnown) {
    EXPECT_EQ(
        "field               value\n"
        "------------------  -------------------\n"
        "MAC address         ffffffffff00\n"
        "result              00 (success)\n"
        "time of the answer  YYYY-MM-DD hh:mm:ss\n"
        "\n"
        "time of the reading  machine      outcome  CNTTOTIN  CNTTOTOT  CNTCL  item 3  item 4  "
        "item 5  trailer  context\n"
        "-------------------  -----------  -------  --------  --------  -----  ------  ------  "
        "------  -------  -------\n"
        "YYYY-MM-DD hh:mm:ss  ZA000000001  00            110       200      1     100     200      "
        " 0  none     04\n",
        output({"history", "ZA000000001"}));

    const Printed printed = run({"history", "ZA000000009"});
    EXPECT_EQ(3, printed.status);
    EXPECT_EQ(
        "field        value\n"
        "-----------  --------------------\n"
        "MAC address  ffffffffff00\n"
        "result       0C (unknown machine)\n",
        printed.output);
    EXPECT_EQ("dornctl: the gateway replies with result 0C (unknown machine)\n", printed.error);
}

TEST_F(AamsCommand, ChecksNamesWhatFailed) {
    EXPECT_EQ(
        "field               value\n"
        "------------------  ----------------------------------\n"
        "MAC address         ffffffffff00\n"
        "result              00 (success)\n"
        "state               3 (first polling pass)\n"
        "failed check        40 (CNTTOTIN is no multiple of 50)\n"
        "time of the answer  YYYY-MM-DD hh:mm:ss\n"
        "\n" +
            kReadings,
        output({"checks", "ZA000000001"}));
    EXPECT_THAT(json({"checks", "ZA000000001"}),
                testing::HasSubstr(R"("failed_checks":[{"code":40,)"
                                   R"("text":"CNTTOTIN is no multiple of 50"}],)"));
}

TEST_F(AamsCommand, ParametersAreShownWithUnitsAndAllFourSet) {
    EXPECT_EQ(
        "field                          value\n"
        "-----------------------------  -------------------\n"
        "MAC address                    ffffffffff00\n"
        "result                         00 (success)\n"
        "between two polling passes     1 min\n"
        "report polling passes          yes\n"
        "report passes nobody answered  yes\n"
        "start to first polling pass    0 min\n"
        "time of the answer             YYYY-MM-DD hh:mm:ss\n",
        output({"parameters"}));

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
    EXPECT_EQ(
        "field        value\n"
        "-----------  -----------------------------------\n"
        "MAC address  ffffffffff00\n"
        "result       FF (date and time could not be set)\n",
        printed.output);
    EXPECT_EQ("dornctl: the gateway replies with result FF (date and time could not be set)\n",
              printed.error);
    EXPECT_TRUE(gateway_.log().waitFor("Unable to set date and time"));
}

TEST(AamsCommandChecks, OfAHealthyMachineAreASuccessAndThoseOfAnUnknownOneAreNot) {
    Gateway gateway(1);
    gateway.startKnown();
    const std::uint16_t port = gateway.daemon().port();
    HostClient host = gateway.host();
    ASSERT_TRUE(eventually([&] { return ask(host, 502).size() > 50; }));
    const Printed healthy = dornctl(port, {"checks", "ZA000000001"});
    EXPECT_EQ(0, healthy.status);
    EXPECT_EQ("", healthy.error);
    EXPECT_EQ(
        "field        value\n"
        "-----------  --------------------\n"
        "MAC address  ffffffffff00\n"
        "result       0E (no failed check)\n",
        healthy.output);
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","code":504,)"
              R"("meaning":"failed checks of a machine","mac":"ffffffffff00",)"
              R"("result":{"code":"0E","text":"no failed check"},"failed_checks":[],)"
              R"("readings":[]})",
              compact(dornctl(port, {"--json", "checks", "ZA000000001"}).output));

    const Printed unknown = dornctl(port, {"checks", "ZA000000009"});
    EXPECT_EQ(3, unknown.status);
    EXPECT_EQ("dornctl: the gateway replies with result 0C (unknown machine)\n", unknown.error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
