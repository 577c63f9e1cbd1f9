#include "telnet/HeldSend.h"

#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace {

enum class State { off, armed, held, refused };
std::atomic<State> state{State::off};

}  // namespace

// The linker's names for "instead of send" and "send itself".
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
ssize_t __real_send(int fd, const void* data, size_t size, int flags);
ssize_t __wrap_send(int fd, const void* data, size_t size, int flags) {
    State armed = State::armed;
    if (state.compare_exchange_strong(armed, State::held)) state.wait(State::held);
    State refused = State::refused;
    if (state.compare_exchange_strong(refused, State::off)) {
        errno = EAGAIN;
        return -1;
    }
    return __real_send(fd, data, size, flags);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace teskd::test {

HeldSend::HeldSend() {
    state = State::armed;
}

HeldSend::~HeldSend() {
    release();
}

bool HeldSend::awaitSender(Deadline deadline) const {
    return eventually([] { return state == State::held; }, deadline);
}

void HeldSend::refuse() {
    state = State::refused;
    state.notify_all();
    EXPECT_TRUE(eventually([] { return state == State::off; }));
}

void HeldSend::release() {
    state = State::off;
    state.notify_all();
}

}  // namespace teskd::test
