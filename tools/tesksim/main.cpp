// Runs simulated slot machines until SIGTERM, SIGINT or "quit".

#include <iostream>
#include <stdexcept>
#include <string>

#include "core/Version.h"
#include "tesksim/Program.h"

namespace {

constexpr int kFailure = 1;
constexpr int kBadArguments = 2;

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Simulated slot machines, behind telnet endpoints on 127.0.0.1 or on ttys",
                 "tesksim");
    tesksim::CommandLine commandLine;
    commandLine.declare(app);
    app.set_version_flag("--version", std::string("tesksim ") + teskd::version(),
                         "Print the version");
    try {
        app.parse(argc, argv);
        tesksim::Program(commandLine).run();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kBadArguments;
    } catch (const tesksim::ScenarioError& error) {
        std::cerr << "tesksim: " << error.what() << '\n';
        return kBadArguments;
    } catch (const std::invalid_argument& error) {
        std::cerr << "tesksim: " << error.what() << '\n';
        return kBadArguments;
    } catch (const std::exception& e) {
        std::cerr << "tesksim: " << e.what() << '\n';
        return kFailure;
    }
    return 0;
}
