#include "core/Thread.h"

#include <cerrno>
#include <csignal>
#include <cxxabi.h>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "core/Log.h"

namespace teskd {

namespace {

// A block that operator new returned and that no constructor has claimed yet. A mark in the
// object's own field would not do: a value stored before construction need not survive it.
struct FreshBlock {
    const char* start;
    std::size_t size;
    FreshBlock* next;

    bool contains(const char* address) const {
        const std::less<const char*> before;
        return !before(address, start) && before(address, start + size);
    }
};
// The blocks of this thread, latest first. There may be several, since creating one object may
// involve creating others.
thread_local FreshBlock* freshBlocks = nullptr;

// Removes the block that contains the address from the list. False if there is none.
bool claimFreshBlock(const void* object) {
    for (FreshBlock** link = &freshBlocks; *link != nullptr; link = &(*link)->next) {
        if (!(*link)->contains(static_cast<const char*>(object))) continue;
        const std::unique_ptr<FreshBlock> block(*link);
        *link = block->next;
        return true;
    }
    return false;
}

// The attributes that every thread is created with.
class Attributes {
  public:
    Attributes() : result_(pthread_attr_init(&attributes_)) {
        if (result_ != 0) return;
        result_ = pthread_attr_setstacksize(&attributes_, Thread::STACK_SIZE);
        if (result_ != 0) pthread_attr_destroy(&attributes_);
    }
    ~Attributes() {
        if (result_ == 0) pthread_attr_destroy(&attributes_);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    // Null if they could not be set up; the thread then gets the system's defaults.
    const pthread_attr_t* get() const { return result_ == 0 ? &attributes_ : nullptr; }

  private:
    pthread_attr_t attributes_{};
    int result_;
};

}  // namespace

Thread::Thread() : Thread("<unknown>") {}

Thread::Thread(std::string name) : Thread(std::move(name), ownEndLog_) {}

Thread::Thread(std::string name, LogSource& log)
    : endLog_(log), self_(claimFreshBlock(this) ? this : nullptr), name_(std::move(name)) {}

Thread::Thread(const Thread& source)
    : endLog_(ownEndLog_),
      self_(nullptr),
      name_(source.getName()),
      autoDelete_(source.autoDelete_.load()) {
    claimFreshBlock(this);
}

Thread::~Thread() noexcept(false) {
    running_ = false;
}

void* Thread::operator new(std::size_t size) {
    auto block = std::make_unique<FreshBlock>();
    void* memory = ::operator new(size);
    *block = {static_cast<const char*>(memory), size, freshBlocks};
    freshBlocks = block.release();
    return memory;
}

void Thread::operator delete(void* memory) {
    claimFreshBlock(memory);  // still listed if the constructor threw
    ::operator delete(memory);
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
    const Attributes attributes;
    pthread_t created{};
    const int result = pthread_create(&created, attributes.get(), entry, argument.get());
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
