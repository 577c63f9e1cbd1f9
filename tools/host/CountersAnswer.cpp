#include "host/CountersAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

CountersAnswer CountersAnswer::decode(std::string_view body) {
    ByteReader in(body);
    CountersAnswer answer;
    answer.date = in.text(8);
    answer.machines = in.byte();
    answer.number = in.byte();
    in.byte();
    answer.machineDate = in.text(11);
    answer.outcome = in.byte();
    for (std::size_t i = 0; i < answer.items.size(); ++i) {
        answer.items[i] = i % 3 == 2 ? in.number16() : in.signed32();
    }
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
