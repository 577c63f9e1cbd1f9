#include "soak/MachineTrouble.h"

#include <algorithm>

namespace teskd::soak {

namespace {

constexpr std::uint64_t kStream = 2000;
constexpr std::string_view kNoSeparator = "abcXYZ.:-=\xFF\xFA\xF0\x01 ";
// Longer than machines may take for a short request.
constexpr int kBeyondTimeout = 10500;
constexpr std::chrono::milliseconds kDisconnection{500};
constexpr std::chrono::milliseconds kLook{100};
constexpr int kLooks = 80;
// Of requests that time out after ten seconds, and that many ask.
constexpr int kCommonId = 113;

}  // namespace

MachineTrouble::MachineTrouble(std::size_t index, Park& park, Stage& stage, Summary& summary,
                               std::uint64_t seed)
    : index_(index),
      park_(park),
      stage_(stage),
      summary_(summary),
      random_(seed, kStream + index),
      settings_(line().journal().settings()) {}

const std::vector<MachineTrouble::Kind>& MachineTrouble::kinds() {
    static const std::vector<Kind> kinds = {
        {"silent", 10, &MachineTrouble::silence},
        {"slow", 14, &MachineTrouble::slowness},
        {"dribbling", 8, &MachineTrouble::dribble},
        {"answer cut off", 14, &MachineTrouble::cutAnswer},
        {"disconnected", 8, &MachineTrouble::disconnect},
        {"refusing", 8, &MachineTrouble::refuse},
        {"deaf", 5, &MachineTrouble::deafness},
        {"no negotiation", 5, &MachineTrouble::noNegotiation},
        {"codes swapped", 10, &MachineTrouble::swapCodes},
        {"bytes around answers", 6, &MachineTrouble::bytesAround},
        {"damaged messages", 5, &MachineTrouble::damage},
        {"restarted", 5, &MachineTrouble::restart},
        {"one answer too late", 16, &MachineTrouble::lateAnswer},
        {"a pause before one answer", 14, &MachineTrouble::pause},
        {"answers sent twice", 10, &MachineTrouble::repetition},
        {"the next machine's code", 6, &MachineTrouble::borrowedCode},
    };
    return kinds;
}

void MachineTrouble::run() {
    while (!stage_.isOver()) {
        if (!stage_.isTrouble()) {
            comeToRest();
            stage_.awaitEndOf(Stage::Act::Calm);
            continue;
        }
        idle_ = false;
        stage_.stay(Stage::Act::Trouble, random_.milliseconds(300, 4000));
        if (stage_.isTrouble()) once();
        checkSettings();
        line().journal().clear();
    }
}

void MachineTrouble::checkSettings() {
    for (const tesksim::LineSetting& setting : line().journal().settings()) {
        if (std::find(settings_.begin(), settings_.end(), setting) != settings_.end()) continue;
        stage_.violation(
            "line " + std::to_string(index_) + " got a setting that nobody configured: " +
            std::to_string(int{setting.subcommand}) + " = " + std::to_string(setting.number()));
    }
}

void MachineTrouble::comeToRest() {
    if (idle_) return;
    line().clearFaults();
    line().disconnect();
    line().journal().waitForDisconnection(kDisconnection);
    idle_ = true;
}

void MachineTrouble::once() {
    std::vector<int> weights;
    for (const Kind& kind : kinds()) weights.push_back(kind.weight);
    const Kind& kind = kinds()[random_.weighted(weights)];
    summary_.count("machine faults", kind.name);
    (this->*kind.happen)();
}

void MachineTrouble::last(const tesksim::Faults& faults, int shortest, int longest) {
    line().setFaults(faults);
    stage_.stay(Stage::Act::Trouble, random_.milliseconds(shortest, longest));
    line().clearFaults();
}

void MachineTrouble::hangUp() {
    line().disconnect(random_.chance(50));
}

// What was not answered is failed by the disconnection, unless it timed out before.
void MachineTrouble::silence() {
    const bool timesOut = random_.chance(25);
    last({.silent = true}, timesOut ? kBeyondTimeout : 200,
         timesOut ? kBeyondTimeout + 2000 : 4000);
    hangUp();
}

void MachineTrouble::slowness() {
    last({.delay = random_.milliseconds(20, 400)}, 500, 4000);
}

void MachineTrouble::dribble() {
    last({.dribble = random_.milliseconds(1, 4)}, 500, 3000);
    hangUp();
}

void MachineTrouble::cutAnswer() {
    line().setFaults({.closeAfter = static_cast<std::size_t>(random_.between(0, 60))}, 1);
    stage_.stay(Stage::Act::Trouble, random_.milliseconds(100, 2000));
    line().clearFaults();
}

void MachineTrouble::disconnect() {
    hangUp();
}

void MachineTrouble::refuse() {
    line().setFaults({.refuse = true});
    hangUp();
    last({.refuse = true}, 200, 3000);
}

void MachineTrouble::deafness() {
    last({.deaf = true}, 200, 4000);
    hangUp();
}

void MachineTrouble::noNegotiation() {
    using tesksim::Negotiation;
    const auto manner = random_.chance(50) ? Negotiation::Refuse : Negotiation::Mute;
    line().setFaults({.negotiation = manner});
    hangUp();
    last({.negotiation = manner}, 500, 4000);
    hangUp();
}

void MachineTrouble::swapCodes() {
    const auto step = static_cast<std::size_t>(random_.between(1, Park::kMachines - 1));
    park_.swap(index_, (index_ + step) % Park::kMachines);
}

// With the ID of its request, which is often the next one's, too. All that is asked meanwhile is
// answered right behind it. Only one is late: of two in a row, the daemon cannot tell the second
// from the answer to a third request.
void MachineTrouble::lateAnswer() {
    delayOne({.onlyFor = kCommonId,
              .delay = random_.milliseconds(kBeyondTimeout, kBeyondTimeout + 1500)});
}

// As long as no request times out. What is asked meanwhile waits.
void MachineTrouble::pause() {
    delayOne({.delay = random_.milliseconds(3000, 8000)});
}

void MachineTrouble::delayOne(const tesksim::Faults& faults) {
    line().setFaults(faults, 1);
    const auto isTaken = [this] { return line().faults().delay.count() == 0; };
    for (int i = 0; i < kLooks && stage_.isTrouble() && !isTaken(); ++i) {
        stage_.stay(Stage::Act::Trouble, kLook);
    }
    if (isTaken()) stage_.stay(Stage::Act::Trouble, faults.delay + kLook);
    line().clearFaults();
}

// On a line that is idle, so that it is nobody's answer.
void MachineTrouble::repetition() {
    const int latest = random_.chance(30) ? 0 : 400;
    last({.repeatAfter = random_.milliseconds(0, latest)}, 1000, 6000);
}

void MachineTrouble::borrowedCode() {
    const auto step = static_cast<std::size_t>(random_.between(1, Park::kMachines - 1));
    SoakMachine& other = park_.machine((index_ + step) % Park::kMachines);
    park_.machine(index_).borrowCodeId(other.codeId());
}

// Bytes that belong to no message and do not look like the end of a field. They shift what the
// length of a message covers, so what follows may be read askew until the line is cut.
void MachineTrouble::bytesAround() {
    const std::string junk =
        random_.text(static_cast<std::size_t>(random_.between(1, 30)), kNoSeparator);
    tesksim::Faults faults;
    if (random_.chance(50)) {
        faults.garbageBefore = junk;
    } else {
        faults.garbageAfter = junk;
    }
    park_.machine(index_).damage().begin();
    last(faults, 100, 1000);
    hangUp();
    park_.machine(index_).damage().end();
}

// What the daemon makes of such messages may look like anybody's answer until the line is cut.
void MachineTrouble::damage() {
    tesksim::Faults faults;
    const int manner = random_.between(1, 4);
    if (manner == 1) faults.lengthError = random_.between(1, 300);
    if (manner == 2) faults.lengthError = -random_.between(1, 60);
    if (manner == 3) faults.garbageBefore = random_.bytes(20) + "~" + random_.bytes(20);
    if (manner == 4) faults.garbageAfter = random_.bytes(40) + "~0010~" + random_.bytes(5);
    if (random_.chance(30)) faults.dribble = random_.milliseconds(1, 2);
    park_.machine(index_).damage().begin();
    if (random_.chance(30)) line().inject(random_.bytes(30));
    last(faults, 500, 2500);
    hangUp();
    park_.machine(index_).damage().end();
}

void MachineTrouble::restart() {
    line().stop();
    stage_.stay(Stage::Act::Trouble, random_.milliseconds(100, 2000));
    line().start();
}

}  // namespace teskd::soak
