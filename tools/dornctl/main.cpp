// Asks the gateway what a host can ask, and prints the answers.

#include "dornctl/CommandLine.h"

int main(int argc, char** argv) {
    dornctl::CommandLine commandLine;
    return static_cast<int>(commandLine.run(argc, argv));
}
