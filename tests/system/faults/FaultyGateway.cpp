#include "faults/FaultyGateway.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace teskd::test {

using namespace std::chrono_literals;

namespace {

// Less than any time-out of the daemon's that it might wait for; the machine may be slow.
constexpr int kWarning = 180;
constexpr auto kLongestStop = 8s;

Config eagerConfig() {
    Config config;
    config.set("RICH_ORA", "TOUT_ORA", "1");
    return config;
}

DaemonProcess::Options failingDaemon() {
    DaemonProcess::Options options;
    options.program = TESKD_FAILING_BINARY;
    options.waitUntilListening = false;
    return options;
}

}  // namespace

FaultyGateway::FaultyGateway()
    : gateway_(kMachines, eagerConfig(), failingDaemon()),
      faults_(gateway_.daemon().root()),
      server_(gateway_.server()) {
    gateway_.machine(1).answers().setBody(115, Round::threePages());
}

void FaultyGateway::launch() {
    gateway_.start();
}

void FaultyGateway::start() {
    launch();
    awaitService();
    std::size_t descriptors = 0;
    const auto isSteady = [&] {
        const std::size_t before = std::exchange(descriptors, daemon().openDescriptors());
        std::this_thread::sleep_for(20ms);
        return descriptors > 0 && before == descriptors;
    };
    eventually(isSteady);
    baseline_ = descriptors;
}

Round FaultyGateway::ask(Deadline deadline) {
    const std::size_t notified = server_.received();
    server_.demandPoll();
    Round round;
    try {
        HostClient host = gateway_.host();
        round.run(host, deadline);
    } catch (const std::exception& e) {
        round.fail(e.what());
    }
    server_.awaitMoreThan(notified, 100ms);
    return round;
}

// Empty, or what is still missing.
std::string FaultyGateway::tryService(Deadline deadline) {
    const std::size_t notified = server_.received();
    const Round round = ask(deadline);
    if (!round.isFull(kMachines)) return "a host got " + round.describe();
    return server_.awaitMoreThan(notified, 1500ms) ? "" : "no notification";
}

void FaultyGateway::awaitService(Deadline deadline) {
    std::string missing;
    const auto isServed = [&] {
        if (!daemon().running()) throw std::runtime_error("the daemon has ended");
        missing = tryService(deadline);
        return missing.empty();
    };
    if (!eventually(isServed, deadline)) throw std::runtime_error(missing);
}

bool FaultyGateway::isNamed(Call call, int error) {
    std::vector<std::string> texts{std::strerror(error)};
    if (call == Call::allocation) texts.insert(texts.end(), {"bad_alloc", "Out-Of-Memory"});
    if (call == Call::read) texts.emplace_back(std::strerror(EIO));
    // Hosts that ask again and again while a machine is away can use up the lines of a second.
    const auto counts = [](const LogLine& line) {
        return line.priority == kWarning && line.text.find("were not logged") != std::string::npos;
    };
    const auto named = [&texts, &counts](const LogLine& line) {
        return counts(line) ||
               std::any_of(texts.begin(), texts.end(), [&line](const std::string& text) {
                   return line.text.find(text) != std::string::npos;
               });
    };
    return gateway_.log().waitForLine(named, 2s).has_value();
}

bool FaultyGateway::returnsToBaseline() {
    return eventually([this] { return daemon().openDescriptors() == baseline_; });
}

std::string problemOfStop(DaemonProcess& daemon) {
    daemon.terminate();
    const auto status = daemon.waitForExit(kLongestStop);
    if (!status) return "it does not end on SIGTERM";
    if (!status->ok()) return "it ended by " + status->describe() + daemon.standardError();
    return daemon.sanitizerReport();
}

}  // namespace teskd::test
