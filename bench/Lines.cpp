#include "bench/Lines.h"

#include <chrono>
#include <string>

#include "support/Deadline.h"

namespace teskd::bench {

namespace {

// Enough items of the kind that a request of the type is answered with.
std::string bodyFor(int type, std::size_t size) {
    constexpr int COUNTERS = 1;
    constexpr int TIMES = 4;
    constexpr int LAST_LIST = 4;
    std::string body;
    if (type == COUNTERS) {
        body = "100~200~1~100~200~0";
        while (body.size() < size) body += "~0";
    } else if (type <= LAST_LIST) {
        const std::string item = type == TIMES ? "OPENDOOR~12:34:5" : "CNT00001~01=5";
        for (body = item; body.size() < size;) body += "~" + item;
    } else {
        body = "4711";
        if (body.size() < size) body.resize(size, '0');
    }
    return body;
}

Machine::Answers answersOf(std::size_t n, const Setup& setup) {
    constexpr int COUNTERS = 1;  // asks with the poll's message
    return {Lines::codeIdOf(n), bodyFor(COUNTERS, setup.type == COUNTERS ? setup.answerSize : 0),
            bodyFor(setup.type, setup.answerSize), std::chrono::microseconds(setup.answerAfter)};
}

}  // namespace

Lines::Lines(const Setup& setup) {
    if (setup.serial) server_ = std::make_unique<SerialPortServer>(setup.machines);
    for (std::size_t n = 0; n < setup.machines; ++n) {
        const Machine::Answers answers = answersOf(n, setup);
        machines_.push_back(server_
                                ? std::make_unique<Machine>(answers, server_->takeMachineSide(n))
                                : std::make_unique<Machine>(answers));
    }
}

Lines::~Lines() = default;

std::string Lines::codeIdOf(std::size_t n) {
    const std::string digits = std::to_string(n);
    return "ZB" + std::string(9 - digits.size(), '0') + digits;
}

std::vector<std::uint16_t> Lines::ports() const {
    if (server_) return server_->ports();
    std::vector<std::uint16_t> ports;
    for (const auto& machine : machines_) ports.push_back(machine->port());
    return ports;
}

void Lines::awaitKnown() {
    for (const auto& machine : machines_) {
        const auto known = [&] { return machine->acknowledgements() > 0; };
        if (!test::eventually(known)) throw test::Timeout(machine->codeId() + " is not known");
    }
}

}  // namespace teskd::bench
