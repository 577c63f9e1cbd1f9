#include "dorn/HostMemory.h"

#include <algorithm>

#include "core/Event.h"

namespace teskd {

namespace {

constexpr std::size_t RESERVED_PART = 8;  // of the requests' pool, for those who use none of it

}  // namespace

HostMemory::Room::~Room() {
    if (account_ != nullptr) account_->memory_.giveBack(*account_, bytes_);
}

void HostMemory::Room::release(std::size_t bytes) {
    if (account_ == nullptr) return;
    bytes_ -= bytes;
    account_->memory_.giveBack(*account_, bytes);
}

HostMemory::Account::Account(HostMemory& memory, Event& wake) : memory_(memory), wake_(wake) {
    const SynchronizedLock lock(memory_.lock_);
    memory_.accounts_.push_back(this);
}

HostMemory::Account::~Account() {
    leave();
    removeAnswer(answers_);
    memory_.giveBack(*this, held_);
    const SynchronizedLock lock(memory_.lock_);
    memory_.accounts_.remove(this);
}

HostMemory::Room HostMemory::Account::take(std::size_t bytes) {
    const SynchronizedLock lock(memory_.lock_);
    if (!memory_.fits(*this, bytes)) {
        wanted_ = bytes;
        memory_.line_.splice(memory_.line_.end(), ticket_);
        return {};
    }
    memory_.add(*this, bytes);
    memory_.leave(*this);
    return {*this, bytes};
}

void HostMemory::Account::leave() {
    const SynchronizedLock lock(memory_.lock_);
    memory_.leave(*this);
}

void HostMemory::Account::addAnswer(std::size_t bytes) {
    const SynchronizedLock lock(memory_.lock_);
    const std::size_t need = needed(memory_.limits_.allowance(), answers_, bytes);
    answers_ += bytes;
    if (givenUp_ || need == 0) return;
    memory_.answers_ += need;
    memory_.makeRoom(*this);
}

void HostMemory::Account::removeAnswer(std::size_t bytes) {
    const SynchronizedLock lock(memory_.lock_);
    answers_ -= bytes;
    if (!givenUp_) memory_.answers_ -= needed(memory_.limits_.allowance(), answers_, bytes);
    if (answers_ == 0) givenUp_ = false;
}

bool HostMemory::Account::hasTooManyAnswers() const {
    const SynchronizedLock lock(memory_.lock_);
    return memory_.answers_ > memory_.limits_.pool() && &memory_.largest() == this;
}

std::size_t HostMemory::beyond(std::size_t allowance, std::size_t bytes) {
    return bytes - std::min(bytes, allowance);
}

std::size_t HostMemory::needed(std::size_t allowance, std::size_t held, std::size_t bytes) {
    return beyond(allowance, held + bytes) - beyond(allowance, held);
}

bool HostMemory::fits(const Account& account, std::size_t bytes) const {
    const std::size_t pool = limits_.pool();
    const std::size_t need =
        std::min(needed(limits_.requestAllowance(), account.held_, bytes), pool);
    if (need == 0) return true;
    const bool usesPool = this->usesPool(account);
    const Account* const next = usesPool ? firstInLine() : firstWithoutPool();
    const bool isNext = next == nullptr || next == &account;
    return isNext && used_ + need <= (usesPool ? pool - pool / RESERVED_PART : pool);
}

bool HostMemory::usesPool(const Account& account) const {
    return account.held_ > limits_.requestAllowance();
}

HostMemory::Account* HostMemory::firstInLine() const {
    return line_.empty() ? nullptr : line_.front();
}

HostMemory::Account* HostMemory::firstWithoutPool() const {
    const auto found = std::find_if(line_.begin(), line_.end(),
                                    [this](const Account* waits) { return !usesPool(*waits); });
    return found == line_.end() ? nullptr : *found;
}

void HostMemory::add(Account& account, std::size_t bytes) {
    used_ += needed(limits_.requestAllowance(), account.held_, bytes);
    account.held_ += bytes;
}

void HostMemory::giveBack(Account& account, std::size_t bytes) {
    const SynchronizedLock lock(lock_);
    account.held_ -= bytes;
    used_ -= needed(limits_.requestAllowance(), account.held_, bytes);
    const bool waits = account.ticket_.empty();
    if (waits && fits(account, account.wanted_)) account.wake_.set();
    wakeFirst();
}

void HostMemory::leave(Account& account) {
    if (!account.ticket_.empty()) return;
    const auto place = std::find(line_.begin(), line_.end(), &account);
    account.ticket_.splice(account.ticket_.end(), line_, place);
    wakeFirst();
}

void HostMemory::wakeFirst() {
    for (const Account* const first : {firstInLine(), firstWithoutPool()}) {
        if (first != nullptr && fits(*first, first->wanted_)) first->wake_.set();
    }
}

void HostMemory::makeRoom(const Account& account) {
    while (answers_ > limits_.pool() && &largest() != &account) giveUp(largest());
}

void HostMemory::giveUp(Account& account) {
    answers_ -= beyond(limits_.allowance(), account.answers_);
    account.givenUp_ = true;
    account.wake_.set();
}

HostMemory::Account& HostMemory::largest() const {
    const auto waiting = [](const Account* account) {
        return account->givenUp_ ? 0 : account->answers_;
    };
    return **std::max_element(
        accounts_.begin(), accounts_.end(),
        [waiting](const Account* a, const Account* b) { return waiting(a) < waiting(b); });
}

}  // namespace teskd
