// One request to the daemon and all the frames that answer it.
//
// Ownership: the object owns its connection. Threads: one user at a time.
// Errors: what HostLink throws; LinkError when a frame belongs to no request of ours.

#pragma once

#include <cstddef>

#include "dornctl/Answers.h"
#include "dornctl/Progress.h"
#include "dornctl/Settings.h"
#include "host/HostLink.h"

namespace dornctl {

class Dialogue {
  public:
    // `patience` is how long to wait for the connection, and for each frame.
    Dialogue(const teskhost::Endpoint& host, Milliseconds patience);

    // Whom a request addresses decides how many frames answer it.
    enum class Scope { OneFrame, OneMachine, EveryMachine };

    Answers ask(const teskhost::Request& request, Scope scope);

  private:
    std::size_t knownMachines();
    teskhost::Frame receive(std::uint32_t identifier);
    // Whether more frames are to come.
    bool incomplete(const Answers& answers, Scope scope, std::size_t machines) const;

    const Milliseconds patience_;
    teskhost::HostLink link_;
};

}  // namespace dornctl
