#include "host/AamsContent.h"

#include <algorithm>

#include "host/AamsDecoder.h"

namespace teskhost {

AamsContent AamsContent::decode(const AamsMessage& message) {
    return AamsDecoder(message).run();
}

std::string AamsContent::value(const std::string& name) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const Field& field) { return field.name == name; });
    return found == fields.end() ? "" : found->value;
}

std::string AamsContent::result() const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [](const Field& field) { return field.key == "result"; });
    return found == fields.end() ? "" : found->raw;
}

}  // namespace teskhost
