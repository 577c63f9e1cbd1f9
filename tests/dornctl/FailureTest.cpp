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
    const std::vector<std::vector<std::string>> questions = {{"meters"}, {"meters", "ZA000000009"}};
    for (const auto& arguments : questions) {
        const Printed printed = dornctl(gateway.daemon().port(), arguments);
        EXPECT_EQ(3, printed.status);
        EXPECT_EQ("", printed.output);
        EXPECT_EQ(
            "dornctl: no machine that was asked for is known to the gateway (0xFD); "
            "\"dornctl machines\" lists those that are\n",
            printed.error);
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlFailure, ARequestThatTheGatewayCannotCarryOutIsStatus5) {
    Gateway gateway(1);
    gateway.startKnown();
    gateway.machine(1).setFaults({.closeAfter = 5});
    const Printed printed = dornctl(gateway.daemon().port(), {"raw", "113~0008", "ZA000000001"});
    EXPECT_EQ(5, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ("dornctl: the gateway could not carry out the request (0xAB); its log says why\n",
              printed.error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// Stands for a gateway: reads a request on the connection and answers it with these frames.
void answer(Connection& connection, const std::vector<Frame>& frames) {
    std::string request = connection.readExactly(Frame::kHeaderSize);
    request += connection.readExactly(frameLength(request));
    for (Frame frame : frames) {
        frame.type = parseFrame(request)->type;
        frame.identifierB = parseFrame(request)->identifierB;
        connection.sendAll(frame.encode());
    }
}

Frame frameOf(std::uint8_t kind, const std::string& body) {
    Frame frame;
    frame.kind = kind;
    frame.body = body;
    return frame;
}

constexpr char kTimedOut[] = "dornctl: a machine gave the gateway no answer in time (0xFE)\n";

TEST(DornctlFailure, AMachineThatGivesNoAnswerIsStatus4) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(gateway.port(), {"meters", "ZA000000001"}));
    Connection connection = gateway.accept();
    answer(connection, {frameOf(0xFE, "")});
    EXPECT_EQ(4, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ("", tool.standardOutput());
    EXPECT_EQ(kTimedOut, tool.standardError());
}

TEST(DornctlFailure, WhatTheOtherMachinesAnswerIsPrinted) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(gateway.port(), {"value", "120"}));
    Connection connection = gateway.accept();
    const std::string machine(13, 'M');
    answer(connection, {frameOf(0x81, '\2' + machine + '\0' + machine + std::string(1, '\0'))});
    const std::string value =
        "15.03.26\2\1\1"
        "15.03.26" +
        std::string(7, '\0') + "*";
    answer(connection, {frameOf(0xFE, ""), frameOf(0x81, value + std::string(8, '\0'))});
    EXPECT_EQ(4, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ(
        "answer  date (daemon)  date (machine)  outcome  number  text\n"
        "------  -------------  --------------  -------  ------  ----\n"
        "1 of 2  15.03.26       15.03.26        0 (00)       42\n",
        tool.standardOutput());
    EXPECT_EQ(kTimedOut, tool.standardError());
}

TEST(DornctlFailure, AnAnswerThatIsNotUnderstoodIsStatus1) {
    Listener gateway;
    ChildProcess tool(dornctlCommand(gateway.port(), {"version"}));
    Connection connection = gateway.accept();
    answer(connection, {frameOf(0x81, "short")});
    EXPECT_EQ(1, tool.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_THAT(tool.standardError(), testing::StartsWith("dornctl: the answer is not understood"));
}

TEST(DornctlFailure, NobodyListeningIsStatus6) {
    const std::uint16_t port = freeTcpPort();
    const Printed printed = dornctl(port, {"version"});
    EXPECT_EQ(6, printed.status);
    EXPECT_EQ("", printed.output);
    EXPECT_EQ(
        "dornctl: no connection: 127.0.0.1:" + std::to_string(port) + ": Connection refused\n",
        printed.error);
}

TEST(DornctlFailure, NoAnswerInTimeIsStatus6) {
    Listener listener;
    const Printed printed = dornctl(listener.port(), {"--timeout", "50", "version"});
    EXPECT_EQ(6, printed.status);
    EXPECT_EQ("dornctl: 127.0.0.1:" + std::to_string(listener.port()) +
                  ": no complete answer came in time\n",
              printed.error);
}

}  // namespace
}  // namespace teskd::test
