// Shows requests and answers live: plain lines, or on a terminal a table of the machines with the
// latest lines below it.
//
// Ownership: borrows the machines' names, which it copies. Threads: events may come from any
// thread; one lock guards everything. Errors: nothing throws.

#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "tesksim/Machine.h"

namespace tesksim {

class LiveView {
  public:
    // `out` must outlive the view.
    LiveView(std::ostream& out, bool onTerminal, std::vector<std::string> names);

    // Machines are numbered from 1.
    void show(std::size_t machine, Machine::Event event, const std::string& bytes);

  private:
    struct Row {
        std::string name;
        bool connected = false;
        std::size_t asked = 0;
        std::size_t answered = 0;
    };

    void count(Row& row, Machine::Event event) const;
    void redraw() const;

    std::ostream& out_;
    const bool onTerminal_;
    std::mutex mutex_;
    std::vector<Row> rows_;           // guarded by mutex_
    std::deque<std::string> latest_;  // guarded by mutex_
};

}  // namespace tesksim
