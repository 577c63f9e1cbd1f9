#include "gateway/Gateway.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace teskd::test {

namespace {

using Machines = std::vector<std::unique_ptr<tesksim::Machine>>;

constexpr std::size_t kDateSize = 8;
constexpr std::size_t kDaemonThreads = 5;
constexpr char kNoPorts[] = ",";  // a list without items; an empty value would be no value

Machines makeMachines(std::size_t count) {
    Machines machines;
    for (std::size_t n = 1; n <= count; ++n) {
        tesksim::Machine::Options options;
        options.codeId = codeIdOf(n);
        machines.push_back(std::make_unique<tesksim::Machine>(options));
    }
    return machines;
}

Config complete(Config config, const Machines& machines, std::uint16_t serverPort) {
    std::vector<std::uint16_t> ports;
    for (const auto& machine : machines) ports.push_back(machine->port());
    if (!config.has("SLOT_MACHINE", "PORT_ASYNC")) {
        if (ports.empty()) {
            config.set("SLOT_MACHINE", "PORT_ASYNC", kNoPorts);
        } else {
            config.serialPorts(ports);
        }
    }
    if (!config.has("IP_ADDRESS", "UDP_SERVER")) config.server(serverPort);
    return config;
}

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::string dateAt(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    std::strftime(text, sizeof text, "%d.%m.%y", &local);
    return text;
}

}  // namespace

std::string daemonProgram() {
    const std::string named = environment("TESKD_DAEMON");
    return named.empty() ? TESKD_BINARY : named;
}

std::size_t idleThreads() {
#if defined(__SANITIZE_THREAD__)
    return kDaemonThreads + 1;
#else
    return memoryShows() ? kDaemonThreads : kDaemonThreads + 1;
#endif
}

bool memoryShows() {
    return environment("TESKD_EMULATOR").empty();
}

DaemonProcess::Options daemonOptions(DaemonProcess::Options options) {
    if (!options.program.empty()) return options;
    options.program = daemonProgram();
    std::istringstream words(environment("TESKD_EMULATOR"));
    for (std::string word; words >> word;) options.emulator.push_back(word);
    return options;
}

Config withoutMachines() {
    return Config().set("SLOT_MACHINE", "PORT_ASYNC", kNoPorts);
}

std::string codeIdOf(std::size_t n) {
    const std::string digits = std::to_string(n);
    return "ZA" + std::string(9 - digits.size(), '0') + digits;
}

Gateway::Gateway(std::size_t machines, Config config, DaemonProcess::Options options)
    : machines_(makeMachines(machines)),
      daemon_(daemonOptions(std::move(options)),
              complete(std::move(config), machines_, server_.port())) {}

void Gateway::start() {
    for (const auto& machine : machines_) machine->start();
    daemon_.start();
}

void Gateway::startKnown() {
    start();
    awaitKnown();
}

void Gateway::awaitKnown(std::size_t polls) {
    const auto patience = kPatience * timeScale();
    for (const auto& machine : machines_) {
        if (machine->journal().waitForAcknowledgements(polls, patience)) continue;
        throw Timeout("machine " + machine->codeId() + " is not known:\n" + log().dump());
    }
}

void Gateway::awaitLinkEnd(const std::string& name) {
    if (log().waitFor("Thread '" + name + "' Terminated")) return;
    throw Timeout("the link of " + name + " does not end:\n" + log().dump());
}

std::string wire(const Frame& frame) {
    return frame.header + frame.body + static_cast<char>(frame.checksum);
}

std::string readWire(HostClient& host, Deadline deadline) {
    return wire(host.readFrame(deadline));
}

std::string behindDate(const Frame& frame) {
    const std::string date = frame.body.substr(0, kDateSize);
    const std::time_t now = std::time(nullptr);
    EXPECT_TRUE(date == dateAt(now) || date == dateAt(now - 60)) << date;
    return frame.body.size() < kDateSize ? "" : frame.body.substr(kDateSize);
}

std::string named(std::string_view before, std::string_view name, std::string_view after) {
    return std::string(before) + name11(name) + std::string(after);
}

double processorSeconds(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    for (int i = 3; i < 14; ++i) fields >> skipped;  // the state is field 3
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

}  // namespace teskd::test
