#include "host/ValueAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

ValueAnswer ValueAnswer::decode(std::string_view body) {
    ByteReader in(body);
    ValueAnswer answer;
    answer.date = in.text(8);
    answer.machines = in.byte();
    answer.number = in.byte();
    in.byte();
    answer.machineDate = in.text(11);
    answer.outcome = in.byte();
    answer.value = in.signed32();
    answer.text = in.text(8);
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
