#include "tesksim/Console.h"

#include <charconv>
#include <chrono>
#include <map>
#include <sstream>
#include <stdexcept>

namespace tesksim {

namespace {

constexpr char kShow[] = "show";

using Action = std::function<void(Machine&, const std::string&)>;

template <typename Number>
Number wholeNumber(const std::string& text) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) return value;
    throw std::invalid_argument("a whole number is expected");
}

std::chrono::milliseconds milliseconds(const std::string& text) {
    return std::chrono::milliseconds(wholeNumber<unsigned>(text));
}

// An action that changes the machine's faults.
Action fault(const std::function<void(Faults&, const std::string&)>& change) {
    return [change](Machine& machine, const std::string& argument) {
        Faults faults = machine.faults();
        change(faults, argument);
        machine.setFaults(faults);
    };
}

void setCodeId(Machine& machine, const std::string& text) {
    constexpr std::size_t kSize = 11;
    if (text.empty() || text.size() > kSize) {
        throw std::invalid_argument("1 to 11 characters are expected");
    }
    machine.setCodeId(text);
}

void setBody(Machine& machine, const std::string& argument) {
    std::istringstream words(argument);
    int code = 0;
    std::string body;
    if (!(words >> code >> body)) throw std::invalid_argument("code and body are expected");
    machine.answers().setBody(code, body);
}

const std::map<std::string, Action>& actions() {
    using Text = const std::string&;
    static const std::map<std::string, Action> table = {
        {"start", [](Machine& machine, Text) { machine.start(); }},
        {"stop", [](Machine& machine, Text) { machine.stop(); }},
        {"ok", [](Machine& machine, Text) { machine.clearFaults(); }},
        {"code-id", setCodeId},
        {"disconnect", [](Machine& machine, Text) { machine.disconnect(); }},
        {"body", setBody},
        {"silent", fault([](Faults& faults, Text) { faults.silent = true; })},
        {"refuse", fault([](Faults& faults, Text) { faults.refuse = true; })},
        {"deaf", fault([](Faults& faults, Text) { faults.deaf = true; })},
        {"slow", fault([](Faults& faults, Text text) { faults.delay = milliseconds(text); })},
        {"dribble", fault([](Faults& faults, Text text) { faults.dribble = milliseconds(text); })},
        {"length",
         fault([](Faults& faults, Text text) { faults.lengthError = wholeNumber<int>(text); })},
        {"cut",
         fault([](Faults& faults, Text text) { faults.closeAfter = wholeNumber<unsigned>(text); })},
    };
    return table;
}

std::string describe(Machine& machine) {
    std::ostringstream text;
    text << (machine.isRunning() ? "running" : "stopped") << " port=" << machine.port()
         << " code-id=" << machine.codeId()
         << (machine.journal().isConnected() ? " connected" : " not connected")
         << " requests=" << machine.journal().requestCount()
         << " acknowledged=" << machine.journal().acknowledgementCount();
    return text.str();
}

}  // namespace

std::string Console::help() {
    return "N is the number of a machine, from 1 on.\n"
           "  show N            its port, CodeId, connection and counts\n"
           "  stop N, start N   stop listening and drop the connection; listen again\n"
           "  disconnect N      drop the connection once\n"
           "  code-id N TEXT    its name, up to 11 characters\n"
           "  body N CODE TEXT  what it answers to the message CODE\n"
           "Faults, which last until \"ok N\":\n"
           "  silent N          send no answer\n"
           "  slow N MS         wait MS milliseconds before an answer\n"
           "  dribble N MS      send a byte every MS milliseconds\n"
           "  length N ERROR    add ERROR to the length field\n"
           "  cut N BYTES       close the connection after so many bytes of an answer\n"
           "  refuse N          accept no connection\n"
           "  deaf N            read nothing\n"
           "  ok N              end its faults\n"
           "help                this text\n"
           "quit                end the program";
}

std::string Console::execute(const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    std::string number;
    std::string argument;
    words >> verb >> number >> std::ws;
    std::getline(words, argument);
    if (verb.empty()) return "";
    if (verb == "help") return help();
    if (verb == "quit") {
        done_ = true;
        return "bye";
    }
    try {
        if (verb != kShow && actions().count(verb) == 0) {
            throw std::invalid_argument("no such command");
        }
        return command(verb, machineNumber(number), argument);
    } catch (const std::exception& e) {
        return kError + line + ": " + e.what();
    }
}

std::string Console::command(const std::string& verb, Machine& machine,
                             const std::string& argument) {
    if (verb == kShow) return describe(machine);
    actions().at(verb)(machine, argument);
    return "ok";
}

Machine& Console::machineNumber(const std::string& text) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    if (whole && number > 0 && number <= machines_.size()) return *machines_[number - 1];
    throw std::out_of_range(
        (text.empty() ? "the number of a machine is missing" : "'" + text + "' is no machine") +
        std::string("; machines are 1 to ") + std::to_string(machines_.size()));
}

}  // namespace tesksim
