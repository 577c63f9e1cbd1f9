#include "demo/Report.h"

namespace demo {

void Report::part(const std::string& title) {
    const std::string line = std::to_string(++parts_) + ". " + title;
    out_ << '\n' << line << '\n' << std::string(line.size(), '=') << '\n' << std::flush;
    tableBefore_ = false;
}

void Report::step(const std::string& title) {
    out_ << "\n* " << title << '\n' << std::flush;
    tableBefore_ = false;
}

void Report::say(const std::string& sentence) {
    out_ << "  " << sentence << '\n' << std::flush;
    tableBefore_ = false;
}

void Report::show(const teskhost::Table& table) {
    out_ << (tableBefore_ ? "\n" : "") << table.text(4) << std::flush;
    tableBefore_ = true;
}

void Report::expect(bool holds, const std::string& what) {
    if (!holds) throw Surprise(what);
}

}  // namespace demo
