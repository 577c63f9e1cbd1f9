// Requests to the daemon, sent together, and all frames of their answers.
//
// The request to every machine is not used, because its answer frames do not name their machines.
// Instead each machine is addressed by its name. The requests are sent without waiting for answers,
// so the machines still answer concurrently.
//
// Ownership: the object owns its connection. Threads: one user at a time.
// Errors: what HostLink throws when it connects or sends. Later failures are part of the answers,
// so that the received ones are not lost.

#pragma once

#include <string>
#include <vector>

#include "dornctl/Answers.h"
#include "dornctl/Expectation.h"
#include "dornctl/Progress.h"
#include "dornctl/Settings.h"
#include "host/HostLink.h"
#include "host/MachinesAnswer.h"

namespace dornctl {

struct Question {
    std::string machine{};  // empty for the gateway itself
    teskhost::Request request{};
    Scope scope = Scope::OneFrame;
};

class Dialogue {
  public:
    // `usual` is the time-out of the connection and of each frame, unless the settings have one.
    Dialogue(const Settings& settings, Milliseconds usual);

    Round ask(const std::vector<Question>& questions);
    // The gateway's machines, in the order of their serial ports.
    // @throws what HostLink and MachinesAnswer throw; LinkError when the gateway refuses
    teskhost::MachinesAnswer machines();

  private:
    struct Open;

    void receiveAll(std::vector<Open>& open, Round& round);
    void receiveOne(std::vector<Open>& open, Round& round, Progress& progress);
    // Why the answers are incomplete: the reason, what is missing, and which machines became
    // unknown.
    std::string story(const std::vector<Open>& open, const Round& round) const;
    std::string missing(const std::vector<Open>& open, const Round& round) const;
    // Asks the gateway again: those of the machines that it does not know; none if it does not
    // answer.
    std::vector<std::string> notKnown(const std::vector<std::string>& machines) const;

    const Settings settings_;
    const Milliseconds patience_;
    teskhost::HostLink link_;
};

}  // namespace dornctl
