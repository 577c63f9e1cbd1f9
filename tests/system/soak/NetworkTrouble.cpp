#include "soak/NetworkTrouble.h"

#include <exception>

namespace teskd::soak {

namespace {

constexpr std::uint64_t kStream = 8000;

}  // namespace

NetworkTrouble::NetworkTrouble(Network& network, Stage& stage, Summary& summary, std::uint64_t seed)
    : network_(network), stage_(stage), summary_(summary), random_(seed, kStream) {}

void NetworkTrouble::run() {
    shift_.work(stage_, [this] {
        stage_.stay(Stage::Act::Trouble, random_.milliseconds(4000, 20000));
        try {
            if (stage_.isTrouble()) once();
        } catch (const std::exception& e) {
            stage_.violation(std::string("network: ") + e.what());
        }
    });
}

void NetworkTrouble::once() {
    if (random_.chance(50)) {
        unplug();
    } else {
        renewAddress();
    }
}

void NetworkTrouble::unplug() {
    summary_.count("network", "unplugged");
    network_.unplug();
    stage_.stay(Stage::Act::Trouble, random_.milliseconds(100, 4000));
    network_.plugIn();
}

void NetworkTrouble::renewAddress() {
    summary_.count("network", "address renewed");
    network_.dropAddress();
    if (random_.chance(50)) {
        stage_.stay(Stage::Act::Trouble, random_.milliseconds(100, 3000));
    }
    network_.takeNextAddress();
}

}  // namespace teskd::soak
