#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <sys/utsname.h>
#include <thread>
#include <vector>

#include "support/TempDir.h"

namespace teskd::bench {

namespace {

using Json = nlohmann::ordered_json;
using Figures = Measurement::Figures;

// The daemon's only use of this call is the system log.
constexpr char LOG_CALL[] = "sendmsg";

// One column of the table.
struct Column {
    const char* title;
    const char* field;
    int digits;
};

constexpr Column COLUMNS[] = {
    {"requests/s", "/requests_per_second", 0},
    {"p50 us", "/latency_us/p50", 1},
    {"p90 us", "/latency_us/p90", 1},
    {"p99 us", "/latency_us/p99", 1},
    {"max us", "/latency_us/max", 0},
    {"cpu us/req", "/cpu_us_per_request", 1},
    {"switches/req", "/context_switches_per_request", 2},
    {"calls/req", "/system_calls_per_request/total", 2},
    {"no log", "/system_calls_per_request/without_log", 2},
    {"rss kB", "/resident_kb", 0},
};

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Round by round, so that a disturbance of one round does not count.
template <class Figure>
double ratio(const Figures& ours, const Figures& theirs, Figure figure) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.rounds.size(); ++i) {
        ratios.push_back(figure(ours.rounds[i]) / figure(theirs.rounds[i]));
    }
    return median(ratios);
}

Json systemCalls(const Figures& figures) {
    Json json = {{"total", 0.0}, {"without_log", 0.0}, {"by_name", Json::object()}};
    if (figures.countedRequests == 0) return json;
    double total = 0;
    double log = 0;
    for (const auto& [name, count] : figures.systemCalls) {
        const double each =
            static_cast<double>(count) / static_cast<double>(figures.countedRequests);
        json["by_name"][name] = each;
        total += each;
        if (name == LOG_CALL) log = each;
    }
    json["total"] = total;
    json["without_log"] = total - log;
    return json;
}

Json figuresOf(const Figures& figures) {
    const Sample whole = figures.whole();
    const double requests = static_cast<double>(std::max<std::size_t>(whole.latencies.size(), 1));
    return {{"name", figures.name},
            {"requests", whole.latencies.size()},
            {"requests_per_second", whole.rate()},
            {"latency_us",
             {{"p50", whole.percentile(50)},
              {"p90", whole.percentile(90)},
              {"p99", whole.percentile(99)},
              {"max", whole.percentile(100)}}},
            {"cpu_us_per_request", static_cast<double>(whole.used.nanoseconds) / 1e3 / requests},
            {"context_switches_per_request", static_cast<double>(whole.used.switches) / requests},
            {"system_calls_per_request", systemCalls(figures)},
            {"resident_kb", figures.residentKilobytes}};
}

Json ratiosOf(const Figures& ours, const Figures& theirs) {
    return {{"of", ours.name},
            {"to", theirs.name},
            {"requests_per_second", ratio(ours, theirs, [](const Sample& s) { return s.rate(); })},
            {"p50", ratio(ours, theirs, [](const Sample& s) { return s.percentile(50); })},
            {"p99", ratio(ours, theirs, [](const Sample& s) { return s.percentile(99); })}};
}

Json machine(double load) {
    utsname system{};
    ::uname(&system);
    return {{"cores", std::thread::hardware_concurrency()},
            {"architecture", system.machine},
            {"kernel", system.release},
            {"load_before", load}};
}

std::string number(const Json& value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", digits, value.get<double>());
    return text;
}

std::string padded(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

}  // namespace

Report::Report(const Setup& setup, const Measurement& measurement) {
    json_["machine"] = machine(measurement.load);
    json_["setup"] = {{"hosts", setup.hosts},
                      {"idle_hosts", setup.idleHosts},
                      {"machines", setup.machines},
                      {"type", setup.type},
                      {"answer_size", setup.answerSize},
                      {"answer_after_us", setup.answerAfter},
                      {"seconds", setup.seconds},
                      {"rounds", setup.rounds},
                      {"serial_port_server", setup.serial},
                      {"log_read", setup.readsLog}};
    json_["roads"] = Json::array();
    for (const Figures& road : measurement.roads) json_["roads"].push_back(figuresOf(road));
    const Figures& daemon = measurement.roads.front();
    json_["ratios"] = Json::array();
    json_["ratios"].push_back(ratiosOf(daemon, measurement.roads.at(1)));
    for (std::size_t i = 2; i < measurement.roads.size(); ++i) {
        json_["ratios"].push_back(ratiosOf(measurement.roads[i], daemon));
    }
}

std::string Report::table() const {
    constexpr std::size_t NAME_WIDTH = 15;
    constexpr std::size_t WIDTH = 13;
    std::string text(NAME_WIDTH, ' ');
    for (const Column& column : COLUMNS) text += padded(column.title, WIDTH);
    for (const Json& road : json_["roads"]) {
        const auto name = road["name"].get<std::string>();
        text += "\n" + name + std::string(NAME_WIDTH - name.size(), ' ');
        for (const Column& column : COLUMNS) {
            text += padded(number(road[Json::json_pointer(column.field)], column.digits), WIDTH);
        }
    }
    for (const Json& ratios : json_["ratios"]) {
        text += "\n" + ratios["of"].get<std::string>() + " / " + ratios["to"].get<std::string>() +
                ": rate " + number(ratios["requests_per_second"], 2) + ", p50 " +
                number(ratios["p50"], 2) + ", p99 " + number(ratios["p99"], 2);
    }
    return text + "\n";
}

void Report::writeJson(const std::string& file) const {
    if (file.empty()) return;
    const std::string text = json_.dump(2) + "\n";
    if (file == "-") {
        std::fputs(text.c_str(), stdout);
    } else {
        test::writeFile(file, text);
    }
}

}  // namespace teskd::bench
