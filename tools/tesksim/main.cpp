// Runs simulated slot machines until it is told to end, by SIGTERM, SIGINT or "quit".

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>
#include <poll.h>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

#include "tesksim/Console.h"
#include "tesksim/Fd.h"
#include "tesksim/Machine.h"
#include "tesksim/PortFile.h"

namespace {

struct Settings {
    std::size_t machines = 4;
    std::string codeIdPrefix = "ZA";
    std::string portFile;
    std::vector<std::uint16_t> ports;
    std::vector<std::string> ttys;
    std::vector<std::string> commands;
    std::vector<std::size_t> silent;
};

void declare(CLI::App& app, Settings& settings) {
    app.add_option("-m,--machines", settings.machines, "Number of slot machines")
        ->check(CLI::Range(1, 99))
        ->capture_default_str();
    app.add_option("-c,--code-id", settings.codeIdPrefix,
                   "Start of the machines' CodeIds; their numbers fill it up to 11 characters")
        ->capture_default_str();
    app.add_option("-f,--port-file", settings.portFile,
                   "File for the TCP ports chosen, a line \"<number> <port>\" for each machine");
    app.add_option("-p,--port", settings.ports,
                   "TCP port of the next machine; machines without one let the kernel choose");
    app.add_option("-t,--tty", settings.ttys,
                   "Serve the next machine on this tty, without telnet, instead of on TCP");
    app.add_option("-s,--silent", settings.silent, "Machine N never answers");
    app.add_option("-x,--command", settings.commands,
                   "Console command to obey at the start, as typed on standard input");
    app.footer("Commands on standard input:\n" + tesksim::Console::help());
}

std::string codeId(const std::string& prefix, std::size_t number) {
    constexpr std::size_t kSize = 11;
    const std::string digits = std::to_string(number);
    const std::size_t used = prefix.size() + digits.size();
    return prefix + std::string(used < kSize ? kSize - used : 0, '0') + digits;
}

tesksim::Console::Machines makeMachines(const Settings& settings) {
    tesksim::Console::Machines machines;
    for (std::size_t i = 0; i < settings.machines; ++i) {
        tesksim::Machine::Options options;
        options.codeId = codeId(settings.codeIdPrefix, i + 1);
        if (i < settings.ports.size()) options.port = settings.ports[i];
        if (i < settings.ttys.size()) options.tty = settings.ttys[i];
        machines.push_back(std::make_unique<tesksim::Machine>(options));
        machines.back()->start();
    }
    return machines;
}

void reportPorts(const Settings& settings, const tesksim::Console::Machines& machines) {
    std::vector<std::uint16_t> ports;
    for (const auto& machine : machines) ports.push_back(machine->port());
    if (!settings.portFile.empty()) tesksim::writePortFile(settings.portFile, ports);
    for (std::size_t i = 0; i < ports.size(); ++i) {
        std::cout << "machine " << i + 1 << " port " << ports[i] << '\n';
    }
    std::cout.flush();
}

tesksim::Fd blockSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return tesksim::Fd(::signalfd(-1, &set, SFD_CLOEXEC));
}

void obey(tesksim::Console& console, const std::string& line) {
    std::cout << console.execute(line) << std::endl;
}

// Obeys the complete lines in `text` and removes them.
void obeyLines(tesksim::Console& console, std::string& text) {
    for (std::size_t end; !console.done() && (end = text.find('\n')) != std::string::npos;) {
        obey(console, text.substr(0, end));
        text.erase(0, end + 1);
    }
}

void runConsole(tesksim::Console& console, const tesksim::Fd& signals) {
    std::string text;
    pollfd fds[] = {{signals.get(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (!console.done()) {
        if (::poll(fds, 2, -1) < 0) continue;
        if (fds[0].revents != 0) return;
        if (fds[1].revents == 0) continue;
        char buffer[1024];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count > 0) {
            text.append(buffer, static_cast<std::size_t>(count));
            obeyLines(console, text);
        } else {
            fds[1].fd = -1;  // no more commands; run on until a signal comes
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Simulated slot machines behind telnet endpoints on 127.0.0.1", "tesksim");
    Settings settings;
    declare(app, settings);
    CLI11_PARSE(app, argc, argv);
    try {
        const tesksim::Fd signals = blockSignals();
        auto machines = makeMachines(settings);
        tesksim::Console console(machines);
        for (const std::size_t number : settings.silent) {
            obey(console, "silent " + std::to_string(number));
        }
        for (const std::string& line : settings.commands) obey(console, line);
        reportPorts(settings, machines);
        runConsole(console, signals);
    } catch (const std::exception& e) {
        std::cerr << "tesksim: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
