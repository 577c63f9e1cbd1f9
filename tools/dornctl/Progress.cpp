#include "dornctl/Progress.h"

#include <iostream>
#include <unistd.h>

#include "dornctl/Json.h"
#include "dornctl/Now.h"
#include "host/Table.h"

namespace dornctl {

namespace {

constexpr char kStartOfClearedLine[] = "\r\x1B[K";

std::string ofTotal(std::size_t number, std::size_t total) {
    return std::to_string(number) + " of " + std::to_string(total);
}

}  // namespace

Progress::Progress(const Settings& settings)
    : json_(settings.json),
      onTerminal_(::isatty(STDOUT_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0 && !json_),
      shown_(onTerminal_ || settings.progress) {}

Progress::~Progress() {
    if (written_ && onTerminal_) std::cerr << kStartOfClearedLine;
}

void Progress::page(const std::string& machine, std::size_t number, std::size_t total) {
    if (json_) {
        return line(textOf(
            {{"progress",
              {{"time", nowIso()}, {"machine", machine}, {"page", number}, {"pages", total}}}},
            -1));
    }
    line(teskhost::printable(machine) + ": page " + ofTotal(number, total));
}

void Progress::machines(std::size_t number, std::size_t total) {
    if (json_) {
        return line(textOf(
            {{"progress", {{"time", nowIso()}, {"answered", number}, {"machines", total}}}}, -1));
    }
    line(ofTotal(number, total) + " machines");
}

void Progress::line(const std::string& text) {
    if (!shown_) return;
    if (onTerminal_) {
        std::cerr << kStartOfClearedLine << text << std::flush;
    } else {
        std::cerr << text << (json_ ? "" : "\n") << std::flush;
    }
    written_ = true;
}

}  // namespace dornctl
