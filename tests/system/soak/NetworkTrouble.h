// Unplugs the way to the notification server, and lets the daemon's address there change.
//
// Ownership: refers to everything. Threads: run() is a thread's body; it returns when the soak is
// over. In a calm the network is whole, with whatever address it has then.
// Errors: none leave; what the system refuses goes to the stage.

#pragma once

#include "soak/Network.h"
#include "soak/Random.h"
#include "soak/Shift.h"
#include "soak/Stage.h"
#include "soak/Summary.h"

namespace teskd::soak {

class NetworkTrouble {
  public:
    NetworkTrouble(Network& network, Stage& stage, Summary& summary, std::uint64_t seed);

    void run();
    bool isIdle() const { return shift_.isIdle(); }

  private:
    void once();
    void unplug();
    void renewAddress();

    Network& network_;
    Stage& stage_;
    Summary& summary_;
    Random random_;
    Shift shift_;
};

}  // namespace teskd::soak
