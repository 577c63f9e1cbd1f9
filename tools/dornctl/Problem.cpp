#include "dornctl/Problem.h"

#include <iostream>
#include <unistd.h>

#include "dornctl/Colours.h"
#include "dornctl/Json.h"
#include "host/Table.h"

namespace dornctl {

namespace {

constexpr char kName[] = "dornctl: ";
constexpr char kRedName[] = "\x1B[1;31mdornctl:\x1B[0m ";

std::string lineOf(const Problem& problem) {
    const std::string machine = problem.machine.empty() ? "" : problem.machine + ": ";
    const char* const name = wantsColours(STDERR_FILENO) ? kRedName : kName;
    return name + teskhost::printable(machine) + problem.text + '\n';
}

std::string jsonOf(const Problem& problem, const Settings& settings) {
    Json error = documentOf(settings);
    error.update(toJson(problem));
    return textOf({{"error", error}}, -1);
}

}  // namespace

void tell(const Problem& problem, const Settings& settings) {
    std::cerr << (settings.json ? jsonOf(problem, settings) : lineOf(problem));
}

}  // namespace dornctl
