#include "dornctl/Dialogue.h"

#include "host/ByteReader.h"
#include "host/LinkError.h"
#include "host/MachinesAnswer.h"

namespace dornctl {

using namespace teskhost;

namespace {

// Answers that come in several frames say behind the date how many there are, and which one it is.
struct Place {
    static constexpr std::size_t kDateSize = 8;

    std::size_t total = 0;
    std::size_t number = 0;

    static Place of(const Frame& frame) {
        ByteReader in(frame.body);
        in.bytes(kDateSize);
        const std::size_t total = in.byte();
        return {total, in.byte()};
    }
};

}  // namespace

Dialogue::Dialogue(const Endpoint& host, Milliseconds patience)
    : patience_(patience), link_(host, patience) {}

Answers Dialogue::ask(const Request& request, Scope scope) {
    const std::size_t machines = scope == Scope::EveryMachine ? knownMachines() : 1;
    const std::uint32_t identifier = link_.send(request);
    Progress progress;
    Answers answers;
    do {
        const Frame frame = receive(identifier);
        if (frame.kind != Kind::Regular) {
            answers.failures.push_back(frame.kind);
            continue;
        }
        answers.regular.push_back(frame);
        if (scope == Scope::OneFrame) break;
        const Place place = Place::of(frame);
        if (place.total > 0 && answers.regular.size() > place.total) {
            throw LinkError("more answers came than there are to be");
        }
        if (place.total > 1) {
            progress.page(static_cast<unsigned>(place.number), static_cast<unsigned>(place.total));
        }
    } while (incomplete(answers, scope, machines));
    return answers;
}

// A machine that fails sends no frame that says how many there are to be.
std::size_t Dialogue::knownMachines() {
    const std::uint32_t identifier = link_.send(Request::machines());
    std::size_t count = 0;
    for (const auto& machine : MachinesAnswer::decode(receive(identifier).body).machines) {
        if (machine.known) ++count;
    }
    return count;
}

Frame Dialogue::receive(std::uint32_t identifier) {
    Frame frame = link_.receive(patience_);
    if (frame.identifierB != identifier) throw LinkError("the answer belongs to another request");
    return frame;
}

bool Dialogue::incomplete(const Answers& answers, Scope scope, std::size_t machines) const {
    if (!answers.failures.empty()) {
        if (scope != Scope::EveryMachine) return false;
        if (answers.failures.front() == Kind::UnknownMachine) return false;
    }
    if (answers.regular.empty()) return answers.failures.size() < machines;
    const Place place = Place::of(answers.regular.back());
    return place.number + answers.failures.size() < place.total;
}

}  // namespace dornctl
