#include "tesksim/LiveView.h"

#include <cstdio>
#include <ctime>
#include <iomanip>

namespace tesksim {

namespace {

constexpr char kClearScreen[] = "\x1B[H\x1B[2J";
constexpr std::size_t kLinesKept = 15;
constexpr std::size_t kLongest = 100;  // characters of a message that are shown
constexpr int kNameWidth = 12;
constexpr int kStateWidth = 11;
constexpr int kCountWidth = 9;

std::string now() {
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%H:%M:%S", &local)};
}

// Bytes that are no printable ASCII as "\x1B", and the end of a long message left out.
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

std::string lineOf(const std::string& name, Machine::Event event, const std::string& bytes) {
    const std::string head = now() + " " + name;
    switch (event) {
        case Machine::Event::Connected:
            return head + " connected";
        case Machine::Event::Disconnected:
            return head + " disconnected";
        case Machine::Event::Asked:
            return head + " <- " + printable(bytes);
        case Machine::Event::Repeated:
            return head + " -> the last answer once more";
        case Machine::Event::Answered:
            break;
    }
    return head + " -> " + printable(bytes);
}

}  // namespace

LiveView::LiveView(std::ostream& out, bool onTerminal, std::vector<std::string> names)
    : out_(out), onTerminal_(onTerminal) {
    for (std::string& name : names) rows_.push_back({std::move(name)});
}

void LiveView::show(std::size_t machine, Machine::Event event, const std::string& bytes) {
    const std::lock_guard lock(mutex_);
    Row& row = rows_.at(machine - 1);
    count(row, event);
    const std::string line = lineOf(row.name, event, bytes);
    if (!onTerminal_) {
        out_ << line << std::endl;
        return;
    }
    latest_.push_back(line);
    if (latest_.size() > kLinesKept) latest_.pop_front();
    redraw();
}

void LiveView::count(Row& row, Machine::Event event) const {
    if (event == Machine::Event::Connected) row.connected = true;
    if (event == Machine::Event::Disconnected) row.connected = false;
    if (event == Machine::Event::Asked) ++row.asked;
    if (event == Machine::Event::Answered) ++row.answered;
}

void LiveView::redraw() const {
    out_ << kClearScreen << std::left << std::setw(kNameWidth) << "machine"
         << std::setw(kStateWidth) << "line" << std::right << std::setw(kCountWidth) << "received"
         << std::setw(kCountWidth) << "answered" << '\n';
    for (const Row& row : rows_) {
        out_ << std::left << std::setw(kNameWidth) << row.name << std::setw(kStateWidth)
             << (row.connected ? "connected" : "alone") << std::right << std::setw(kCountWidth)
             << row.asked << std::setw(kCountWidth) << row.answered << '\n';
    }
    out_ << '\n';
    for (const std::string& line : latest_) out_ << line << '\n';
    out_ << std::flush;
}

}  // namespace tesksim
