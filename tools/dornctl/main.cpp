// Sends a host's requests to the gateway and prints the answers.

#include "dornctl/CommandLine.h"

int main(int argc, char** argv) {
    dornctl::CommandLine commandLine;
    return static_cast<int>(commandLine.run(argc, argv));
}
