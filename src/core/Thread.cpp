#include "core/Thread.h"

#include <cerrno>
#include <csignal>
#include <cxxabi.h>
#include <memory>
#include <new>
#include <utility>

#include "core/Log.h"

namespace teskd {

namespace {

// A pthread_create with the stack size of every thread. The attributes need no memory in the C
// library, so setting them up cannot fail.
int createThread(pthread_t& created, void* (*entry)(void*), void* argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, Thread::STACK_SIZE);
    const int result = pthread_create(&created, &attributes, entry, argument);
    pthread_attr_destroy(&attributes);
    return result;
}

}  // namespace

Thread::Thread() : Thread("<unknown>") {}

Thread::Thread(std::string name) : Thread(std::move(name), ownEndLog_) {}

Thread::Thread(std::string name, LogSource& log) : endLog_(log), name_(std::move(name)) {}

Thread::Thread(const Thread& source)
    : HeapAware(source),
      endLog_(ownEndLog_),
      name_(source.getName()),
      autoDelete_(source.autoDelete_.load()) {}

Thread::~Thread() noexcept(false) {
    running_ = false;
}

int Thread::start() {
    std::unique_ptr<Start> argument(new (std::nothrow) Start{this, 0});
    // Count the start before setting the flag: a thread clears the flag when it ends, unless a
    // later start was counted. In the other order, an earlier thread that ends in between would
    // clear it.
    if (argument) argument->generation = countStart();
    running_ = true;
    if (!argument) return ENOMEM;
    // Read this first: a self-deleting object may be gone as soon as its thread exists.
    const bool selfDeleting = autoDelete_ && isHeapAllocated();
    pthread_t created{};
    const int result = createThread(created, entry, argument.get());
    if (result != 0) {
        countEnd();
        return result;
    }
    [[maybe_unused]] const Start* const taken = argument.release();  // entry() frees it
    if (!selfDeleting) handle_ = created;
    return result;
}

unsigned Thread::countStart() {
    const SynchronizedLock lock(state_);
    ++alive_;
    return ++generation_;
}

void Thread::countEnd() {
    const SynchronizedLock lock(state_);
    --alive_;
    state_.notifyAll();
}

void Thread::stop() {
    running_ = false;
    interrupt();
}

void Thread::cancel() {
    running_ = false;
    if (handle_) pthread_cancel(*handle_);
}

int Thread::kill(int signal) {
    return handle_ ? pthread_kill(*handle_, signal) : ESRCH;
}

void Thread::join() {
    if (handle_) pthread_join(*handle_, nullptr);
}

std::string Thread::getName() const {
    const SynchronizedLock lock(state_);
    return name_;
}

void Thread::setName(const std::string& name) {
    const SynchronizedLock lock(state_);
    name_ = name;
}

void Thread::awaitEnd() {
    const SynchronizedLock lock(state_);
    while (alive_ > 0) state_.waitLocked();
}

void* Thread::entry(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    Thread* const thread = start->thread;
    if (thread->live(start->generation)) delete thread;
    return nullptr;
}

bool Thread::live(unsigned generation) {
    // Wakes up awaitEnd() on every way out, cancellation included. The object may be destroyed from
    // then on, so nothing touches it afterwards, unless the thread itself is to delete it.
    struct Farewell {
        Thread& thread;
        ~Farewell() { thread.countEnd(); }
    };
    const Farewell farewell{*this};
    runLogged();
    clearRunning(generation);
    logEnd();
    if (!autoDelete_) return false;
    pthread_detach(pthread_self());
    return isHeapAllocated();
}

// Not checked for null references: the exception of a cancelled thread is no object that the
// reference in the handler could be bound to.
__attribute__((no_sanitize("null"))) void Thread::runLogged() {
    try {
        run();
    } catch (const Exception& e) {
        const SynchronizedLock lock(state_);
        Log::write(Log::WARNING, "Unandled Exception '%s' in thread: '%s'", e.text(),
                   name_.c_str());
    } catch (const abi::__forced_unwind&) {
        throw;  // the thread was cancelled
    } catch (...) {
        const SynchronizedLock lock(state_);
        Log::write(Log::WARNING, "Unandled Exception in thread: '%s'", name_.c_str());
    }
}

// Logs under the lock instead of copying the name: without memory the copy would throw, and nothing
// catches exceptions here.
void Thread::logEnd() {
    const SynchronizedLock lock(state_);
    endLog_.notice("Thread '%s' Terminated", name_.c_str());
}

void Thread::clearRunning(unsigned generation) {
    const SynchronizedLock lock(state_);
    if (generation == generation_) running_ = false;
}

}  // namespace teskd
