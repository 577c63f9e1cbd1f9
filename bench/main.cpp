// Measures the daemon end to end, side by side with a reference that does nothing but pass bytes.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "bench/Measurement.h"
#include "bench/Report.h"
#include "bench/Setup.h"

int main(int argc, char** argv) {
    using namespace teskd::bench;
    CLI::App app("Loads the daemon with requests and compares it with a bare relay or echo");
    Setup setup;
    setup.daemon = TESKD_BINARY;
    setup.relay = RELAY_BINARY;
    std::string json;
    app.add_option("--hosts", setup.hosts, "Hosts that ask")->check(CLI::PositiveNumber);
    app.add_option("--idle-hosts", setup.idleHosts,
                   "Compare with a second daemon that has so many silent hosts too");
    app.add_option("--machines", setup.machines, "Slot machines")->check(CLI::Range(1, 250));
    app.add_option("--type", setup.type, "Type of the requests")->check(CLI::Range(1, 8));
    app.add_option("--answer-size", setup.answerSize, "Least bytes of a machine's answer body");
    app.add_option("--answer-after", setup.answerAfter,
                   "Microseconds that a machine takes to answer");
    app.add_option("--seconds", setup.seconds, "Time for each road")->check(CLI::PositiveNumber);
    app.add_option("--rounds", setup.rounds, "Parts of that time")->check(CLI::PositiveNumber);
    app.add_option("--counted-requests", setup.countedRequests,
                   "Requests whose system calls are counted; 0: none");
    app.add_option("--daemon", setup.daemon, "Program to measure")->check(CLI::ExistingFile);
    app.add_option("--json", json, "File for the figures as JSON; \"-\": standard output only");
    app.add_flag("--serial", setup.serial, "Machines stand behind a real serial-port server");
    app.add_flag("--read-log", setup.readsLog, "A thread reads the daemon's log meanwhile");
    CLI11_PARSE(app, argc, argv);
    try {
        const Measurement measurement = Measurement::of(setup);
        const Report report(setup, measurement);
        if (json != "-") std::fputs(report.table().c_str(), stdout);
        report.writeJson(json);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
