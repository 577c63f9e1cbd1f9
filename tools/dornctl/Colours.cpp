#include "dornctl/Colours.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace dornctl {

namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

bool wantsColours(int descriptor) {
    const std::string_view terminal = variable("TERM");
    return variable("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb" &&
           ::isatty(descriptor) != 0;
}

}  // namespace dornctl
