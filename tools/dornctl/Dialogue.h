// One request to the daemon and all the frames that answer it.
//
// Ownership: the object owns its connection. Threads: one user at a time.
// Errors: what HostLink throws when it connects or sends. What goes wrong behind that is part of
// the answers, so that those that have come are not lost.

#pragma once

#include <string>
#include <vector>

#include "dornctl/Answers.h"
#include "dornctl/Expectation.h"
#include "dornctl/Settings.h"
#include "host/HostLink.h"

namespace dornctl {

class Dialogue {
  public:
    // `patience` is how long to wait for the connection, and for each frame.
    Dialogue(const teskhost::Endpoint& host, Milliseconds patience);

    Answers ask(const teskhost::Request& request, Scope scope);

  private:
    void receiveAll(const teskhost::Request& request, Scope scope, Expectation& expectation,
                    Answers& answers);
    // Why the answers end early: the reason, what is missing, and who is not known any more.
    std::string story(const char* reason, Scope scope, const Expectation& expectation) const;
    // Machines that the gateway, asked anew, does not know; none if it does not answer.
    std::vector<std::string> notKnown() const;

    const teskhost::Endpoint host_;
    const Milliseconds patience_;
    teskhost::HostLink link_;
};

}  // namespace dornctl
