// The running simulator: machines, console and live view, until a signal or "quit" ends it.
//
// Ownership: the object owns the machines. Threads: one user at a time; create it before the
// first thread, because it blocks signals. Errors: std::system_error when a port or a tty is not
// available.

#pragma once

#include <string>
#include <vector>

#include "common/UniqueFd.h"
#include "tesksim/CommandLine.h"
#include "tesksim/Console.h"
#include "tesksim/LiveView.h"
#include "tesksim/Park.h"

namespace tesksim {

class Program {
  public:
    explicit Program(const CommandLine& commandLine);

    void run();

  private:
    Program(const CommandLine& commandLine, const Scenario& scenario);

    void prepare();
    void reportEndpoints(const std::vector<std::string>& endpoints);
    void begin(const std::string& line);
    void obey(const std::string& line);
    // Executes the complete lines that have been read.
    void obeyLines();
    // False at the end of standard input.
    bool readCommands();

    const CommandLine commandLine_;
    const tools::UniqueFd signals_;
    LiveView view_;
    Park park_;
    Console console_;
    std::string input_;
};

}  // namespace tesksim
