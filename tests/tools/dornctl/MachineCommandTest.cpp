// The subcommands for the eight request types, one at a time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "dornctl/Dornctl.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

// Two machines that are known.
class MachineCommand : public testing::Test {
  protected:
    void SetUp() override { gateway_.startKnown(); }
    void TearDown() override { EXPECT_CLEAN_STOP(gateway_.daemon()); }

    tesksim::AnswerTable& answers(std::size_t n = 1) { return gateway_.machine(n).answers(); }
    std::string output(const std::vector<std::string>& arguments) {
        return outputOf(gateway_.daemon().port(), arguments);
    }
    std::string json(const std::vector<std::string>& arguments) {
        return jsonOf(gateway_.daemon().port(), arguments);
    }

    Gateway gateway_{2, Config().set("INTERNAL", "ZQ_SW_VERSION", "2.4")};
};

TEST_F(MachineCommand, MachinesAndVersionAreTheGatewaysOwn) {
    EXPECT_EQ(
        "machine      serial port  state\n"
        "-----------  -----------  -----\n"
        "ZA000000001            1  known\n"
        "ZA000000002            2  known\n",
        output({"machines"}));
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","machines":[)"
              R"({"machine":"ZA000000001","port":1,"known":true,"state":"known"},)"
              R"({"machine":"ZA000000002","port":2,"known":true,"state":"known"}]})",
              json({"machines"}));

    EXPECT_EQ(
        "field             value\n"
        "----------------  -----\n"
        "software version  2.4\n",
        output({"version"}));
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","version":"2.4"})", json({"version"}));
}

TEST_F(MachineCommand, MetersOfEveryMachineStandBesideItsName) {
    answers(1).setBody(113, "184250~171900~0~184250~171900~320");
    EXPECT_EQ(
        "machine      outcome  CNTTOTIN  CNTTOTOT  CNTCL  item 3  item 4  item 5\n"
        "-----------  -------  --------  --------  -----  ------  ------  ------\n"
        "ZA000000001  0 (00)     184250    171900      0  184250  171900     320\n"
        "ZA000000002  0 (00)        100       200      1     100     200       0\n",
        output({"meters"}));
    EXPECT_EQ(
        "machine      outcome  CNTTOTIN  CNTTOTOT  CNTCL  item 3  item 4  item 5\n"
        "-----------  -------  --------  --------  -----  ------  ------  ------\n"
        "ZA000000002  0 (00)        100       200      1     100     200       0\n",
        output({"meters", "ZA000000002"}));
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","answers":[)"
              R"({"machine":"ZA000000001","date":"DATE","machine_date":"15.03.21",)"
              R"("outcome":{"code":0,"text":"00"},"counters":{"CNTTOTIN":184250,"CNTTOTOT":171900,)"
              R"("CNTCL":0,"item_3":184250,"item_4":171900,"item_5":320}},)"
              R"({"machine":"ZA000000002","date":"DATE","machine_date":"15.03.21",)"
              R"("outcome":{"code":0,"text":"00"},"counters":{"CNTTOTIN":100,"CNTTOTOT":200,)"
              R"("CNTCL":1,"item_3":100,"item_4":200,"item_5":0}}],"failures":[]})",
              json({"meters"}));
}

// The first machine answers when the second one has, and still stands first.
TEST_F(MachineCommand, RowsStandInTheOrderOfTheSerialPorts) {
    gateway_.machine(1).setFaults({.delay = std::chrono::milliseconds(300)});
    const std::string text = output({"value", "120"});
    EXPECT_LT(text.find("ZA000000001"), text.find("ZA000000002")) << text;
}

TEST_F(MachineCommand, ValueIsANumberOrATextAndListByFieldsSendsTwoTexts) {
    answers(1).setBody(120, "4712");
    EXPECT_EQ(
        "machine      date (machine)  outcome  number  text\n"
        "-----------  --------------  -------  ------  ----\n"
        "ZA000000001  15.03.21        0 (00)     4712\n",
        output({"value", "120", "ZA000000001"}));
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","answers":[{"machine":"ZA000000001",)"
              R"("date":"DATE","machine_date":"15.03.21","outcome":{"code":0,"text":"00"},)"
              R"("value":0,"text":"A1B2C3D4"}],"failures":[]})",
              json({"value", "118", "ZA000000001"}));

    EXPECT_EQ(
        "field           value\n"
        "--------------  -----------\n"
        "machine         ZA000000001\n"
        "date (daemon)   dd.mm.yy\n"
        "date (machine)  15.03.21\n"
        "outcome         0 (00)\n"
        "pages           1\n"
        "entries         2\n"
        "\n"
        "entry     number  value\n"
        "--------  ------  -----\n"
        "CNTTOTIN       1    100\n"
        "               2    200\n"
        "CNTTOTOT       1    300\n",
        output({"list-by-fields", "CNT00001", "CNT99999", "ZA000000001"}));
    EXPECT_EQ("CNT00001~CNT99999", gateway_.machine(1).journal().waitForRequest(115)->payload);
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","answers":[{"machine":"ZA000000001",)"
              R"("date":"DATE","machine_date":"15.03.21","outcome":{"code":0,"text":"00"},)"
              R"("pages":1,"complete":true,"entries":[{"name":"CNTTOTIN","values":[)"
              R"({"number":1,"value":100},{"number":2,"value":200}]},)"
              R"({"name":"CNTTOTOT","values":[{"number":1,"value":300}]}]}],"failures":[]})",
              json({"list-by-fields", "A", "B", "ZA000000001"}));
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
    EXPECT_EQ(
        "field           value\n"
        "--------------  -----------\n"
        "machine         ZA000000001\n"
        "date (daemon)   dd.mm.yy\n"
        "date (machine)  15.03.21\n"
        "outcome         0 (00)\n"
        "pages           2\n"
        "entries         256\n"
        "\n"
        "entry     number  value\n"
        "--------  ------  -----\n"
        "EVENT001       1      1\n"
        "EVENT002       1      2\n"
        "EVENT003       1      3\n"
        "EVENT004       1     ",
        text.substr(0, 331));
    EXPECT_EQ(
        "252\n"
        "EVENT253       1    253\n"
        "EVENT254       1    254\n"
        "EVENT255       1    255\n"
        "EVENT256       1    256\n",
        text.substr(text.size() - 100));
    EXPECT_EQ(
        R"({"time":"TIME","gateway":"GATEWAY","answers":[{"machine":"ZA000000001",)"
        R"("date":"DATE","machine_date":"15.03.21","outcome":{"code":0,"text":"00"},)"
        R"("pages":2,"complete":true,"entries":[{"name":"EVENT001","values":[{"number":1,"value":1}]},)",
        json({"list-by-numbers", "1", "300", "ZA000000001"}).substr(0, 235));
}

TEST_F(MachineCommand, TimesOfEveryMachineComeInOneTableOrOfOneAlone) {
    EXPECT_EQ(
        "machine      date (machine)  outcome  entry     time   digit\n"
        "-----------  --------------  -------  --------  -----  -----\n"
        "ZA000000001  15.03.21        0 (00)   OPENDOOR  12:34      5\n"
        "                                                23:59      1\n"
        "                                      POWERUP   00:01      0\n"
        "ZA000000002  15.03.21        0 (00)   OPENDOOR  12:34      5\n"
        "                                                23:59      1\n"
        "                                      POWERUP   00:01      0\n",
        output({"times", "01.03.26", "31.03.26"}));
    EXPECT_EQ("01.03.26~31.03.26", gateway_.machine(2).journal().waitForRequest(117)->payload);

    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","answers":[{"machine":"ZA000000001",)"
              R"("date":"DATE","machine_date":"15.03.21","outcome":{"code":0,"text":"00"},)"
              R"("pages":1,"complete":true,"entries":[{"name":"OPENDOOR","values":[)"
              R"({"time":"12:34","digit":5},{"time":"23:59","digit":1}]},)"
              R"({"name":"POWERUP ","values":[{"time":"00:01","digit":0}]}]}],"failures":[]})",
              json({"times", "A", "B", "ZA000000001"}));
}

TEST_F(MachineCommand, NumbersAreDecimalAlsoWithZerosInFront) {
    gateway_.machine(1).journal().clear();
    output({"value", "0120", "ZA000000001"});
    output({"list-by-numbers", "010", "0065", "ZA000000001"});
    EXPECT_EQ("10~65", gateway_.machine(1).journal().waitForRequest(119)->payload);
    EXPECT_TRUE(gateway_.machine(1).journal().waitForRequest(120).has_value());
}

TEST_F(MachineCommand, PagesWithoutEntriesAndEntriesWithoutValuesAreShown) {
    answers(1).setBody(117, "");
    answers(2).setBody(117, "OPENDOOR~");
    const std::string times = output({"times", "A", "B"});
    EXPECT_NE(std::string::npos, times.find("\nZA000000001  15.03.21        0 (00)\n")) << times;
    EXPECT_NE(std::string::npos, times.find("OPENDOOR")) << times;
    answers(1).setBody(119, "ERRORS~~RESETS~01:5");
    const std::string list = output({"list-by-numbers", "1", "2", "ZA000000001"});
    EXPECT_NE(std::string::npos, list.find("ERRORS\nRESETS       1      5\n")) << list;
}

TEST(MachineCommandPages, ThoseOfSeveralMachinesAreJoinedForEachOfThem) {
    constexpr std::size_t kMachines = 4;
    constexpr std::size_t kEntries = 21000;  // on 83 pages
    Gateway gateway(kMachines);
    gateway.startKnown();
    std::string body;
    for (std::size_t i = 0; i < kEntries; ++i) body += "A~~";
    for (std::size_t n = 1; n <= kMachines; ++n) gateway.machine(n).answers().setBody(117, body);
    const Printed printed =
        dornctl(gateway.daemon().port(), {"--timeout", "20000", "--json", "times", "A", "B"});
    EXPECT_EQ(0, printed.status) << printed.error;
    const auto machines = nlohmann::json::parse(printed.output, nullptr, false)
                              .value("answers", nlohmann::json::array());
    ASSERT_EQ(kMachines, machines.size());
    for (const auto& machine : machines) {
        EXPECT_EQ(83, machine["pages"]);
        EXPECT_EQ(kEntries, machine["entries"].size());
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST_F(MachineCommand, RawShowsTheMachinesWholeMessage) {
    EXPECT_EQ(
        "field           value\n"
        "--------------  -------------------\n"
        "size            52 bytes\n"
        "message ID      113\n"
        "date (machine)  15.03.21\n"
        "machine         ZA000000002\n"
        "outcome         00\n"
        "body            100~200~1~100~200~0\n"
        "trailer         none\n",
        output({"raw", "113~0008", "ZA000000002"}));
    answers(2).setBody(113, "bell\a");
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","answers":[{"machine":"ZA000000002",)"
              R"("id":113,"machine_date":"15.03.21","outcome":{"code":0,"text":"00"},)"
              R"("body":"bell\u0007","trailer":false,"size":38,"bytes":)"
              R"("3131337E303032367E31352E30332E32317E5A413030303030303030327E30307E62656C6C07"}],)"
              R"("failures":[]})",
              json({"raw", "113~0008", "ZA000000002"}));
}

TEST_F(MachineCommand, RawFillsInALengthThatIsLeftOut) {
    output({"raw", "113", "ZA000000001"});
    EXPECT_EQ("", gateway_.machine(1).journal().waitForRequest(113, 2)->payload);
    output({"raw", "115~~CNT00001~CNT99999", "ZA000000001"});
    EXPECT_EQ("CNT00001~CNT99999", gateway_.machine(1).journal().waitForRequest(115)->payload);
    output({"raw", "115~000B~AB", "ZA000000001"});
    EXPECT_EQ("AB", gateway_.machine(1).journal().waitForRequest(115, 2)->payload);
}

// The machine does not answer it, as it would be with a real one.
TEST_F(MachineCommand, RawSendsAsItStandsWhatIsForced) {
    const Printed printed = dornctl(gateway_.daemon().port(),
                                    {"--timeout", "300", "raw", "--force", "113", "ZA000000001"});
    EXPECT_EQ(6, printed.status);
    EXPECT_THAT(printed.error, testing::HasSubstr("no complete answer came in time"));
}

constexpr char kHead[] =
    "machine        serial port  state\n"
    "-------------  -----------  ";

TEST(MachineCommandMachines, ShowTheWholeNameOfOneThatHasNotAnswered) {
    Gateway gateway(2);
    gateway.machine(1).setFaults({.silent = true});
    gateway.machine(2).setFaults({.silent = true});
    gateway.start();
    EXPECT_EQ(std::string(kHead) +
                  "--------------------------------------\n"
                  "SlotMachine_1            1  not known: not asked yet, or no answer\n"
                  "SlotMachine_2            2  not known: not asked yet, or no answer\n",
              dornctl(gateway.daemon().port(), {"machines"}).output);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(MachineCommandMachines, TellThatOneWasAskedWhenAnotherHasAnsweredAPoll) {
    Gateway gateway(2);
    gateway.machine(1).setFaults({.silent = true});
    gateway.start();
    HostClient host = gateway.host();
    ASSERT_TRUE(eventually([&] { return ask(host, 502).size() > 50; }));
    EXPECT_EQ(std::string(kHead) +
                  "---------------------------------------------------------\n"
                  "SlotMachine_1            1  not known: asked, and no answer since the gateway's "
                  "start\n"
                  "ZA000000002              2  known\n",
              dornctl(gateway.daemon().port(), {"machines"}).output);
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","machines":[)"
              R"({"machine":"SlotMachine_1","port":1,"known":false,"state":"unanswered"},)"
              R"({"machine":"ZA000000002","port":2,"known":true,"state":"known"}]})",
              compact(dornctl(gateway.daemon().port(), {"--json", "machines"}).output));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
