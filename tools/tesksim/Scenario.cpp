#include "tesksim/Scenario.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

#include "tesksim/Entries.h"
#include "tesksim/ScenarioLines.h"
#include "tesksim/ScenarioReader.h"

namespace tesksim {

using nlohmann::json;

namespace {

constexpr std::size_t kLargestFile = std::size_t{16} * 1024 * 1024;
constexpr std::int64_t kHighest = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kDay = 86400000;  // milliseconds
constexpr std::int64_t kMostEntries = 2500;
constexpr std::int64_t kLongestAnswer = 65535;
constexpr std::size_t kMostMachines = 99;
constexpr std::size_t kNameSize = 11;
constexpr int kTimesCode = 117;

std::string indexed(const std::string& name, std::size_t index) {
    return name + "[" + std::to_string(index) + "]";
}

int codeOf(const std::string& text, const ScenarioReader& reader, const char* name) {
    const bool digits = !text.empty() && text.size() <= 3 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
    const int code = digits ? std::stoi(text) : 0;
    if (code < 1 || code > 255) reader.fail(name, "a message code from 1 to 255 as each name");
    return code;
}

// An object of texts by message code.
std::map<int, std::string> texts(ScenarioReader& reader, const char* name) {
    std::map<int, std::string> result;
    const json* const member = reader.member(name);
    if (member == nullptr) return result;
    ScenarioReader inner(*member, reader.placeOf(name));
    for (const auto& [code, value] : member->items()) {
        inner.take(code.c_str(), result[codeOf(code, reader, name)]);
    }
    return result;
}

void takeEntries(ScenarioReader& reader, std::map<int, std::string>& bodies) {
    const json* const member = reader.member("entries");
    if (member == nullptr) return;
    ScenarioReader inner(*member, reader.placeOf("entries"));
    for (const auto& [name, value] : member->items()) {
        const int code = codeOf(name, reader, "entries");
        std::size_t count = 0;
        inner.take(name.c_str(), count, 0, kMostEntries);
        bodies[code] = code == kTimesCode ? timedEntries(count) : numberedEntries(count);
    }
}

void takeMilliseconds(ScenarioReader& reader, const char* name, std::chrono::milliseconds& value,
                      std::int64_t lowest = 0) {
    std::int64_t number = value.count();
    reader.take(name, number, lowest, kDay);
    value = std::chrono::milliseconds(number);
}

Meters::Options meters(const json& value, const std::string& place) {
    ScenarioReader reader(value, place);
    Meters::Options options;
    reader.take("total_in", options.totalIn, 0, kHighest);
    reader.take("total_out", options.totalOut, 0, kHighest);
    reader.take("cleared", options.cleared, 0, kHighest);
    reader.take("item_5", options.item5, 0, kHighest);
    takeMilliseconds(reader, "every_ms", options.every, 1);
    reader.take("most_in", options.mostIn, 0, kHighest);
    reader.take("most_out", options.mostOut, 0, kHighest);
    reader.end();
    return options;
}

void takeFaults(ScenarioReader& reader, Faults& faults) {
    reader.take("silent", faults.silent);
    reader.take("refuse", faults.refuse);
    reader.take("deaf", faults.deaf);
    takeMilliseconds(reader, "delay_ms", faults.delay);
    takeMilliseconds(reader, "dribble_ms", faults.dribble);
    reader.take("length_error", faults.lengthError, -kLongestAnswer, kLongestAnswer);
    if (reader.has("close_after")) {
        std::size_t bytes = 0;
        reader.take("close_after", bytes, 0, kLongestAnswer);
        faults.closeAfter = bytes;
    }
    if (reader.has("repeat_after_ms")) {
        takeMilliseconds(reader, "repeat_after_ms", faults.repeatAfter.emplace());
    }
    reader.take("garbage_before", faults.garbageBefore);
    reader.take("garbage_after", faults.garbageAfter);
}

// "again_ms": [shortest, longest]
void takeAgain(ScenarioReader& reader, FaultSchedule::Entry& entry) {
    const json* const member = reader.member("again_ms");
    if (member == nullptr) return;
    const auto isTime = [](const json& value) {
        return value.is_number_unsigned() && value.get<std::uint64_t>() <= kDay;
    };
    const bool good = member->is_array() && member->size() == 2 &&
                      std::all_of(member->begin(), member->end(), isTime) &&
                      (*member)[0] <= (*member)[1];
    if (!good) reader.fail("again_ms", "[shortest, longest] in milliseconds");
    if (!entry.last) reader.fail("for_ms", "a time, since \"again_ms\" is there,");
    entry.againMin = std::chrono::milliseconds((*member)[0].get<std::int64_t>());
    entry.againMax = std::chrono::milliseconds((*member)[1].get<std::int64_t>());
}

FaultSchedule::Entry fault(const json& value, const std::string& place) {
    ScenarioReader reader(value, place);
    FaultSchedule::Entry entry;
    takeMilliseconds(reader, "at_ms", entry.at);
    if (reader.has("for_ms")) {
        std::chrono::milliseconds last{0};
        takeMilliseconds(reader, "for_ms", last, 1);
        entry.last = last;
    }
    takeAgain(reader, entry);
    takeFaults(reader, entry.faults);
    reader.end();
    return entry;
}

const json& arrayOf(ScenarioReader& reader, const char* name) {
    static const json kNone = json::array();
    const json* const member = reader.member(name);
    if (member == nullptr) return kNone;
    if (!member->is_array()) reader.fail(name, "a list");
    return *member;
}

void takeEndpoint(ScenarioReader& reader, Machine::Options& options) {
    reader.take("port", options.port, 0, 65535);
    reader.take("tty", options.tty);
    reader.take("pty", options.ptyLink);
    std::string line;
    reader.take("line", line);
    if (!options.tty.empty() && !options.ptyLink.empty())
        reader.fail("pty", "no \"tty\" beside it");
    if (line.empty()) return;
    try {
        options.line = SerialLine::parse(line);
    } catch (const std::invalid_argument& e) {
        throw ScenarioError(reader.placeOf("line") + ": " + e.what());
    }
}

MachineScenario machine(const json& value, const std::string& place) {
    ScenarioReader reader(value, place);
    MachineScenario result;
    reader.take("code_id", result.options.codeId);
    const std::string& codeId = result.options.codeId;
    if (codeId.empty() || codeId.size() > kNameSize) reader.fail("code_id", "1 to 11 characters");
    takeEndpoint(reader, result.options);
    reader.take("date", result.date);
    reader.take("trailer", result.trailer);
    if (const json* const member = reader.member("meters")) {
        result.meters = meters(*member, reader.placeOf("meters"));
    }
    result.bodies = texts(reader, "answers");
    takeEntries(reader, result.bodies);
    result.outcomes = texts(reader, "outcomes");
    const json& faults = arrayOf(reader, "faults");
    for (std::size_t i = 0; i < faults.size(); ++i) {
        result.faults.push_back(fault(faults[i], indexed(reader.placeOf("faults"), i)));
    }
    reader.end();
    return result;
}

Scenario read(const std::string& text) {
    const json document = json::parse(text, nullptr, true, true);
    ScenarioReader reader(document, "");
    Scenario scenario;
    reader.take("seed", scenario.seed, 0, kHighest);
    const json& machines = arrayOf(reader, "machines");
    if (machines.empty() || machines.size() > kMostMachines) {
        reader.fail("machines", "a list of 1 to 99 machines");
    }
    for (std::size_t i = 0; i < machines.size(); ++i) {
        scenario.machines.push_back(machine(machines[i], indexed("machines", i)));
    }
    reader.end();
    return scenario;
}

}  // namespace

Scenario Scenario::parse(const std::string& text) {
    const ScenarioLines lines(text);
    try {
        return read(text);
    } catch (const ScenarioError& e) {
        throw ScenarioError("line " + std::to_string(lines.lineOf(e.what())) + ": " + e.what());
    }
}

Scenario Scenario::load(const std::string& file) {
    std::ifstream in(file);
    if (!in) throw ScenarioError(file + ": the file cannot be read");
    std::string text(kLargestFile + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > kLargestFile) throw ScenarioError(file + ": larger than 16 MiB");
    try {
        return parse(text);
    } catch (const ScenarioError& e) {
        throw ScenarioError(file + ": " + e.what());
    }
}

}  // namespace tesksim
