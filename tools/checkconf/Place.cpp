#include "checkconf/Place.h"

namespace checkconf {

std::string Place::text() const {
    if (file.empty()) return "default";
    return line == 0 ? file : file + ":" + std::to_string(line);
}

}  // namespace checkconf
