// What the demonstration prints, and what it expects: everything goes to standard output, as a
// person reads it.
//
// Ownership: borrows the stream. Threads: one user at a time.
// Errors: expect() throws Surprise when something is not as it should be.

#pragma once

#include <ostream>
#include <stdexcept>
#include <string>

#include "host/Table.h"

namespace demo {

// Something did not come as expected; the text tells what was expected.
class Surprise : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Report {
  public:
    explicit Report(std::ostream& out) : out_(out) {}

    // A part of the demonstration; parts are numbered.
    void part(const std::string& title);
    // One step of a part.
    void step(const std::string& title);
    void say(const std::string& sentence);
    // A table; one that follows another is set off by an empty line.
    void show(const teskhost::Table& table);

    static void expect(bool holds, const std::string& what);

  private:
    std::ostream& out_;
    int parts_ = 0;
    bool tableBefore_ = false;
};

}  // namespace demo
