// A daemon whose calls of the system fail one after another while it starts: counted from the
// process's first instruction. It says so and serves all the same, or it says so and ends.

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <thread>
#include <vector>

#include "faults/FaultyGateway.h"
#include "faults/Sample.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

struct Fault {
    const char* name;
    Call call;
    int error;
};

const Fault kFaults[] = {
    {"Allocation", Call::allocation, ENOMEM},
    {"Socket", Call::socket, EMFILE},
    {"Accept", Call::accept, EMFILE},
    {"Duplicate", Call::duplicate, EMFILE},
    {"Event", Call::event, EMFILE},
    {"Thread", Call::thread, EAGAIN},
    {"Read", Call::read, ECONNRESET},
    {"Send", Call::send, ECONNRESET},
    {"Write", Call::write, EIO},
    {"Poll", Call::poll, ENOMEM},
    {"PollInterrupted", Call::poll, EINTR},
    {"Connect", Call::connect, ECONNREFUSED},
    {"Bind", Call::bind, EADDRINUSE},
    {"Listen", Call::listen, EADDRINUSE},
    {"SetOption", Call::setOption, ENOBUFS},
    {"GetOption", Call::getOption, ENOBUFS},
    {"Available", Call::available, EIO},
    {"Open", Call::open, EMFILE},
    {"Sync", Call::sync, EIO},
};

class StartFault : public testing::TestWithParam<Fault> {};

// How one start went: nothing, or what was wrong with it.
struct Outcome {
    bool failed = false;  // the call was made that often
    bool ended = false;   // by itself
    std::string problem;
};

// An end that makes a service manager start it again, and that the daemon chose itself.
bool isFailure(const ExitStatus& status) {
    return status.signal == 0 ? !status.ok() : status.signal == SIGABRT;
}

std::string problemOfEnd(FaultyGateway& gateway, const Fault& fault) {
    DaemonProcess& daemon = gateway.daemon();
    const auto status = daemon.waitForExit();
    if (!status) return "it did not end";
    if (!isFailure(*status))
        return "it ended as if all were well, or crashed: " + status->describe();
    if (!daemon.sanitizerReport().empty()) return daemon.sanitizerReport();
    return gateway.isNamed(fault.call, fault.error) ? "" : "no line that says why it ended";
}

Outcome startWith(const Fault& fault, std::uint64_t number) {
    FaultyGateway gateway;
    gateway.faults().order(fault.call, fault.error, number);
    Outcome outcome;
    try {
        gateway.launch();
        gateway.awaitService();
    } catch (const std::exception& e) {
        outcome.ended = !gateway.daemon().running();
        outcome.problem = outcome.ended ? problemOfEnd(gateway, fault) : e.what();
    }
    outcome.failed = gateway.faults().hasFailed();
    gateway.faults().cancel();
    if (!outcome.ended && outcome.problem.empty())
        outcome.problem = problemOfStop(gateway.daemon());
    if (outcome.problem.empty()) return outcome;
    outcome.problem += "\n" + gateway.faults().place() + "\n" + gateway.daemon().standardError() +
                       gateway.gateway().log().dump();
    return outcome;
}

// The calls of a start in which none fails.
std::uint64_t countCalls(Call call) {
    FaultyGateway gateway;
    gateway.faults().order(call, 0, 0);
    gateway.launch();
    gateway.awaitService();
    return gateway.faults().calls();
}

// Several starts side by side, since each waits more than it works.
class Starts {
  public:
    Starts(const Fault& fault, Sample& sample) : fault_(fault), sample_(sample) {}

    void run() {
        constexpr int kSideBySide = 6;
        std::vector<std::thread> workers;
        for (int i = 0; i < kSideBySide; ++i) workers.emplace_back([this] { work(); });
        for (std::thread& worker : workers) worker.join();
    }

    std::uint64_t failed() const { return failed_; }
    std::uint64_t ended() const { return ended_; }

  private:
    void work() {
        while ((untouched_ == 0 || !Sample::isFull()) && problems_ == 0) {
            const std::uint64_t number = sample_.next();
            if (number == 0) return;
            const Outcome outcome = startWith(fault_, number);
            failed_ += outcome.failed ? 1 : 0;
            untouched_ += outcome.failed ? 0 : 1;
            if (outcome.ended) ++ended_;
            if (!outcome.problem.empty()) ++problems_;
            EXPECT_EQ("", outcome.problem) << "call " << number;
        }
    }

    const Fault& fault_;
    Sample& sample_;
    std::atomic<std::uint64_t> failed_{0};
    std::atomic<std::uint64_t> ended_{0};
    std::atomic<int> untouched_{0};
    std::atomic<int> problems_{0};
};

TEST_P(StartFault, IsSurvivedOrEndsTheDaemonOrderly) {
    constexpr std::size_t kSample = 6;
    Sample sample(Sample::isFull() ? 0 : countCalls(GetParam().call), kSample);
    Starts starts(GetParam(), sample);
    starts.run();
    std::cout << GetParam().name << ": " << starts.failed() << " calls failed, " << starts.ended()
              << " of them ended the daemon\n";
}

// A daemon that is not enabled does nothing in main but become another program, so that its last
// allocations are main's own.
class DisabledDaemon {
  public:
    explicit DisabledDaemon(std::uint64_t failing) {
        DaemonProcess& daemon = gateway_.daemon();
        daemon.config().set("INTERNAL", "TESKv2_ENABLE", "none");  // as long as "true"
        fs::create_directories(daemon.root() / "usr/bin");
        fs::create_symlink("/bin/true", daemon.root() / "usr/bin/notrunning");
        gateway_.faults().order(Call::allocation, ENOMEM, failing);
        gateway_.launch();
    }

    std::uint64_t allocations() {
        waitForExit();
        return gateway_.faults().calls();
    }
    ExitStatus waitForExit() { return gateway_.daemon().waitForExit().value_or(ExitStatus()); }
    bool saysWhy() { return gateway_.isNamed(Call::allocation, ENOMEM); }

  private:
    FaultyGateway gateway_;
};

TEST(StartFaultInMain, AForeignExceptionLeavesALineAndDoesNotLookLikeSuccess) {
    const std::uint64_t last = DisabledDaemon(0).allocations();
    ASSERT_GT(last, 2U);
    for (const std::uint64_t number : {last, last - 1}) {
        DisabledDaemon daemon(number);
        EXPECT_EQ(SIGABRT, daemon.waitForExit().signal) << daemon.waitForExit().describe();
        EXPECT_TRUE(daemon.saysWhy());
    }
}

// The first allocation of a disabled daemon's main: those before it do not end it by a signal.
std::uint64_t firstOfMain() {
    std::uint64_t number = DisabledDaemon(0).allocations();
    while (DisabledDaemon(number - 1).waitForExit().signal == SIGABRT) --number;
    return number;
}

// The log is opened right behind the look at the switch, where the other one says that it is
// disabled.
TEST(StartFaultInMain, ALogThatCannotBeOpenedIsReportedAndKeepsNothingFromStarting) {
    const std::uint64_t opening = firstOfMain() + 1;
    FaultyGateway gateway;
    gateway.faults().order(Call::allocation, ENOMEM, opening);
    gateway.launch();
    gateway.awaitService();
    EXPECT_TRUE(gateway.gateway().log().waitFor("The log cannot be opened: std::bad_alloc"));
    EXPECT_EQ("", problemOfStop(gateway.daemon()));
}

// The first of each kind are made while the daemon's objects are, before main.
TEST(StartFaultInMain, ObjectsThatCannotBeMadeLeaveALineAndDoNotLookLikeSuccess) {
    const auto endOf = [](Call call, int error) {
        FaultyGateway gateway;
        gateway.faults().order(call, error, 1);
        gateway.launch();
        const ExitStatus status = gateway.daemon().waitForExit().value_or(ExitStatus());
        EXPECT_TRUE(gateway.gateway().log().waitFor("Cannot start: "))
            << gateway.gateway().log().dump();
        EXPECT_TRUE(gateway.isNamed(call, error));
        return status.describe();
    };
    EXPECT_EQ("exited with status 1", endOf(Call::allocation, ENOMEM));
    EXPECT_EQ("exited with status 1", endOf(Call::event, EMFILE));
}

INSTANTIATE_TEST_SUITE_P(Calls, StartFault, testing::ValuesIn(kFaults),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace teskd::test
