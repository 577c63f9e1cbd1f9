#include "tesksim/Program.h"

#include <csignal>
#include <iostream>
#include <poll.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <unistd.h>

#include "tesksim/Endpoint.h"
#include "tesksim/PortFile.h"

namespace tesksim {

namespace {

tools::UniqueFd blockSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return tools::UniqueFd(::signalfd(-1, &set, SFD_CLOEXEC));
}

std::vector<std::string> namesOf(const Scenario& scenario) {
    std::vector<std::string> names;
    for (const MachineScenario& machine : scenario.machines) {
        names.push_back(machine.options.codeId);
    }
    return names;
}

std::vector<std::string> endpointsOf(const Console::Machines& machines) {
    std::vector<std::string> endpoints;
    for (const auto& machine : machines) {
        const std::string tty = machine->tty();
        endpoints.push_back(tty.empty() ? "port " + std::to_string(machine->port()) : "tty " + tty);
    }
    return endpoints;
}

Park::Watcher watcherFor(LiveView& view, bool live) {
    if (!live) return {};
    return [&view](std::size_t machine, Machine::Event event, const std::string& text) {
        view.show(machine, event, text);
    };
}

}  // namespace

Program::Program(const CommandLine& commandLine) : Program(commandLine, commandLine.scenario()) {}

Program::Program(const CommandLine& commandLine, const Scenario& scenario)
    : commandLine_(commandLine),
      signals_(blockSignals()),
      view_(std::cout, ::isatty(STDOUT_FILENO) != 0, namesOf(scenario)),
      park_(scenario, watcherFor(view_, commandLine.live)),
      console_(park_.machines()) {}

void Program::prepare() {
    for (const auto& machine : park_.machines()) {
        if (!machine->tty().empty()) requireTty(machine->tty());
    }
    const std::vector<std::string> endpoints = endpointsOf(park_.machines());
    view_.setEndpoints(endpoints);
    park_.start();
    for (const std::size_t number : commandLine_.silent) begin("silent " + std::to_string(number));
    for (const std::string& line : commandLine_.commands) begin(line);
    reportEndpoints(endpoints);
}

void Program::run() {
    prepare();
    pollfd fds[] = {{signals_.get(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (!console_.done()) {
        const auto next = park_.followSchedules();
        if (::poll(fds, 2, next ? static_cast<int>(next->count()) : -1) <= 0) continue;
        if (fds[0].revents != 0) return;
        // After the end of standard input it runs until a signal arrives.
        if (fds[1].revents != 0 && !readCommands()) fds[1].fd = -1;
    }
}

void Program::reportEndpoints(const std::vector<std::string>& endpoints) {
    std::vector<std::uint16_t> ports;
    for (const auto& machine : park_.machines()) ports.push_back(machine->port());
    if (!commandLine_.portFile.empty()) writePortFile(commandLine_.portFile, ports);
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
        std::cout << "machine " << i + 1 << ' ' << endpoints[i] << '\n';
    }
    std::cout.flush();
}

// An invalid command at the start ends the program.
void Program::begin(const std::string& line) {
    const std::string answer = console_.execute(line);
    if (answer.starts_with(Console::kError)) throw std::invalid_argument(answer);
    std::cout << answer << std::endl;
}

void Program::obey(const std::string& line) {
    std::cout << console_.execute(line) << std::endl;
}

void Program::obeyLines() {
    for (std::size_t end; !console_.done() && (end = input_.find('\n')) != std::string::npos;) {
        obey(input_.substr(0, end));
        input_.erase(0, end + 1);
    }
}

bool Program::readCommands() {
    char buffer[1024];
    const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) return false;
    input_.append(buffer, static_cast<std::size_t>(count));
    obeyLines();
    return true;
}

}  // namespace tesksim
