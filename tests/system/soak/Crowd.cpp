#include "soak/Crowd.h"

#include <exception>

#include "support/Frame.h"

namespace teskd::soak {

namespace {

constexpr std::size_t kMost = 120;
constexpr int kMostRefusals = 6;
constexpr std::chrono::milliseconds kPatience{300};

std::string question() {
    return test::Frame{.type = 7}.encode();
}

}  // namespace

void Crowd::gather() {
    if (lines_.empty()) excuses_.crowd.begin();
    int refusals = 0;
    while (lines_.size() < kMost && refusals < kMostRefusals) {
        if (!join()) ++refusals;
    }
    summary_.count("crowds", "gathered");
    summary_.highest("hosts in a crowd", lines_.size());
}

// Those who are in have been answered.
bool Crowd::join() {
    summary_.count("connections", "of a crowd");
    try {
        HostLine line(port_);
        if (!line.send(question()) || line.read(kPatience).empty()) return false;
        lines_.push_back(std::move(line));
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

void Crowd::leave() {
    lines_.clear();
    excuses_.crowd.end();
}

}  // namespace teskd::soak
