#include "tesksim/Park.h"

#include <algorithm>
#include <ctime>

namespace tesksim {

namespace {

constexpr int kMetersCode = 113;
constexpr std::size_t kTrailerSize = 268;

std::string today() {
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%d.%m.%y", &local)};
}

// Makes the answers of one machine; used on the machine's own thread only.
class Answerer {
  public:
    Answerer(MachineScenario scenario, std::uint32_t seed)
        : scenario_(std::move(scenario)),
          meters_(scenario_.meters.value_or(Meters::Options{}), seed) {}

    Answer answerTo(const Message& request) {
        Answer answer;
        answer.date = scenario_.date.empty() ? today() : scenario_.date;
        const auto outcome = scenario_.outcomes.find(request.id);
        if (outcome != scenario_.outcomes.end()) answer.outcome = outcome->second;
        answer.body = bodyFor(request.id);
        if (scenario_.trailer && request.id == kMetersCode)
            answer.trailer.assign(kTrailerSize, 'S');
        return answer;
    }

  private:
    std::string bodyFor(int code) {
        const auto found = scenario_.bodies.find(code);
        if (found != scenario_.bodies.end()) return found->second;
        if (code != kMetersCode || !scenario_.meters) return defaultBody(code);
        return meters_.bodyAt(std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - started_));
    }

    const MachineScenario scenario_;
    Meters meters_;
    const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

}  // namespace

Park::Park(const Scenario& scenario, const Watcher& watcher) {
    std::uint32_t seed = scenario.seed;
    for (const MachineScenario& machine : scenario.machines) add(machine, seed++, watcher);
}

void Park::add(const MachineScenario& scenario, std::uint32_t seed, const Watcher& watcher) {
    Machine::Options options = scenario.options;
    const std::size_t number = machines_.size() + 1;
    if (watcher) {
        options.observer = [watcher, number](Machine::Event event, const std::string& text) {
            watcher(number, event, text);
        };
    }
    machines_.push_back(std::make_unique<Machine>(options));
    const auto answerer = std::make_shared<Answerer>(scenario, seed);
    constexpr int kLastCode = 255;
    for (int code = 1; code <= kLastCode; ++code) {
        machines_.back()->answers().setCallback(
            code, [answerer](const Message& request) { return answerer->answerTo(request); });
    }
    schedules_.push_back({FaultSchedule(scenario.faults, seed)});
}

void Park::start() {
    followSchedules();
    for (const auto& machine : machines_) machine->start();
}

Park::Milliseconds Park::elapsed() const {
    return std::chrono::duration_cast<Milliseconds>(Clock::now() - started_);
}

std::optional<Park::Milliseconds> Park::followSchedules() {
    const Milliseconds now = elapsed();
    std::optional<Milliseconds> next;
    for (std::size_t i = 0; i < machines_.size(); ++i) {
        Schedule& schedule = schedules_[i];
        if (schedule.change && *schedule.change <= now) {
            const Faults faults = schedule.faults.at(now);
            schedule.change = schedule.faults.nextChange();
            machines_[i]->setFaults(faults);
        }
        if (schedule.change && (!next || *schedule.change < *next)) next = schedule.change;
    }
    if (!next) return std::nullopt;
    return std::max(*next - now, Milliseconds(1));
}

}  // namespace tesksim
