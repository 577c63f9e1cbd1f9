#include "host/MessageAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

MessageAnswer MessageAnswer::decode(std::string_view body) {
    ByteReader in(body);
    MessageAnswer answer;
    answer.size = in.number32();
    answer.bytes = in.bytes(answer.size);
    answer.message = TeskText::decode(answer.bytes);
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
