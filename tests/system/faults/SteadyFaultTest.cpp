// A daemon that serves, and whose calls of the system fail one after another: first the first of a
// round, then the second, and so on until a round has no such call any more.

#include <cerrno>
#include <gtest/gtest.h>
#include <iostream>

#include "faults/FaultyGateway.h"
#include "faults/Sample.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

struct Fault {
    const char* name;
    Call call;
    int error;
    bool reconnects = false;  // a machine's connection ends before each round
    std::uint64_t count = 1;  // calls that fail one after the other
};

const Fault kFaults[] = {
    {"Allocation", Call::allocation, ENOMEM},
    {"AllocationsForAWhile", Call::allocation, ENOMEM, false, 20},
    {"Accept", Call::accept, EMFILE},
    {"AcceptOfAConnectionThatWent", Call::accept, ECONNABORTED},
    {"Duplicate", Call::duplicate, EMFILE},
    {"Event", Call::event, EMFILE},
    {"Thread", Call::thread, EAGAIN},
    {"ReadReset", Call::read, ECONNRESET},
    {"ReadError", Call::read, EIO},
    {"SendReset", Call::send, ECONNRESET},
    {"SendWithoutBuffers", Call::send, ENOBUFS},
    {"SendInterrupted", Call::send, EINTR},
    {"Write", Call::write, EINTR},
    {"PollWithoutMemory", Call::poll, ENOMEM},
    {"PollInterrupted", Call::poll, EINTR},
    {"SetOption", Call::setOption, ENOBUFS},
    {"GetOption", Call::getOption, ENOBUFS},
    {"Available", Call::available, EIO},
    {"ReconnectingAllocation", Call::allocation, ENOMEM, true},
    {"ReconnectingSocket", Call::socket, EMFILE, true},
    {"ReconnectingDuplicate", Call::duplicate, EMFILE, true},
    {"ReconnectingThread", Call::thread, EAGAIN, true},
    {"ReconnectingConnect", Call::connect, ECONNREFUSED, true},
    {"ReconnectingRead", Call::read, ECONNRESET, true},
    {"ReconnectingSend", Call::send, ECONNRESET, true},
    {"ReconnectingPoll", Call::poll, ENOMEM, true},
    {"ReconnectingSetOption", Call::setOption, ENOBUFS, true},
    {"ReconnectingGetOption", Call::getOption, ENOBUFS, true},
};

class SteadyFault : public testing::TestWithParam<Fault> {
  protected:
    void SetUp() override { gateway_.start(); }
    void TearDown() override { EXPECT_EQ("", problemOfStop(gateway_.daemon())); }

    // A round in which the call fails; true when it was made that often.
    bool failOnce(std::uint64_t number);
    std::uint64_t count();
    Round faultyRound(std::uint64_t number);
    void expectNamed(const Round& round);

    FaultyGateway gateway_;
};

Round SteadyFault::faultyRound(std::uint64_t number) {
    FaultControl& faults = gateway_.faults();
    gateway_.gateway().log().clear();
    faults.order(GetParam().call, GetParam().error, number, GetParam().count);
    if (GetParam().reconnects) gateway_.gateway().machine(FaultyGateway::kMachines).disconnect();
    Round round = gateway_.ask();
    if (GetParam().reconnects) gateway_.awaitService();
    faults.cancel();
    return round;
}

// The log says what failed when a host has noticed.
void SteadyFault::expectNamed(const Round& round) {
    if (round.isFull(FaultyGateway::kMachines)) return;
    EXPECT_TRUE(gateway_.isNamed(GetParam().call, GetParam().error))
        << "no line that says why the host got " << round.describe() << "\n"
        << gateway_.faults().place() << "\n"
        << gateway_.gateway().log().dump();
}

bool SteadyFault::failOnce(std::uint64_t number) {
    // The same failure is logged four times a second at most.
    std::this_thread::sleep_for(std::chrono::milliseconds(260));
    const Round round = faultyRound(number);
    const bool failed = gateway_.faults().hasFailed();
    EXPECT_TRUE(round.isSettled()) << round.describe() << "\n" << gateway_.faults().place();
    if (!failed) return false;
    if (!GetParam().reconnects) expectNamed(round);
    try {
        gateway_.awaitService();
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what() << "\n"
                      << gateway_.faults().place() << "\n"
                      << gateway_.daemon().standardError() << gateway_.gateway().log().dump();
    }
    EXPECT_TRUE(gateway_.returnsToBaseline())
        << gateway_.daemon().openDescriptors() << " instead of " << gateway_.baseline() << "\n"
        << gateway_.faults().place();
    return true;
}

// The calls of a round in which none fails.
std::uint64_t SteadyFault::count() {
    faultyRound(0);
    return gateway_.faults().calls();
}

TEST_P(SteadyFault, LeavesADaemonThatServes) {
    constexpr int kUntouched = 3;  // rounds in a row, since they are not all alike
    constexpr auto kLongest = 2s;  // of a sample
    Sample sample(Sample::isFull() ? 0 : count(), 100);
    const Deadline deadline(kLongest);
    int untouched = 0;
    std::uint64_t failed = 0;
    while (untouched < kUntouched && !HasFailure() && (Sample::isFull() || !deadline.passed())) {
        const std::uint64_t number = sample.next();
        if (number == 0) break;
        const bool wasMade = failOnce(number);
        failed += wasMade ? 1 : 0;
        untouched = wasMade || !Sample::isFull() ? 0 : untouched + 1;
    }
    std::cout << GetParam().name << ": " << failed << " calls failed\n";
}

INSTANTIATE_TEST_SUITE_P(Calls, SteadyFault, testing::ValuesIn(kFaults),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace teskd::test
