// The subcommands for the eight request types, one at a time.

#include <gtest/gtest.h>

#include "dornctl/Dornctl.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

// Two machines that are known.
class MachineCommand : public testing::Test {
  protected:
    void SetUp() override { gateway_.startKnown(); }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    tesksim::AnswerTable& answers(std::size_t n = 1) { return gateway_.machine(n).answers(); }

    // What the tool prints when all goes well.
    std::string output(const std::vector<std::string>& arguments) {
        const Printed printed = dornctl(gateway_.daemon().port(), arguments);
        EXPECT_EQ(0, printed.status);
        EXPECT_EQ("", printed.error);
        return printed.output;
    }

    Gateway gateway_{2, Config().set("INTERNAL", "ZQ_SW_VERSION", "2.4")};
};

TEST_F(MachineCommand, MachinesListsNamesAndSerialPorts) {
    EXPECT_EQ("x", output({"machines"}));
    EXPECT_EQ("x", output({"machines", "--json"}));
}

TEST_F(MachineCommand, VersionTellsTheSoftware) {
    EXPECT_EQ("x", output({"version"}));
    EXPECT_EQ("x", output({"--json", "version"}));
}

TEST_F(MachineCommand, MetersOfEveryMachineComeInOneTable) {
    answers(1).setBody(113, "184250~171900~0~184250~171900~320");
    answers(2).setBody(113, "184250~171900~0~184250~171900~320");
    EXPECT_EQ("x", output({"meters"}));
}

TEST_F(MachineCommand, MetersOfOneMachine) {
    EXPECT_EQ("x", output({"meters", "ZA000000002"}));
    EXPECT_EQ("x", output({"--json", "meters", "ZA000000001"}));
}

TEST_F(MachineCommand, ValueIsANumberOrAText) {
    answers(1).setBody(120, "4712");
    EXPECT_EQ("x", output({"value", "120", "ZA000000001"}));
    EXPECT_EQ("x", output({"value", "118", "ZA000000001", "--json"}));
}

TEST_F(MachineCommand, ListByFieldsSendsBothTexts) {
    EXPECT_EQ("x", output({"list-by-fields", "CNT00001", "CNT99999", "ZA000000001"}));
    EXPECT_EQ("CNT00001~CNT99999", gateway_.machine(1).journal().waitForRequest(115)->payload);
    EXPECT_EQ("x", output({"list-by-fields", "A", "B", "ZA000000001", "--json"}));
}

TEST_F(MachineCommand, ListByNumbersJoinsThePages) {
    std::string body;
    for (int i = 1; i <= 256; ++i) {
        body += (i == 1 ? "" : "~") + std::string("EVENT") + std::to_string(1000 + i).substr(1) +
                "~01=" + std::to_string(i);
    }
    answers(1).setBody(119, body);
    const std::string text = output({"list-by-numbers", "1", "300", "ZA000000001"});
    EXPECT_EQ("1~300", gateway_.machine(1).journal().waitForRequest(119)->payload);
    EXPECT_EQ("x", text.substr(0, 300));
    EXPECT_EQ("x", text.substr(text.size() - 100));
    const std::string json = output({"--json", "list-by-numbers", "1", "300", "ZA000000001"});
    EXPECT_EQ("x", json.substr(0, 300));
}

TEST_F(MachineCommand, TimesOfEveryMachineComeInOneTable) {
    EXPECT_EQ("x", output({"times", "01.03.26", "31.03.26"}));
    EXPECT_EQ("01.03.26~31.03.26", gateway_.machine(2).journal().waitForRequest(117)->payload);
}

TEST_F(MachineCommand, TimesOfOneMachine) {
    EXPECT_EQ("x", output({"times", "A", "B", "ZA000000001", "--json"}));
}

TEST_F(MachineCommand, RawShowsTheMachinesWholeMessage) {
    tesksim::Answer signedAnswer;
    signedAnswer.body = "1~2";
    signedAnswer.trailer = std::string(268, 'S');
    answers(2).set(113, signedAnswer);
    EXPECT_EQ("x", output({"raw", "113~0008", "ZA000000002"}));
    answers(2).setBody(113, "bell\a");
    EXPECT_EQ("x", output({"raw", "113~0008", "ZA000000002", "--json"}));
}

}  // namespace
}  // namespace teskd::test
