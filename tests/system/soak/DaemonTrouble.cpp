#include "soak/DaemonTrouble.h"

#include <cerrno>

namespace teskd::soak {

namespace {

using test::Call;

constexpr std::uint64_t kStream = 7000;
constexpr std::chrono::milliseconds kLook{10};
constexpr int kLooks = 200;

struct Failure {
    const char* name;
    Call call;
    int error;
    int latest;  // number of the call that fails, at most
    int weight;
};

constexpr Failure kFailures[] = {
    {"memory", Call::allocation, ENOMEM, 3000, 10},
    {"a socket", Call::socket, EMFILE, 2, 2},
    {"a descriptor's copy", Call::duplicate, EMFILE, 10, 2},
    {"accepting", Call::accept, EMFILE, 5, 2},
    {"a thread", Call::thread, EAGAIN, 5, 2},
};

}  // namespace

DaemonTrouble::DaemonTrouble(const std::filesystem::path& root, Excuses& excuses, Stage& stage,
                             Summary& summary, std::uint64_t seed)
    : faults_(root), excuses_(excuses), stage_(stage), summary_(summary), random_(seed, kStream) {}

void DaemonTrouble::run() {
    shift_.work(stage_, [this] {
        stage_.stay(Stage::Act::Trouble, random_.milliseconds(1000, 8000));
        if (stage_.isTrouble()) once();
    });
}

void DaemonTrouble::once() {
    std::vector<int> weights;
    for (const Failure& failure : kFailures) weights.push_back(failure.weight);
    const Failure& failure = kFailures[random_.weighted(weights)];
    excuses_.failures.begin();
    faults_.order(failure.call, failure.error,
                  static_cast<std::uint64_t>(random_.between(1, failure.latest)),
                  static_cast<std::uint64_t>(random_.between(1, 3)));
    for (int i = 0; i < kLooks && stage_.isTrouble() && !faults_.hasFailed(); ++i) {
        stage_.stay(Stage::Act::Trouble, kLook);
    }
    if (faults_.hasFailed()) summary_.count("failing calls", failure.name);
    faults_.cancel();
    excuses_.failures.end();
}

}  // namespace teskd::soak
