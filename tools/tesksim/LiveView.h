// Shows requests, answers and changes of faults live: plain lines, or on a terminal a table of the
// machines with the latest lines below it.
//
// Ownership: the output stream is the caller's. Threads: every operation may be called from any
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

    // Where each machine is reached, for example "port 2100", in the order of their numbers.
    void setEndpoints(const std::vector<std::string>& endpoints);
    // Machines are numbered from 1; `text` is that of Machine::Observer.
    void show(std::size_t machine, Machine::Event event, const std::string& text);

  private:
    struct Row {
        std::string name;
        std::string endpoint{};
        std::string faults = "none";
        bool connected = false;
        std::size_t asked = 0;
        std::size_t answered = 0;
    };

    void update(Row& row, Machine::Event event, const std::string& text) const;
    void redraw() const;
    void drawRow(std::size_t number, int endpointWidth) const;
    int endpointWidth() const;

    std::ostream& out_;
    const bool onTerminal_;
    std::mutex mutex_;
    std::vector<Row> rows_;           // guarded by mutex_
    std::deque<std::string> latest_;  // guarded by mutex_
};

}  // namespace tesksim
