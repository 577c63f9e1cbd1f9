#include "dorn/DornMachineRequest.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "dorn/FrameWriter.h"
#include "net/OutputStream.h"
#include "packet/PacketHandle.h"
#include "telnet/TelnetOutputStream.h"
#include "tesk/TeskController.h"

namespace teskd {

using dornframe::Kind;

namespace {

// The machines that are addressed; none for an unknown name.
std::list<TeskMaster*> machines_of(TeskController& controller, const std::string* name) {
    if (name == nullptr) return controller.get_machines();
    try {
        return {&controller.find(*name)};
    } catch (const UnknownCodeIdException&) {
        return {};
    }
}

// Holds a reference on its request. So a message that is withdrawn from a machine's queue, without
// a call to its listeners, releases the request like one that was answered.
class Message : public TeskPacket {
  public:
    explicit Message(DornMachineRequest& request) : request_(&request) {
        addListener(&request);
        setRequester(request.getRequester());
    }
    ~Message() noexcept(false) override = default;

  private:
    PacketHandle<DornMachineRequest> request_;
};

}  // namespace

void DornMachineRequest::require_size(std::string_view body, std::size_t size) {
    if (body.size() < size) throw ProtocolErrorException("Request body too short");
}

void DornMachineRequest::offer_to_controller(TeskController& controller) {
    const PacketHandle<DornMachineRequest> hold(this);
    Question question;
    try {
        question = take_question();
    } catch (const ProtocolErrorException& e) {
        notifyError(e);
        return;
    }
    std::list<TeskMaster*> targets = known_targets(controller, question);
    if (targets.empty()) {
        queue_empty_answer(Kind::UNKNOWN);
        Packet::notifyCompleted();
        return;
    }
    // No machine can be sent such a text: the request fails once, not once for each machine.
    if (!TelnetOutputStream::isData(question.payload)) targets.resize(1);
    keep_messages(targets.size(), controller.get_machine_count());
    {
        const SynchronizedLock lock(answerLock_);
        progress_.sequence = 1;
        progress_.total = static_cast<std::uint32_t>(targets.size());
    }
    ask(targets, std::move(question));
}

// Gives back the room of the body, except for the part that becomes the messages' text.
DornMachineRequest::Question DornMachineRequest::take_question() {
    const std::size_t size = get_frame_body().size();
    Question question = decode(take_frame_body());
    release_room(size - std::min(size, question.payload.size()));
    return question;
}

// Names are looked up only here: a machine that is renamed later is still asked, and only once.
std::list<TeskMaster*> DornMachineRequest::known_targets(TeskController& controller,
                                                         const Question& question) {
    std::list<TeskMaster*> machines =
        machines_of(controller, question.every_machine ? nullptr : &question.name);
    machines.remove_if([](const TeskMaster* machine) { return !machine->is_connected(); });
    return machines;
}

std::size_t DornMachineRequest::most_messages(std::size_t /*machines*/) const {
    return 1;
}

void DornMachineRequest::keep_messages(std::size_t messages, std::size_t machines) {
    release_room((most_messages(machines) - messages) * HostLimits::MESSAGE_COST);
}

// Fails for want of memory only. Then the remaining machines would fail too, and each of them is
// answered for. The last message takes the text without a copy, since it may be large.
void DornMachineRequest::ask(const std::list<TeskMaster*>& targets, Question question) {
    std::size_t left = targets.size();
    attemptOr(
        [&] {
            for (TeskMaster* const machine : targets) {
                send(*machine, question,
                     left > 1 ? question.payload : std::exchange(question.payload, {}));
                --left;
            }
        },
        [&](const Exception& e) { fail(e, left); });
}

// Throws when the message was not queued, so that no callback will come for it.
void DornMachineRequest::send(TeskMaster& machine, const Question& question, std::string payload) {
    const PacketHandle<TeskPacket> message(new Message(*this));
    if (question.raw) {
        message->set_raw();
    } else {
        message->set_id(question.id);
    }
    message->set_body(std::move(payload));
    message->setAnswerTimeout(question.timeout);
    TeskController::send(machine, message.pointer());
}

// Logs, since errors of this class are logged nowhere else.
void DornMachineRequest::fail(const Exception& e, std::size_t machines) {
    Log::write(Log::WARNING, "A request has failed: %s", e.text());
    for (; machines > 0; --machines) notifyError(e);
}

void DornMachineRequest::packetCompleted(Packet* packet) {
    std::size_t frames = 0;
    attemptOr([&] { frames = queue_answer(dynamic_cast<TeskPacket&>(*packet)); },
              [this](const Exception& e) { fail(e, 1); });
    for (; frames > 0; --frames) Packet::notifyCompleted();
}

void DornMachineRequest::packetFailed(Packet*) {
    notifyFailed();
}

void DornMachineRequest::packetError(Packet*, const Exception& e) {
    notifyError(e);
}

void DornMachineRequest::notifyFailed() {
    queue_empty_answer(Kind::TIMED_OUT);
    Packet::notifyFailed();
}

void DornMachineRequest::notifyError(const Exception& e) {
    queue_empty_answer(Kind::FAILED);
    Packet::notifyError(e);
}

// Neither end of the link accepts a longer frame.
void DornMachineRequest::require_frame(std::string_view body) {
    if (body.size() < dornframe::LARGEST_LENGTH) return;
    throw ProtocolErrorException("An answer does not fit a frame");
}

// All or nothing: when it throws, no frame is queued and no sequence number is used.
std::size_t DornMachineRequest::queue_answer(const TeskPacket& answer) {
    const SynchronizedLock lock(answerLock_);
    if (answer.has_trailer()) set_constant();
    Progress progress = progress_;
    progress.date = ZqConfig::get_current_date();
    std::list<Frame> frames;
    for (std::string& body : encode(answer, progress)) {
        require_frame(body);
        frames.push_back({frame_of(Kind::REGULAR, std::move(body)), frames.empty()});
    }
    const std::size_t count = frames.size();
    frames_.splice(frames_.end(), frames);
    progress_ = std::move(progress);
    return count;
}

std::string DornMachineRequest::frame_of(Kind kind, std::string body) {
    set_kind(kind);
    set_frame_body(std::move(body));
    std::string frame = serialize();
    set_frame_body({});
    return frame;
}

// Without memory for the frame it is only counted, and write() makes it.
void DornMachineRequest::queue_empty_answer(Kind kind) {
    const SynchronizedLock lock(answerLock_);
    try {
        frames_.push_back({frame_of(kind, {}), true});
    } catch (const std::exception& e) {
        Log::write(Log::WARNING, "An answer is late: %s", e.what());
        if (kind == Kind::TIMED_OUT) ++owedTimeouts_;
        if (kind == Kind::FAILED) ++owedFailures_;
    }
}

// Holds the lock to the end, so that the frames reach the host in the order of their numbers.
void DornMachineRequest::write(OutputStream& out) {
    const SynchronizedLock lock(answerLock_);
    if (frames_.empty()) return out.write(owed_frame());
    const std::string frame = std::move(frames_.front().bytes);
    frames_.pop_front();
    out.write(frame);
}

void DornMachineRequest::answer(FrameWriter& host) {
    const SynchronizedLock lock(answerLock_);
    if (frames_.empty() || frames_.front().begins) host.beginAnswer();
    write(host);
}

// Only time-outs and failures are counted. The remaining case is that no machine is known, which
// the packet's kind says already.
std::string DornMachineRequest::owed_frame() {
    if (owedTimeouts_ > 0) {
        --owedTimeouts_;
        return frame_of(Kind::TIMED_OUT, {});
    }
    if (owedFailures_ > 0) {
        --owedFailures_;
        return frame_of(Kind::FAILED, {});
    }
    return serialize();
}

}  // namespace teskd
