// Questions to the daemon, asked together, and all the frames that answer them.
//
// A request for every machine is not used: the frames that answer it do not name their machines.
// So each machine is asked by its name; the requests go out one behind the other, and the machines
// answer side by side all the same.
//
// Ownership: the object owns its connection. Threads: one user at a time.
// Errors: what HostLink throws when it connects or sends. What goes wrong behind that is part of
// the answers, so that those that have come are not lost.

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
    // `usual` is how long to wait for the connection, and for each frame, unless the settings say.
    Dialogue(const Settings& settings, Milliseconds usual);

    Round ask(const std::vector<Question>& questions);
    // The gateway's machines, in the order of their serial ports.
    // @throws what HostLink and MachinesAnswer throw; LinkError when the gateway refuses
    teskhost::MachinesAnswer machines();

  private:
    struct Open;

    void receiveAll(std::vector<Open>& open, Round& round);
    void receiveOne(std::vector<Open>& open, Round& round, Progress& progress);
    // Why the answers end early: the reason, what is missing, and who is not known any more.
    std::string story(const std::vector<Open>& open, const Round& round) const;
    std::string missing(const std::vector<Open>& open, const Round& round) const;
    // Those of the machines that the gateway, asked anew, does not know; none if it is silent.
    std::vector<std::string> notKnown(const std::vector<std::string>& machines) const;

    const Settings settings_;
    const Milliseconds patience_;
    teskhost::HostLink link_;
};

}  // namespace dornctl
