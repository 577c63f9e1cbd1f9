// Judges what one connection of a host gets: every well-formed request gets exactly the frames it
// is owed, in time, and nothing else comes.
//
// Ownership: refers to the park and the summary. Threads: one user at a time.
// Errors: Violation, with the request and the frames it got.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "soak/AamsCheck.h"
#include "soak/Park.h"
#include "soak/Request.h"
#include "soak/Summary.h"

namespace teskd::soak {

class Oracle {
  public:
    Oracle(Park& park, Summary& summary) : park_(park), aams_(park), summary_(summary) {}

    // A request that is going out now.
    void asked(Request request);
    void received(const test::Frame& frame);
    // @throws Violation when a request waits for too long
    void checkTime() const;
    // Requests that are still owed frames.
    std::size_t owed() const;
    // The daemon has ended the connection in order. @throws Violation when it owes anything
    void ended() const;

  private:
    struct Dialogue {
        Request request;
        std::string frames{};       // as they came, for the message
        std::uint32_t regular = 0;  // how many of each there were
        std::uint32_t failures = 0;
        std::uint32_t announced = 0;  // total that the regular frames show; 0: none came
        std::uint32_t answer = 0;     // number of the machine's answer that is being paged
        std::uint32_t page = 0;       // of that answer
        bool complete = false;

        std::uint32_t count() const { return regular + failures; }
        // Whether it is unknown how many machines were asked, since all of them failed so far.
        bool isOpen() const { return !complete && announced == 0 && failures > 0; }
    };

    void take(Dialogue& dialogue, const test::Frame& frame);
    void checkHeader(const Dialogue& dialogue, const test::Frame& frame) const;
    void takeRegular(Dialogue& dialogue, const test::Frame& frame);
    void takeLocal(Dialogue& dialogue, const test::Frame& frame);
    void takeFromMachine(Dialogue& dialogue, const test::Frame& frame);
    void takeNumbers(Dialogue& dialogue, const test::Frame& frame);
    void takeFailure(Dialogue& dialogue, const test::Frame& frame);
    void checkLocalFailure(const Request& request, const test::Frame& frame) const;
    bool mayHaveFailed(const Request& request) const;
    void checkMachineList(const test::Frame& frame) const;
    void checkContent(Dialogue& dialogue, const test::Frame& frame);
    // Whether the daemon may have read the answer askew.
    bool mayBeDamaged(const Dialogue& dialogue) const;
    // What is wrong with the contents; empty when they are right.
    std::string problemOf(Dialogue& dialogue, const test::Frame& frame) const;
    std::string problemOf(const Request& request, const GivenAnswer& given) const;

    Park& park_;
    AamsCheck aams_;
    Summary& summary_;
    std::map<std::uint64_t, Dialogue> dialogues_;
};

}  // namespace teskd::soak
