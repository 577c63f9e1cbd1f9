#include "soak/CalmCheck.h"

#include <cstdlib>
#include <map>
#include <thread>
#include <vector>

#include "soak/HostLine.h"
#include "soak/Oracle.h"
#include "soak/Violation.h"
#include "support/Deadline.h"
#include "support/Hex.h"

namespace teskd::soak {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kHostNumber = 0xFF;
constexpr std::uint64_t kStream = 5000;
constexpr auto kPatience = 40s;
constexpr auto kBetweenQuestions = 100ms;
// A few lines for every host that comes and goes, and a hundred each second for all the rest.
constexpr auto kLogWindow = 10s;
constexpr std::size_t kLinesPerConnection = 4;
constexpr std::size_t kLinesPerSecond = 100;
// References on packets, while machines are polled and nobody asks.
constexpr std::size_t kMostPackets = 40;
// Kilobytes that stay behind trouble and large requests: the readings kept, and what the allocator
// does not give back. The large requests together are several times as much.
constexpr std::size_t kMemoryMargin = 12 * 1024;
constexpr std::size_t kLargeRequest = std::size_t{8} * 1024 * 1024;
// What all hosts together can make the daemon hold, in kilobytes: the pool for their requests and
// answers, what each of very many connections always has, an answer of many pages, and what the
// allocator keeps beside it.
constexpr std::size_t kMostGrowth = 48 * 1024;

#ifdef TESKD_SANITIZED
constexpr bool kMemoryIsPlain = false;
#else
constexpr bool kMemoryIsPlain = true;
#endif

// The beginnings of the lines, and how often each is there.
std::string byFrequency(const std::vector<test::LogLine>& lines) {
    constexpr std::size_t kBeginning = 40;
    std::map<std::string, std::size_t> counts;
    for (const test::LogLine& line : lines) ++counts[line.text.substr(0, kBeginning)];
    std::string result;
    for (const auto& [text, count] : counts) result += std::to_string(count) + " " + text + "\n";
    return result;
}

}  // namespace

bool isDebugging(const test::LogLine& line) {
    constexpr int kSeverity = 7;
    return line.priority >= 0 && (line.priority & kSeverity) == kSeverity;
}

CalmCheck::CalmCheck(const Surroundings& around)
    : daemon_(around.daemon),
      park_(around.park),
      server_(around.server),
      summary_(around.summary),
      samples_(around.samples),
      random_(around.seed, kStream),
      maker_(kHostNumber, around.park.codeIds(), random_) {}

// Waits for the polls and the first host to be done with, so that only what stays is counted.
void CalmCheck::takeBaseline() {
    awaitKnownMachines();
    checkEveryRequest();
    const test::Deadline deadline(kPatience);
    auto steadySince = Clock::now();
    while (Clock::now() - steadySince < 1s && !deadline.passed()) {
        const std::size_t descriptors = daemon_.openDescriptors();
        const std::size_t threads = daemon_.threadCount();
        if (descriptors != descriptors_ || threads != threads_) steadySince = Clock::now();
        descriptors_ = descriptors;
        threads_ = threads;
        std::this_thread::sleep_for(20ms);
    }
    summary_.highest("descriptors at first", descriptors_);
    summary_.highest("threads at first", threads_);
    firstKilobytes_ = daemon_.residentKilobytes();
    summary_.highest("resident kilobytes at first", firstKilobytes_);
}

void CalmCheck::check() {
    awaitKnownMachines();
    checkEveryRequest();
    askLargeRequests();
    checkLeftovers();
    checkMemory();
    samples_.add(sample(), false);
}

// A machine whose line failed is known again with the next polling pass. That begins with a
// notification, and the one before may have to time out first.
void CalmCheck::awaitKnownMachines(Visit* visit) {
    for (const std::string& codeId : park_.codeIds()) {
        const test::Deadline deadline(kPatience);
        const auto isKnown = [&] {
            const Request request = maker_.toMachine(1, codeId);
            return visit == nullptr ? isAnswered(request) : isAnswered(*visit, request);
        };
        while (!isKnown()) {
            if (deadline.passed()) {
                throw Violation("machine " + codeId + " does not come back" + story());
            }
            std::this_thread::sleep_for(kBetweenQuestions);
        }
    }
}

// The one before may have to time out first.
void CalmCheck::awaitNotification() {
    const std::size_t before = server_.received();
    if (test::eventually([&] { return server_.received() > before; }, kPatience)) return;
    throw Violation("the notification server is there and gets no notification");
}

void CalmCheck::checkInCrowd(Crowd& crowd) {
    constexpr int kTimes = 3;
    Visit before = visit();
    for (int i = 0; i < kTimes; ++i) {
        crowd.gather();
        for (std::size_t index = 0; index < Park::kMachines; ++index) {
            park_.machine(index).line().disconnect();
        }
    }
    crowd.gather();
    awaitKnownMachines(&before);
}

// What each machine has seen since its last trouble.
std::string CalmCheck::story() {
    constexpr std::size_t kMost = 300;
    std::string result;
    for (std::size_t index = 0; index < Park::kMachines; ++index) {
        const tesksim::Journal& journal = park_.machine(index).line().journal();
        const std::string raw = journal.rawReceived();
        result += "\n  machine " + std::to_string(index) + " on port " +
                  std::to_string(park_.machine(index).port()) + ": " +
                  (journal.isConnected() ? "connected" : "not connected") + ", " +
                  std::to_string(journal.connections()) + " connections, " +
                  std::to_string(journal.requestCount()) + " requests, " +
                  std::to_string(journal.acknowledgementCount()) +
                  " acknowledgements; it received " +
                  test::hex(std::string_view(raw).substr(0, kMost)) + "\n    and sent " +
                  test::hex(journal.rawSent().substr(0, kMost));
    }
    return result;
}

void CalmCheck::checkEveryRequest() {
    for (const std::string& codeId : park_.codeIds()) {
        for (std::uint8_t type = 1; type <= 6; ++type) {
            const Request request = maker_.toMachine(type, codeId);
            if (isAnswered(request)) continue;
            throw Violation("in the calm there is no answer to " + request.describe());
        }
    }
}

// Each leaves its machine's line whole.
void CalmCheck::askLargeRequests() {
    for (const std::string& codeId : park_.codeIds()) {
        if (isAnswered(maker_.large(codeId, kLargeRequest))) continue;
        throw Violation("in the calm there is no answer to a large request");
    }
}

CalmCheck::Visit CalmCheck::visit() {
    summary_.count("connections", "opened in a calm");
    return {HostLine(daemon_.port()), Oracle(park_, summary_)};
}

bool CalmCheck::isAnswered(const Request& request) {
    Visit own = visit();
    return isAnswered(own, request);
}

bool CalmCheck::isAnswered(Visit& visit, const Request& request) {
    visit.oracle.asked(request);
    visit.line.send(request.frame.encode());
    bool regular = true;
    while (visit.oracle.owed() > 0) {
        for (const test::Frame& frame : visit.line.read(50ms)) {
            visit.oracle.received(frame);
            regular = regular && frame.kind == 0x81;
        }
        visit.oracle.checkTime();
        if (visit.line.isEnded()) throw Violation("the daemon has ended the connection");
    }
    return regular;
}

void CalmCheck::checkLeftovers() {
    const auto isForgotten = [this] {
        checkLog();
        return packets_ <= kMostPackets;
    };
    awaitDepartures();
    if (!test::eventually(isForgotten, kPatience)) {
        throw Violation("something was left behind: " + resources());
    }
}

void CalmCheck::awaitDepartures() {
    const auto areGone = [this] {
        return daemon_.openDescriptors() <= descriptors_ && daemon_.threadCount() <= threads_;
    };
    if (test::eventually(areGone, kPatience)) return;
    throw Violation("something was left behind: " + resources());
}

// Comes back to what it was before all trouble.
void CalmCheck::checkMemory() {
    const std::size_t most = firstKilobytes_ + kMemoryMargin;
    const auto isBack = [&] { return daemon_.residentKilobytes() <= most; };
    if (kMemoryIsPlain && !test::eventually(isBack, kPatience)) {
        throw Violation("memory does not come back: " + std::to_string(firstKilobytes_) +
                        " kB before all trouble, now " + resources());
    }
    summary_.highest("resident kilobytes in a calm", daemon_.residentKilobytes());
}

void CalmCheck::observe() {
    const Sample now = sample();
    summary_.highest("highest descriptors", now.descriptors);
    summary_.highest("highest threads", now.threads);
    summary_.highest("highest resident kilobytes", now.kilobytes);
    if (!daemon_.running()) {
        daemon_.readOutputAgain();
        daemon_.waitForExit();
        throw Violation("the daemon has ended:\n" + daemon_.standardError());
    }
    if (kMemoryIsPlain && now.kilobytes > firstKilobytes_ + kMostGrowth) {
        throw Violation("hosts make the daemon hold too much: " + resources());
    }
    if (Clock::now() - logSince_ < kLogWindow) return;
    checkLog();
    samples_.add(sample(), true);
}

Sample CalmCheck::sample() const {
    return {daemon_.residentKilobytes(), daemon_.openDescriptors(), daemon_.threadCount(),
            packets_};
}

// Every line about a packet that is freed tells how many references there are.
void CalmCheck::notePackets(const std::vector<test::LogLine>& lines) {
    constexpr std::string_view kCounter = "(packet_counter == ";
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        const std::size_t at = line->text.find(kCounter);
        if (at == std::string::npos) continue;
        packets_ = std::strtoul(line->text.c_str() + at + kCounter.size(), nullptr, 10);
        return;
    }
}

void CalmCheck::checkLog() {
    const auto now = Clock::now();
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(now - logSince_).count();
    const std::size_t connections = summary_.total("connections");
    const std::size_t most = static_cast<std::size_t>(seconds) * kLinesPerSecond +
                             (connections - connectionsBefore_) * kLinesPerConnection;
    logSince_ = now;
    connectionsBefore_ = connections;
    std::vector<test::LogLine> lines = daemon_.log().take();
    notePackets(lines);
    const std::size_t all = lines.size();
    std::erase_if(lines, isDebugging);
    summary_.count("log lines", "debugging", all - lines.size());
    summary_.count("log lines", "others", lines.size());
    summary_.highest("most log lines in a second, without debugging",
                     lines.size() / static_cast<std::size_t>(seconds));
    if (lines.size() > most) {
        throw Violation(std::to_string(lines.size()) + " log lines in " + std::to_string(seconds) +
                        " s, more than " + std::to_string(most) + ":\n" + byFrequency(lines));
    }
}

std::string CalmCheck::resources() const {
    return std::to_string(daemon_.openDescriptors()) + " descriptors (" +
           std::to_string(descriptors_) + " at first), " + std::to_string(daemon_.threadCount()) +
           " threads (" + std::to_string(threads_) + " at first), " + std::to_string(packets_) +
           " references on packets, " + std::to_string(daemon_.residentKilobytes()) + " kB";
}

}  // namespace teskd::soak
