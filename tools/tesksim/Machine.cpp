#include "tesksim/Machine.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

#include "tesksim/Endpoint.h"
#include "tesksim/Session.h"

namespace tesksim {

namespace {

// Interval between attempts to open a tty.
constexpr int kTtyRetryMs = 50;

}  // namespace

Machine::Machine() : Machine(Options{}) {}

Machine::Machine(Options options)
    : options_(std::move(options)), wake_(makeWakeUp()), codeId_(options_.codeId) {
    if (!options_.ptyLink.empty()) pty_ = std::make_unique<Pty>(options_.ptyLink);
    if (!isOnTcp()) return;
    reservation_ = bindPort(options_.port);
    port_ = portOf(reservation_);
}

Machine::~Machine() {
    stop();
}

void Machine::start() {
    if (thread_.joinable()) return;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = false;
    }
    updateListener();
    thread_ = std::thread(&Machine::run, this);
}

void Machine::stop() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wakeUp(wake_);
    thread_.join();
    listener_.reset();
}

void Machine::setCodeId(std::string codeId) {
    const std::lock_guard lock(mutex_);
    codeId_ = std::move(codeId);
}

std::string Machine::codeId() const {
    const std::lock_guard lock(mutex_);
    return codeId_;
}

void Machine::setFaults(const Faults& faults, std::size_t answers) {
    Faults before;
    {
        const std::lock_guard lock(mutex_);
        before = std::exchange(faults_, faults);
        faultsLeft_ = answers;
    }
    wakeUp(wake_);
    tellFaults(before, faults);
}

void Machine::tellFaults(const Faults& before, const Faults& after) const {
    const std::string text = describe(after);
    if (text != describe(before)) tell(Event::FaultsChanged, text);
}

Faults Machine::faults() const {
    const std::lock_guard lock(mutex_);
    return faults_;
}

// The faults for the answer to a message with this ID; counts down those that are limited.
Faults Machine::takeFaults(int id) {
    std::unique_lock lock(mutex_);
    const Faults taken = faults_;
    if (taken.onlyFor != 0 && taken.onlyFor != id) return {};
    if (faultsLeft_ == 0 || --faultsLeft_ > 0) return taken;
    faults_ = Faults{};
    faults_.negotiation = taken.negotiation;
    faults_.refuse = taken.refuse;
    faults_.deaf = taken.deaf;
    const Faults left = faults_;
    lock.unlock();
    tellFaults(taken, left);
    return taken;
}

void Machine::inject(std::string_view bytes) {
    {
        const std::lock_guard lock(mutex_);
        injected_ += bytes;
    }
    wakeUp(wake_);
}

void Machine::disconnect(bool reset) {
    {
        const std::lock_guard lock(mutex_);
        hangup_ = reset ? Hangup::Reset : Hangup::Orderly;
    }
    wakeUp(wake_);
}

bool Machine::isStopping() const {
    const std::lock_guard lock(mutex_);
    return stopping_;
}

// Starts or stops listening, according to the faults.
void Machine::updateListener() {
    if (!isOnTcp()) return;
    if (faults().refuse) {
        listener_.reset();
    } else if (!listener_.valid()) {
        listener_ = listenOn(port_);
    }
}

void Machine::run() {
    while (!isStopping()) {
        updateListener();
        if (!isOnTcp()) {
            serveTty();
        } else {
            acceptOne();
        }
    }
}

void Machine::tell(Event event, const std::string& text) const {
    if (options_.observer) options_.observer(event, text);
}

void Machine::acceptOne() {
    pollfd fds[] = {{wake_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    ::poll(fds, 2, -1);
    if (fds[0].revents != 0) {
        clearWakeUp(wake_);
        dropOrders();
        return;
    }
    tools::UniqueFd fd(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!fd.valid()) return;
    const int on = 1;
    ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Session session(std::move(fd), faults().negotiation, journal_);
    session.queueRaw(options_.greeting);
    serve(session);
}

void Machine::serveTty() {
    tools::UniqueFd fd = pty_ ? pty_->open() : openTty(options_.tty, options_.line);
    if (fd.valid()) {
        Session session(std::move(fd), std::nullopt, journal_);
        serve(session);
    }
    pollfd wake = {wake_.get(), POLLIN, 0};
    if (!isStopping()) ::poll(&wake, 1, kTtyRetryMs);
    clearWakeUp(wake_);
}

void Machine::serve(Session& session) {
    tell(Event::Connected);
    exchange(session);
    tell(Event::Disconnected);
}

void Machine::exchange(Session& session) {
    while (obeyOrders(session) && session.writeOutput()) {
        if (session.takeRepeated()) tell(Event::Repeated);
        updateListener();
        if (!awaitAndRead(session)) return;
        while (const auto message = session.nextMessage()) answer(session, *message);
    }
}

// Waits for input, output or an order, and reads input. False when the peer has disconnected.
bool Machine::awaitAndRead(Session& session) {
    const int input = faults().deaf ? 0 : POLLIN;
    const int output = session.wantsToWrite() ? POLLOUT : 0;
    pollfd fds[] = {{wake_.get(), POLLIN, 0},
                    {session.fd(), static_cast<short>(input | output), 0}};
    ::poll(fds, 2, output != 0 ? -1 : session.millisecondsToNextOutput());
    clearWakeUp(wake_);
    const int readable = POLLIN | POLLHUP | POLLERR;
    if ((fds[1].revents & readable) == 0) return true;
    if (input == 0) return (fds[1].revents & (POLLHUP | POLLERR)) == 0;
    return session.readInput();
}

void Machine::answer(Session& session, const Message& request) {
    tell(Event::Asked, request.raw);
    if (request.isAcknowledgement()) return;
    const Faults faults = takeFaults(request.id);
    const std::string text = answers_.answerTo(request, codeId(), faults.lengthError);
    session.queueAnswer(text, faults);
    if (!faults.silent) tell(Event::Answered, text);
}

// Executes orders of other threads. False when the session has to end.
bool Machine::obeyOrders(Session& session) {
    std::unique_lock lock(mutex_);
    session.queueRaw(std::exchange(injected_, {}));
    const Hangup hangup = std::exchange(hangup_, Hangup::No);
    const bool ends = hangup != Hangup::No || stopping_;
    lock.unlock();
    if (hangup == Hangup::Orderly) session.writeOutput();
    if (hangup == Hangup::Reset) session.resetOnClose();
    return !ends;
}

// Without a connection, orders about one are discarded.
void Machine::dropOrders() {
    const std::lock_guard lock(mutex_);
    injected_.clear();
    hangup_ = Hangup::No;
}

}  // namespace tesksim
