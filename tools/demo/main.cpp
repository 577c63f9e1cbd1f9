// Demonstrates the daemon: starts it with simulated machines and a simulated notification server,
// sends every kind of request, and ends it. Exit status 0 if everything was as expected.
//
//   teskd_demo [DAEMON]     DAEMON: the daemon's program, by default the one beside this program

#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

#include "demo/Demo.h"

namespace {

namespace fs = std::filesystem;

constexpr int kUsageStatus = 2;

// Removes variables of the caller that would affect the daemon or the test support.
void forgetEnvironment() {
    constexpr char kPrefix[] = "TESKD_";
    std::vector<std::string> names;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (text.compare(0, std::strlen(kPrefix), kPrefix) == 0) {
            names.push_back(text.substr(0, text.find('=')));
        }
    }
    for (const std::string& name : names) ::unsetenv(name.c_str());
}

fs::path daemonBeside() {
    return fs::read_symlink("/proc/self/exe").parent_path() / "teskd";
}

int perform(demo::Demo& demo) {
    try {
        demo.run();
    } catch (const demo::Surprise& e) {
        std::cerr << "\nFAILED. Expected was: " << e.what() << "\n\n" << demo.daemonsStory();
        return EXIT_FAILURE;
    } catch (const std::exception& e) {
        std::cerr << "\nFAILED: " << e.what() << "\n\n" << demo.daemonsStory();
        return EXIT_FAILURE;
    }
    std::cout << "\nEverything came as expected.\n";
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        std::cerr << "usage: " << argv[0] << " [DAEMON]\n";
        return kUsageStatus;
    }
    try {
        forgetEnvironment();
        demo::Demo demo(argc == 2 ? fs::path(argv[1]) : daemonBeside(), std::cout);
        return perform(demo);
    } catch (const std::exception& e) {
        std::cerr << "FAILED: " << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
