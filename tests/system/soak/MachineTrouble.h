// Makes one machine of a soak fail in all the ways that machines and lines fail, at random.
//
// Ownership: refers to everything. Threads: run() is a thread's body; it returns when the soak is
// over. In a calm the machine is in good order. Errors: none leave; a violation goes to the stage.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "soak/Park.h"
#include "soak/Random.h"
#include "soak/Stage.h"
#include "soak/Summary.h"

namespace teskd::soak {

class MachineTrouble {
  public:
    MachineTrouble(std::size_t index, Park& park, Stage& stage, Summary& summary,
                   std::uint64_t seed);

    void run();
    // Whether the machine is in good order, for the calm.
    bool isIdle() const { return idle_; }

  private:
    struct Kind {
        const char* name;
        int weight;
        void (MachineTrouble::*happen)();
    };
    static const std::vector<Kind>& kinds();

    void once();
    // No host's bytes may set the line otherwise than the daemon's configuration does.
    void checkSettings();
    void silence();
    void slowness();
    void dribble();
    void cutAnswer();
    void disconnect();
    void refuse();
    void deafness();
    void noNegotiation();
    void swapCodes();
    void bytesAround();
    void damage();
    void restart();
    void lateAnswer();
    void pause();
    void repetition();
    void borrowedCode();

    // The machine in good order, on a new connection.
    void comeToRest();
    // Lets the faults last, then ends them.
    void last(const tesksim::Faults& faults, int shortest, int longest);
    // The next answer comes so late; those behind it wait. Returns when it has come.
    void delayOne(const tesksim::Faults& faults);
    void hangUp();
    tesksim::Machine& line() { return park_.machine(index_).line(); }

    const std::size_t index_;
    Park& park_;
    Stage& stage_;
    Summary& summary_;
    Random random_;
    const std::vector<tesksim::LineSetting> settings_;  // those made before all trouble
    std::atomic<bool> idle_ = true;
};

}  // namespace teskd::soak
