// Counts what the controller's daemon executes for one exchange of each kind, in instructions and
// system calls. Unlike times, these do not depend on the machine that counts.
//   teskd_count --daemon FILE     one line for each kind: name, instructions, system calls

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/CountedDaemon.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"

namespace teskd::bench {
namespace {

using test::Config;
using test::Gateway;
using test::HostClient;
using test::Notifications;

constexpr int REPETITIONS = 3;
constexpr int EXCHANGES = 100;
// Between two exchanges: so slow that no line of the log is left out, however fast the machine is.
constexpr auto PAUSE = std::chrono::milliseconds(50);
constexpr int COUNTERS_ID = 113;
constexpr std::size_t COUNTERS_SIZE = 296;  // of a real machine's body, which has many more values
constexpr int LIST_ID = 115;
constexpr std::size_t PAIRS = 600;
constexpr int PAGES = 3;  // frames with at most 255 of them
constexpr std::uint8_t ANSWERED = 0x81;
constexpr int IDLE_SECONDS = 20;
constexpr int NEVER = 1000;  // minutes
// Parameters for which the daemon polls at once and reports every pass.
constexpr int PARAMETERS = 2;
constexpr int PASS = 4;
constexpr char POLL_AT_ONCE[] = "-1!1!1!0";
constexpr char POLL_NO_MORE[] = "-1000!1!1!1000";

struct Cost {
    double instructions = 0;
    double systemCalls = 0;
};

class Session {
  public:
    Session(const std::string& daemon, const std::string& plugin)
        : counted_(daemon, plugin),
          gateway_(1, Config().polling(0, NEVER), counted_.options()),
          notifications_(gateway_.server()) {
        gateway_.machine(1).answers().setBody(COUNTERS_ID, counters());
        gateway_.machine(1).answers().setBody(LIST_ID, pairs());
        gateway_.startKnown();
        gateway_.log().discard();
    }

    std::map<std::string, Cost> all() {
        std::map<std::string, Cost> costs;
        costs["poll"] = ofPoll();
        {
            HostClient host = gateway_.host();
            costs["type 1"] = ofRequest(host, 1, test::named("\1", test::codeIdOf(1)));
            costs["type 2, 600 pairs"] =
                ofRequest(host, 2, test::named("CNT00001CNT99999", test::codeIdOf(1)), PAGES);
            costs["type 7"] = ofRequest(host, 7, "");
            costs["type 8"] = ofRequest(host, 8, "");
        }
        costs["idle minute"] = ofIdleMinute();
        return costs;
    }

  private:
    static std::string counters() {
        std::string body = "100~200~1~100~200~0";
        while (body.size() < COUNTERS_SIZE) body += "~0";
        return body;
    }

    static std::string pairs() {
        std::string body = "CNT00001~01=5";
        for (std::size_t n = 1; n < PAIRS; ++n) body += "~CNT00001~01=5";
        return body;
    }

    // Of one exchange, by many of them.
    Cost average(int times, const std::function<void()>& exchange) {
        repeat(times / 4, exchange);  // what is made once is made now
        const Counts before = counted_.settled();
        repeat(times, exchange);
        return between(before, counted_.settled(), times);
    }

    static void repeat(int times, const std::function<void()>& exchange) {
        for (int i = 0; i < times; ++i) {
            exchange();
            std::this_thread::sleep_for(PAUSE);
        }
    }

    static Cost between(const Counts& before, const Counts& after, double times) {
        return {static_cast<double>(after.instructions - before.instructions) / times,
                static_cast<double>(after.systemCalls - before.systemCalls) / times};
    }

    Cost ofRequest(HostClient& host, int type, const std::string& body, int frames = 1) {
        return average(EXCHANGES, [&] {
            host.request(static_cast<std::uint8_t>(type), body);
            for (int frame = 0; frame < frames; ++frame) {
                if (host.readFrame().kind != ANSWERED) throw std::runtime_error("a request failed");
            }
        });
    }

    // A pass over one machine with its checks, from the answer that demands it to its report.
    Cost ofPoll() {
        test::Frame last = notifications_.take(PARAMETERS);
        const Cost cost = average(EXCHANGES / 4, [&] {
            notifications_.answer(last, PARAMETERS, POLL_AT_ONCE);
            last = notifications_.take(PASS);
        });
        notifications_.answer(last, PARAMETERS, POLL_NO_MORE);
        return cost;
    }

    // Starts and ends between two wake-ups, of which there is one a second.
    Cost ofIdleMinute() {
        counted_.settled();
        counted_.awaitWork();
        const Counts before = counted_.settled();
        std::this_thread::sleep_for(std::chrono::seconds(IDLE_SECONDS));
        return between(before, counted_.settled(), IDLE_SECONDS / 60.0);
    }

    CountedDaemon counted_;
    Gateway gateway_;
    Notifications notifications_;
};

// What varies from one repetition to the next comes on top, as when a thread finds a lock taken.
Cost least(const Cost& one, const Cost& other) {
    return {std::min(one.instructions, other.instructions),
            std::min(one.systemCalls, other.systemCalls)};
}

void count(const std::string& daemon) {
    std::map<std::string, Cost> costs = Session(daemon, PLUGIN).all();
    for (int i = 1; i < REPETITIONS; ++i) {
        for (const auto& [name, cost] : Session(daemon, PLUGIN).all()) {
            costs[name] = least(costs[name], cost);
        }
    }
    for (const auto& [name, cost] : costs) {
        std::printf("%-20s %10.0f %8.1f\n", name.c_str(), cost.instructions, cost.systemCalls);
    }
}

}  // namespace
}  // namespace teskd::bench

int main(int count, char** arguments) {
    CLI::App app("Counts what the controller's daemon executes for an exchange of each kind");
    std::string daemon;
    app.add_option("--daemon", daemon, "Program for the controller")
        ->required()
        ->check(CLI::ExistingFile);
    CLI11_PARSE(app, count, arguments);
    try {
        teskd::bench::count(daemon);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "teskd_count: %s\n", e.what());
        return 1;
    }
}
