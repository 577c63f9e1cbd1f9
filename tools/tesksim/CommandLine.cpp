#include "tesksim/CommandLine.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>

#include "tesksim/Console.h"

namespace tesksim {

namespace {

constexpr char kPtyPrefix[] = "pty:";
constexpr int kMostMachines = 99;
constexpr int kHighestPort = 65535;

std::string codeId(const std::string& prefix, std::size_t number) {
    constexpr std::size_t kSize = 11;
    const std::string digits = std::to_string(number);
    const std::size_t used = prefix.size() + digits.size();
    if (used > kSize)
        throw std::invalid_argument("a CodeId has 11 characters, " + prefix + digits + " has more");
    return prefix + std::string(kSize - used, '0') + digits;
}

void setTty(Machine::Options& options, const std::string& tty) {
    if (tty.starts_with(kPtyPrefix)) {
        options.ptyLink = tty.substr(sizeof kPtyPrefix - 1);
    } else {
        options.tty = tty;
    }
}

// The endpoint for messages; empty for a port that the system chooses.
std::string endpointOf(const Machine::Options& options) {
    if (!options.tty.empty()) return options.tty;
    if (!options.ptyLink.empty()) return options.ptyLink;
    return options.port == 0 ? "" : "port " + std::to_string(options.port);
}

// Each tty or port may be used by one machine only.
void requireDifferentEndpoints(const Scenario& scenario) {
    std::set<std::string> seen;
    for (const MachineScenario& machine : scenario.machines) {
        const std::string name = endpointOf(machine.options);
        if (name.empty() || seen.insert(name).second) continue;
        throw std::invalid_argument("two machines are on " + name);
    }
}

std::string checkLine(const std::string& text) {
    try {
        SerialLine::parse(text);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "";
}

}  // namespace

void CommandLine::declare(CLI::App& app) {
    auto* const file =
        app.add_option("--scenario", scenarioFile, "File that describes the machines")
            ->check(CLI::ExistingFile);
    app.add_option("--seed", seed, "Seed of the random numbers; default that of the scenario")
        ->check(CLI::Range(std::numeric_limits<std::uint32_t>::max()));
    app.add_flag("-l,--live", live, "Show requests, answers and faults");
    app.add_option("-m,--machines", machines, "Number of slot machines")
        ->check(CLI::Range(1, kMostMachines))
        ->excludes(file)
        ->capture_default_str();
    app.add_option("-c,--code-id", codeIdPrefix,
                   "Start of the machines' CodeIds; their numbers fill them up to 11 characters")
        ->excludes(file)
        ->capture_default_str();
    app.add_option("-f,--port-file", portFile,
                   "File for the TCP ports chosen, a line \"<number> <port>\" for each machine");
    app.add_option("-p,--port", ports,
                   "TCP port of the next machine; machines without one let the kernel choose")
        ->check(CLI::Range(0, kHighestPort))
        ->excludes(file);
    app.add_option("-t,--tty", ttys,
                   "Serve the next machine on this tty, without telnet, instead of TCP; "
                   "\"pty:NAME\" creates a pseudo-terminal and a link to it with that name")
        ->excludes(file);
    app.add_option("--line", line, "Setting of the ttys")
        ->check(checkLine)
        ->excludes(file)
        ->capture_default_str();
    app.add_option("-s,--silent", silent, "Machine N never answers")
        ->check(CLI::Range(1, kMostMachines));
    app.add_option("-x,--command", commands,
                   "Console command to execute at the start, as typed on standard input");
    app.footer(
        "Examples:\n"
        "  tesksim --machines 2 --port 2100 --port 2200 --live\n"
        "  tesksim --scenario park.json --live\n"
        "  tesksim --machines 1 --tty pty:/tmp/ttyMachine\n"
        "\n"
        "Commands on standard input:\n" +
        Console::help());
}

Scenario CommandLine::scenario() const {
    if (std::max(ports.size(), ttys.size()) > machines) {
        throw std::invalid_argument("there are more ports or ttys than machines");
    }
    Scenario result;
    if (!scenarioFile.empty()) result = Scenario::load(scenarioFile);
    for (std::size_t i = 0; scenarioFile.empty() && i < machines; ++i) {
        MachineScenario machine;
        machine.date = Answer{}.date;
        machine.options.codeId = codeId(codeIdPrefix, i + 1);
        machine.options.line = SerialLine::parse(line);
        if (i < ports.size()) machine.options.port = ports[i];
        if (i < ttys.size()) setTty(machine.options, ttys[i]);
        result.machines.push_back(machine);
    }
    if (seed) result.seed = *seed;
    requireDifferentEndpoints(result);
    return result;
}

}  // namespace tesksim
