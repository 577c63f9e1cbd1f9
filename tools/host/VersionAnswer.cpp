#include "host/VersionAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

VersionAnswer VersionAnswer::decode(std::string_view body) {
    ByteReader in(body);
    VersionAnswer answer;
    answer.version = in.text(30);
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
