#include "dorn/HostMemory.h"

#include <algorithm>

#include "core/StopEvent.h"

namespace teskd {

HostMemory::Room::~Room() {
    if (account_ != nullptr) account_->memory_.giveBack(*account_, bytes_);
}

HostMemory::Room HostMemory::Room::another(std::size_t bytes) const {
    if (account_ == nullptr) return {};
    HostMemory& memory = account_->memory_;
    const SynchronizedLock lock(memory.lock_);
    memory.add(*account_, bytes);
    return {*account_, bytes};
}

HostMemory::Account::~Account() {
    leave();
    removeAnswer(answers_);
    memory_.giveBack(*this, held_);
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
    memory_.add(*this, bytes);
    memory_.answers_ += bytes;
    answers_ += bytes;
}

void HostMemory::Account::removeAnswer(std::size_t bytes) {
    const SynchronizedLock lock(memory_.lock_);
    memory_.answers_ -= bytes;
    answers_ -= bytes;
    memory_.giveBack(*this, bytes);
}

bool HostMemory::Account::hasTooManyAnswers() const {
    const SynchronizedLock lock(memory_.lock_);
    return answers_ > ALLOWANCE && memory_.answers_ > CAPACITY;
}

std::size_t HostMemory::beyondAllowance(std::size_t bytes) {
    return bytes - std::min(bytes, ALLOWANCE);
}

std::size_t HostMemory::needed(const Account& account, std::size_t bytes) {
    return beyondAllowance(account.held_ + bytes) - beyondAllowance(account.held_);
}

bool HostMemory::fits(const Account& account, std::size_t bytes) const {
    const std::size_t need = std::min(needed(account, bytes), CAPACITY);
    const bool isNext = line_.empty() || line_.front() == &account;
    return need == 0 || (isNext && used_ + need <= CAPACITY);
}

void HostMemory::add(Account& account, std::size_t bytes) {
    used_ += needed(account, bytes);
    account.held_ += bytes;
}

void HostMemory::giveBack(Account& account, std::size_t bytes) {
    const SynchronizedLock lock(lock_);
    account.held_ -= bytes;
    used_ -= needed(account, bytes);
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
    if (line_.empty()) return;
    const Account& first = *line_.front();
    if (fits(first, first.wanted_)) first.wake_.set();
}

}  // namespace teskd
