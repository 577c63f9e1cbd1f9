// Prints the demonstration's output as readable text, and checks what it expects.
//
// Ownership: borrows the stream. Threads: one user at a time.
// Errors: expect() throws Surprise if a condition does not hold.

#pragma once

#include <ostream>
#include <stdexcept>
#include <string>

#include "host/Table.h"

namespace demo {

// An unexpected result; the text says what was expected.
class Surprise : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Report {
  public:
    explicit Report(std::ostream& out) : out_(out) {}

    // Begins a part of the demonstration; parts are numbered.
    void part(const std::string& title);
    // Begins a step of a part.
    void step(const std::string& title);
    void say(const std::string& sentence);
    // Prints a table, with an empty line between two of them.
    void show(const teskhost::Table& table);

    static void expect(bool holds, const std::string& what);

  private:
    std::ostream& out_;
    int parts_ = 0;
    bool tableBefore_ = false;
};

}  // namespace demo
