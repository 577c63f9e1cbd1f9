#include "demo/SlotMachines.h"

#include <algorithm>
#include <cstdio>

namespace demo {

namespace {

constexpr int kListCode = 115;
constexpr int kTimesCode = 117;
constexpr int kEventsCode = 119;
constexpr std::size_t kTrailerSize = 268;

struct Counters {
    int totalIn;
    int totalOut;
    int cleared;
    int item5;
};

constexpr std::array<Counters, SlotMachines::kCount> kCounters = {{
    {184250, 171900, 0, 320},
    {96400, 88350, 0, 0},
    {51210, 47333, 12, 0},
    {7550, 6800, 0, 50},
}};

// The answers of the third machine have a trailer.
constexpr std::array<const char*, SlotMachines::kCount> kNames = {"ZA000000001", "ZB000000002",
                                                                  "ZN000000003", "ZD000000004"};

tesksim::Answer dated(const std::string& body) {
    tesksim::Answer answer;
    answer.date = "15.03.26";
    answer.body = body;
    return answer;
}

tesksim::Answer counters(const Counters& c, bool sign) {
    const std::string in = std::to_string(c.totalIn);
    const std::string out = std::to_string(c.totalOut);
    tesksim::Answer answer = dated("");
    for (const std::string& item : {in, out, std::to_string(c.cleared), in, out}) {
        answer.body.append(item).append("~");
    }
    answer.body += std::to_string(c.item5);
    if (sign) answer.trailer = std::string(kTrailerSize, 'S');
    return answer;
}

std::string list(std::size_t number) {
    const std::string total = std::to_string(SlotMachines::totalIn(number));
    return "CNTTOTIN~01=" + total + "!02=1200~CNTTOTOT~01=171900~CNTCL   ~01=0!02=0!03=7";
}

std::string events() {
    std::string body;
    for (std::size_t i = 1; i <= SlotMachines::kEventCount; ++i) {
        char entry[48];
        std::snprintf(entry, sizeof entry, "%sEVENT%03zu~01=%zu!02=%zu", i == 1 ? "" : "~", i, i,
                      i * i);
        body += entry;
    }
    return body;
}

tesksim::Machine::Options named(std::size_t number) {
    return {.codeId = SlotMachines::name(number)};
}

}  // namespace

SlotMachines::SlotMachines()
    : machines_{tesksim::Machine(named(1)), tesksim::Machine(named(2)), tesksim::Machine(named(3)),
                tesksim::Machine(named(4))} {
    for (std::size_t n = 1; n <= kCount; ++n) {
        tesksim::AnswerTable& answers = machine(n).answers();
        answers.set(kCountersCode, counters(kCounters.at(n - 1), n == 3));
        const std::string digit = std::to_string(n);
        answers.set(kTextCode, dated("FW-" + digit + ".0" + digit));
        answers.set(kNumberCode, dated(std::to_string(number(n))));
        answers.set(kListCode, dated(list(n)));
        answers.set(kTimesCode,
                    dated("OPENDOOR~12:34:1!23:59:0~POWERUP ~08:0" + digit + ":" + digit));
        answers.set(kEventsCode, dated(events()));
        machine(n).start();
    }
}

std::string SlotMachines::name(std::size_t number) {
    return kNames.at(number - 1);
}

std::vector<std::uint16_t> SlotMachines::ports() const {
    std::vector<std::uint16_t> result;
    for (const tesksim::Machine& machine : machines_) result.push_back(machine.port());
    return result;
}

std::int64_t SlotMachines::totalIn(std::size_t number) {
    return kCounters.at(number - 1).totalIn;
}

std::int32_t SlotMachines::number(std::size_t number) {
    return static_cast<std::int32_t>(4710 + number);
}

void SlotMachines::turnBack(std::size_t number) {
    Counters lower = kCounters.at(number - 1);
    lower.totalIn -= 1000;
    machine(number).answers().set(kCountersCode, counters(lower, false));
}

bool SlotMachines::awaitPoll() {
    return std::all_of(machines_.begin(), machines_.end(), [](tesksim::Machine& machine) {
        return machine.journal().waitForAcknowledgements(1);
    });
}

void SlotMachines::forget() {
    for (tesksim::Machine& machine : machines_) machine.journal().clear();
}

}  // namespace demo
