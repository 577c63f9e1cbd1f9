#include "bench/Measurement.h"

#include <chrono>
#include <cstdlib>
#include <memory>

#include "bench/Gateway.h"
#include "bench/Reference.h"
#include "support/ProcInfo.h"

namespace teskd::bench {

namespace {

constexpr std::size_t WARM_UP = 200;  // requests

void count(Road& road, std::size_t requests, Measurement::Figures& figures) {
    SystemCalls calls(road.pid());
    road.ask(requests);
    figures.systemCalls = calls.finish();
    figures.countedRequests = requests;
}

}  // namespace

Sample Measurement::Figures::whole() const {
    Sample sum;
    for (const Sample& round : rounds) sum.add(round);
    return sum;
}

Measurement Measurement::of(const Setup& setup) {
    Measurement result;
    ::getloadavg(&result.load, 1);
    Gateway gateway(setup, 0);
    const Conversation talk = gateway.capture();
    const Reference reference(setup, talk);
    std::unique_ptr<Gateway> crowded;
    std::vector<Road> roads;
    roads.emplace_back(gateway.road("daemon", talk.hostAnswer));
    roads.emplace_back(reference.road());
    if (setup.idleHosts > 0) {
        crowded = std::make_unique<Gateway>(setup, setup.idleHosts);
        roads.emplace_back(crowded->road("crowded daemon", talk.hostAnswer));
    }
    for (Road& road : roads) {
        result.roads.push_back({road.name(), {}});
        road.ask(WARM_UP);
    }
    const std::chrono::duration<double> share(setup.seconds / static_cast<double>(setup.rounds));
    for (std::size_t round = 0; round < setup.rounds; ++round) {
        for (std::size_t i = 0; i < roads.size(); ++i) {
            result.roads[i].rounds.push_back(
                roads[i].drive(std::chrono::duration_cast<std::chrono::nanoseconds>(share)));
        }
    }
    for (std::size_t i = 0; i < roads.size(); ++i) {
        result.roads[i].residentKilobytes = test::residentKilobytes(roads[i].pid());
        if (setup.countedRequests > 0 && SystemCalls::available()) {
            count(roads[i], setup.countedRequests, result.roads[i]);
        }
    }
    return result;
}

}  // namespace teskd::bench
