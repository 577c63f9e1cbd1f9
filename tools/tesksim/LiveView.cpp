#include "tesksim/LiveView.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iomanip>

namespace tesksim {

namespace {

constexpr char kClearScreen[] = "\x1B[H\x1B[2J";
constexpr std::size_t kLinesKept = 15;
constexpr std::size_t kLongest = 100;  // characters of a message that are shown
constexpr char kEndpoint[] = "endpoint";
constexpr int kNumberWidth = 2;
constexpr int kNameWidth = 12;
constexpr int kStateWidth = 14;
constexpr int kCountWidth = 9;

std::string now() {
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%H:%M:%S", &local)};
}

// The text with non-printable bytes as "\x1B"; a long message is truncated.
std::string printable(const std::string& bytes) {
    std::string text;
    for (const char c : bytes.substr(0, kLongest)) {
        char escaped[8];
        const bool plain = c >= ' ' && c <= '~';
        if (!plain)
            std::snprintf(escaped, sizeof escaped, "\\x%02X",
                          unsigned{static_cast<unsigned char>(c)});
        text += plain ? std::string(1, c) : escaped;
    }
    const std::size_t more = bytes.size() > kLongest ? bytes.size() - kLongest : 0;
    return more == 0 ? text : text + "... and " + std::to_string(more) + " bytes more";
}

std::string lineOf(const std::string& machine, Machine::Event event, const std::string& text) {
    const std::string head = now() + " " + machine;
    switch (event) {
        case Machine::Event::Connected:
            return head + " connected";
        case Machine::Event::Disconnected:
            return head + " disconnected";
        case Machine::Event::Asked:
            return head + " <- " + printable(text);
        case Machine::Event::Repeated:
            return head + " -> the last answer once more";
        case Machine::Event::FaultsChanged:
            return head + " fault: " + text;
        case Machine::Event::Answered:
            break;
    }
    return head + " -> " + printable(text);
}

}  // namespace

LiveView::LiveView(std::ostream& out, bool onTerminal, std::vector<std::string> names)
    : out_(out), onTerminal_(onTerminal) {
    for (std::string& name : names) rows_.push_back({std::move(name)});
}

void LiveView::setEndpoints(const std::vector<std::string>& endpoints) {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < rows_.size(); ++i) rows_[i].endpoint = endpoints.at(i);
}

void LiveView::show(std::size_t machine, Machine::Event event, const std::string& text) {
    const std::lock_guard lock(mutex_);
    Row& row = rows_.at(machine - 1);
    update(row, event, text);
    const std::string line = lineOf(std::to_string(machine) + " " + row.name, event, text);
    if (!onTerminal_) {
        out_ << line << std::endl;
        return;
    }
    latest_.push_back(line);
    if (latest_.size() > kLinesKept) latest_.pop_front();
    redraw();
}

void LiveView::update(Row& row, Machine::Event event, const std::string& text) const {
    if (event == Machine::Event::Connected) row.connected = true;
    if (event == Machine::Event::Disconnected) row.connected = false;
    if (event == Machine::Event::Asked) ++row.asked;
    if (event == Machine::Event::Answered) ++row.answered;
    if (event == Machine::Event::FaultsChanged) row.faults = text;
}

int LiveView::endpointWidth() const {
    std::size_t width = sizeof kEndpoint - 1;
    for (const Row& row : rows_) width = std::max(width, row.endpoint.size());
    return static_cast<int>(width) + 1;
}

void LiveView::redraw() const {
    const int width = endpointWidth();
    out_ << kClearScreen << "no " << std::left << std::setw(kNameWidth) << "machine"
         << std::setw(width) << kEndpoint << std::setw(kStateWidth) << "line" << std::right
         << std::setw(kCountWidth) << "received" << std::setw(kCountWidth) << "answered"
         << "  fault\n";
    for (std::size_t number = 1; number <= rows_.size(); ++number) drawRow(number, width);
    out_ << '\n';
    for (const std::string& line : latest_) out_ << line << '\n';
    out_ << std::flush;
}

void LiveView::drawRow(std::size_t number, int endpointWidth) const {
    const Row& row = rows_[number - 1];
    out_ << std::right << std::setw(kNumberWidth) << number << ' ' << std::left
         << std::setw(kNameWidth) << row.name << std::setw(endpointWidth) << row.endpoint
         << std::setw(kStateWidth) << (row.connected ? "connected" : "not connected") << std::right
         << std::setw(kCountWidth) << row.asked << std::setw(kCountWidth) << row.answered << "  "
         << row.faults << '\n';
}

}  // namespace tesksim
