// Runs the daemon for so long among machines, hosts and a notification server that all fail at
// random. Ends with 0 when the daemon gave everybody what it owed.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <random>
#include <string>

#include "soak/Soak.h"

namespace {

int soak(std::uint64_t seed, int seconds, const std::string& table) {
    std::cout << "seed " << seed << ", " << seconds << " seconds" << std::endl;
    teskd::soak::Soak soak(seed, std::chrono::seconds(seconds), table);
    const bool good = soak.run();
    std::cout << "\nseed " << seed << ", " << seconds << " seconds\n";
    soak.summary().print(std::cout);
    if (good) return 0;
    std::cout << std::flush;
    std::cerr << "VIOLATION (seed " << seed << ")\n"
              << soak.violation() << "\n"
              << soak.lastLogLines();
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("The daemon among peers that fail at random");
    int seconds = 60;
    std::uint64_t seed = std::random_device{}();
    app.add_option("--seconds", seconds, "how long there is trouble")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--seed", seed, "what everything is drawn from; any when it is not given");
    std::string table;
    app.add_option("--table", table, "file for what the daemon needs, every ten seconds");
    CLI11_PARSE(app, argc, argv);
    try {
        return soak(seed, seconds, table);
    } catch (const std::exception& e) {
        std::cerr << "seed " << seed << ": " << e.what() << "\n";
        return 2;
    }
}
