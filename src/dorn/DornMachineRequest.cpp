#include "dorn/DornMachineRequest.h"

#include <exception>
#include <utility>

#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "net/OutputStream.h"
#include "packet/PacketHandle.h"
#include "tesk/TeskController.h"

namespace teskd {

using dornframe::Kind;

namespace {

// A name that the controller does not have (any more) counts as a machine that is not known.
bool is_known(TeskController& controller, const std::string& name) {
    try {
        return controller.is_connected(name);
    } catch (const UnknownCodeIdException&) {
        return false;
    }
}

}  // namespace

void DornMachineRequest::require_size(std::string_view body, std::size_t size) {
    if (body.size() < size) throw ProtocolErrorException("Request body too short");
}

void DornMachineRequest::offer_to_controller(TeskController& controller) {
    const PacketHandle<DornMachineRequest> hold(this);
    Question question;
    try {
        question = decode(get_frame_body());
    } catch (const ProtocolErrorException& e) {
        notifyError(e);
        return;
    }
    const std::list<std::string> targets = known_targets(controller, question);
    if (targets.empty()) {
        answer(Kind::unknown, {});
        Packet::notifyCompleted();
        return;
    }
    {
        const SynchronizedLock lock(answerLock_);
        progress_.sequence = 1;
        progress_.targets = static_cast<std::uint32_t>(targets.size());
    }
    for (const std::string& name : targets) send(controller, name, question);
}

std::list<std::string> DornMachineRequest::known_targets(TeskController& controller,
                                                         const Question& question) {
    std::list<std::string> names{question.name};
    if (question.every_machine) names = controller.get_identities();
    names.remove_if([&](const std::string& name) { return !is_known(controller, name); });
    return names;
}

void DornMachineRequest::send(TeskController& controller, const std::string& name,
                              const Question& question) {
    const PacketHandle<TeskPacket> message(new TeskPacket);
    if (question.raw) {
        message->set_raw();
    } else {
        message->set_id(question.id);
    }
    message->set_body(question.payload);
    message->setAnswerTimeout(question.timeout);
    message->addListener(this);
    Packet::get(this);  // until the message is completed
    try {
        controller.send(name, message.pointer());
    } catch (const UnknownCodeIdException& e) {
        packetError(message.pointer(), e);  // renamed since the targets were listed
    } catch (const std::exception& e) {
        packetError(message.pointer(), Exception(e.what()));
    }
}

void DornMachineRequest::packetCompleted(Packet* packet) {
    std::size_t frames = 0;
    try {
        frames = answer_with(dynamic_cast<TeskPacket&>(*packet));
    } catch (const std::exception& e) {
        notifyError(Exception(e.what()));
    }
    for (; frames > 0; --frames) Packet::notifyCompleted();
    Packet::put(this);
}

void DornMachineRequest::packetFailed(Packet*) {
    notifyFailed();
    Packet::put(this);
}

void DornMachineRequest::packetError(Packet*, const Exception& e) {
    notifyError(e);
    Packet::put(this);
}

void DornMachineRequest::notifyFailed() {
    answer(Kind::timedOut, {});
    Packet::notifyFailed();
}

void DornMachineRequest::notifyError(const Exception& e) {
    answer(Kind::failed, {});
    Packet::notifyError(e);
}

void DornMachineRequest::answer(Kind kind, std::string body) {
    const SynchronizedLock lock(answerLock_);
    lay_down(kind, std::move(body));
}

std::size_t DornMachineRequest::answer_with(const TeskPacket& answer) {
    const SynchronizedLock lock(answerLock_);
    if (answer.has_trailer()) set_constant();
    progress_.date = ZqConfig::get_current_date();
    std::vector<std::string> bodies = encode(answer, progress_);
    for (std::string& body : bodies) lay_down(Kind::regular, std::move(body));
    return bodies.size();
}

void DornMachineRequest::lay_down(Kind kind, std::string body) {
    set_kind(kind);
    set_frame_body(std::move(body));
    frames_.push_back(serialize());
}

// Under the lock to the end: the frames reach the host in the order of their numbers.
void DornMachineRequest::write(OutputStream& out) {
    const SynchronizedLock lock(answerLock_);
    if (frames_.empty()) {
        out.write(serialize());
        return;
    }
    const std::string frame = std::move(frames_.front());
    frames_.pop_front();
    out.write(frame);
}

}  // namespace teskd
