// Requests that fail, each with a sentence and an exit status of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dornctl/Dornctl.h"
#include "gateway/Gateway.h"
#include "support/Frame.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

TEST(DornctlFailure, AMachineThatIsNotKnownIsStatus3) {
    Gateway gateway;
    gateway.start();
    const Printed printed = dornctl(gateway.daemon().port(), {"meters", "ZA000000009"});
    EXPECT_EQ(3, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ(
        "dornctl: ZA000000009: the gateway knows no such machine, or its last answer did not "
        "come (0xFD); \"dornctl machines\" tells\n",
        printed.error);
    const Printed all = dornctl(gateway.daemon().port(), {"meters"});
    EXPECT_EQ(3, all.status);
    EXPECT_EQ("", all.output);
    EXPECT_EQ("dornctl: no machine is known to the gateway now; see \"dornctl machines\"\n",
              all.error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlFailure, IsJsonWhereJsonIsAskedFor) {
    Gateway gateway;
    gateway.start();
    const Printed printed = dornctl(gateway.daemon().port(), {"--json", "meters", "ZA000000009"});
    EXPECT_EQ(3, printed.status);
    constexpr char kProblem[] =
        R"("machine":"ZA000000009","status":{"code":3,"text":"unknown-machine"},)"
        R"("message":"the gateway knows no such machine, or its last answer did not come (0xFD); )"
        R"(\"dornctl machines\" tells"})";
    EXPECT_EQ(std::string(R"({"time":"TIME","gateway":"GATEWAY","answers":[],"failures":[{)") +
                  kProblem + "]}",
              compact(printed.output));
    EXPECT_EQ(std::string(R"({"error":{"time":"TIME","gateway":"GATEWAY",)") + kProblem + "}\n",
              printed.error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlFailure, ARequestThatTheGatewayCannotCarryOutIsStatus5) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.closeAfter = 5});
    const Printed printed = dornctl(gateway.daemon().port(), {"raw", "113~0008", "ZA000000001"});
    EXPECT_EQ(5, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ(
        "dornctl: ZA000000001: the gateway could not carry out the request (0xAB); its log says "
        "why\n",
        printed.error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

Frame readRequest(Connection& connection) {
    const std::string header = connection.readExactly(Frame::kHeaderSize);
    return *parseFrame(header + connection.readExactly(frameLength(header)));
}

void send(Connection& connection, const Frame& request, std::vector<Frame> frames) {
    for (Frame& frame : frames) {
        frame.type = request.type;
        frame.identifierB = request.identifierB;
        connection.sendAll(frame.encode());
    }
}

// Stands for a gateway: reads a request on the connection and answers it with these frames.
void answer(Connection& connection, const std::vector<Frame>& frames) {
    send(connection, readRequest(connection), frames);
}

// The same for a question to every machine: a request for the list of them, and then one for each,
// of which the first ones are answered.
void answer(Connection& connection, const Frame& listing, const std::vector<Frame>& frames) {
    answer(connection, {listing});
    for (const Frame& frame : frames) answer(connection, {frame});
}

Frame frameOf(std::uint8_t kind, const std::string& body) {
    return Frame{.kind = kind, .body = body};
}

// In milliseconds: what this test sends in between comes in time on a busy machine, too.
constexpr char kTimeOfTheTool[] = "3000";

constexpr char kTimedOut[] = "dornctl: A: the machine gave the gateway no answer in time (0xFE)\n";

TEST(DornctlFailure, AMachineThatGivesNoAnswerIsStatus4) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(gateway.port(), {"meters", "A"}));
    Connection connection = gateway.accept();
    answer(connection, {frameOf(0xFE, "")});
    EXPECT_EQ(4, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ("", tool.standardOutput());
    EXPECT_EQ(kTimedOut, tool.standardError());
}

struct Listed {
    std::string name;
    bool known = true;
};

Frame listing(const std::vector<Listed>& machines) {
    std::string body(1, static_cast<char>(machines.size()));
    for (const auto& [name, known] : machines) {
        body += name + std::string(13 - name.size(), '\0') + std::string(1, known ? '\0' : '\1');
    }
    return frameOf(0x81, body);
}

Frame valueFrame(char total, char number) {
    const std::string head = "15.03.26" + std::string{total, number, '\1'} + "15.03.26";
    return frameOf(0x81, head + std::string(7, '\0') + "*" + std::string(8, '\0'));
}

std::string valueOf(const std::string& machine) {
    return "machine  date (machine)  outcome  number  text\n"
           "-------  --------------  -------  ------  ----\n" +
           machine + "        15.03.26        0 (00)       42\n";
}

TEST(DornctlFailure, WhatTheOtherMachinesAnswerIsPrinted) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(gateway.port(), {"value", "120"}));
    Connection connection = gateway.accept();
    answer(connection, listing({{"A"}, {"B"}}), {frameOf(0xFE, ""), valueFrame(1, 1)});
    EXPECT_EQ(4, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ(valueOf("B"), tool.standardOutput());
    EXPECT_EQ(kTimedOut, tool.standardError());
}

TEST(DornctlFailure, AMachineWhoseAnswerIsMissingIsNamedAndTheOthersAreNotLost) {
    Listener gateway;
    ChildProcess tool(
        dornctlCommand(gateway.port(), {"--timeout", kTimeOfTheTool, "value", "120"}));
    Connection connection = gateway.accept();
    answer(connection, listing({{"A"}, {"B"}}), {valueFrame(1, 1)});
    Connection next = gateway.accept();
    answer(next, {listing({{"A"}, {"B", false}})});
    EXPECT_EQ(6, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ(valueOf("A"), tool.standardOutput());
    EXPECT_EQ("dornctl: 127.0.0.1:" + std::to_string(gateway.port()) +
                  ": no complete answer came in time; of 2 machines asked, no whole answer came of "
                  "B; not known to the gateway now: B\n",
              tool.standardError());
}

TEST(DornctlFailure, FailuresAreToldEvenIfNoMoreComes) {
    Listener gateway;
    ChildProcess tool(
        dornctlCommand(gateway.port(), {"--timeout", kTimeOfTheTool, "value", "120"}));
    Connection connection = gateway.accept();
    answer(connection, listing({{"A"}, {"B"}}), {frameOf(0xFE, "")});
    readRequest(connection);  // otherwise the connection would be reset
    connection.close();
    gateway.close();
    EXPECT_EQ(6, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ("", tool.standardOutput());
    EXPECT_EQ(
        kTimedOut + ("dornctl: 127.0.0.1:" + std::to_string(gateway.port())) +
            ": the daemon closed the connection; of 2 machines asked, no whole answer came of "
            "B\n",
        tool.standardError());
}

TEST(DornctlFailure, PagesThatCameAreNotLostIfNoMoreComes) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(
        gateway.port(), {"--json", "--timeout", kTimeOfTheTool, "list-by-numbers", "1", "2", "A"}));
    Connection connection = gateway.accept();
    std::string page = "15.03.26" + std::string{2, 1} + std::string(12, '\0') + '\xFF';
    for (int entry = 0; entry < 255; ++entry) page += "ENTRYxyz" + std::string(2, '\0');
    answer(connection, {frameOf(0x81, page)});
    EXPECT_EQ(6, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_THAT(tool.standardOutput(), testing::HasSubstr("ENTRYxyz"));
    EXPECT_THAT(
        tool.standardError(),
        testing::HasSubstr(": no complete answer came in time; what follows page 1 is missing"));
}

TEST(DornctlFailure, OutputThatIsNotTakenIsStatus1) {
    Gateway gateway(1);
    gateway.startKnown();
    for (const char* arguments : {"machines", "--json meters", "parameters",
                                  "watch --interval 86400000", "watch --json --count 2"}) {
        ChildProcess tool({.command = {"sh", "-c",
                                       std::string(DORNCTL) + " --host 127.0.0.1:" +
                                           std::to_string(gateway.daemon().port()) + " " +
                                           arguments + " > /dev/full"}});
        EXPECT_EQ(1, tool.waitForExit().value_or(ExitStatus{}).code) << arguments;
        EXPECT_THAT(tool.standardError(), testing::HasSubstr("standard output cannot be written"))
            << arguments;
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlFailure, AnAnswerThatIsNotUnderstoodIsStatus1) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(gateway.port(), {"version"}));
    Connection connection = gateway.accept();
    answer(connection, {frameOf(0x81, "short")});
    EXPECT_EQ(1, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_THAT(tool.standardError(), testing::StartsWith("dornctl: the answer is not understood"));
}

TEST(DornctlFailure, AnAnswerToARequestOfAnotherTypeIsStatus6) {
    for (const char* question : {"version", "machines", "meters"}) {
        Listener gateway;
        ChildProcess tool(dornctlCommand(gateway.port(), {question}));
        Connection connection = gateway.accept();
        Frame foreign = frameOf(0x81, std::string(30, '\0'));
        foreign.type = 5;
        foreign.identifierB = readRequest(connection).identifierB;
        connection.sendAll(foreign.encode());
        EXPECT_EQ(6, tool.waitForExit().value_or(ExitStatus{}).code);
        EXPECT_EQ("", tool.standardOutput());
        EXPECT_THAT(tool.standardError(),
                    testing::EndsWith(": the answer belongs to another request\n"));
    }
}

TEST(DornctlFailure, NobodyListeningIsStatus6) {
    const std::uint16_t port = freeTcpPort();
    const Printed printed = dornctl(port, {"version"});
    EXPECT_EQ(6, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ("dornctl: no connection: GATEWAY: Connection refused\n", printed.error);
}

TEST(DornctlFailure, NoAnswerInTimeIsStatus6) {
    Listener listener;
    const Printed printed = dornctl(listener.port(), {"--timeout", "50", "version"});
    EXPECT_EQ(6, printed.status);
    EXPECT_EQ("dornctl: GATEWAY: no complete answer came in time\n", printed.error);
}

}  // namespace
}  // namespace teskd::test
