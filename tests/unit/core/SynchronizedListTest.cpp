#include <atomic>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <latch>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "core/SynchronizedList.h"
#include "support/Deadline.h"

namespace teskd::test {
namespace {

using List = SynchronizedList<int*>;

int a = 1;
int b = 2;
int c = 3;

std::vector<int> contents(List& list) {
    std::vector<int> values;
    const SynchronizedLock lock(list.guard());
    for (const int* element : list) values.push_back(*element);
    return values;
}

bool isLocked(List& list) TESKD_NO_ANALYSIS {
    bool locked = false;
    std::thread([&]() TESKD_NO_ANALYSIS {
        try {
            list.guard().tryLock();
            list.guard().unlock();
        } catch (const LockedSynchronizedException&) {
            locked = true;
        }
    }).join();
    return locked;
}

TEST(SynchronizedList, StartsEmpty) {
    List list;
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(std::vector<int>{}, contents(list));
}

TEST(SynchronizedList, KeepsTheOrderOfInsertion) {
    List list;
    list.push_back(&b);
    list.push_back(&a);
    list.push_back(&c);
    EXPECT_FALSE(list.isEmpty());
    EXPECT_EQ((std::vector{2, 1, 3}), contents(list));
}

TEST(SynchronizedList, MovesToTheEndWhatIsThereAndAppendsWhatIsNot) {
    List list;
    list.moveToBack(&a);
    list.moveToBack(&b);
    list.moveToBack(&a);
    list.moveToBack(&a);
    EXPECT_EQ((std::vector{2, 1}), contents(list));
}

TEST(SynchronizedList, FrontStaysInTheList) {
    List list;
    list.push_back(&a);
    list.push_back(&b);
    EXPECT_EQ(&a, list.front());
    EXPECT_EQ(&a, list.front());
    EXPECT_EQ((std::vector{1, 2}), contents(list));
}

TEST(SynchronizedList, PopFrontTakesTheFirstElementOut) {
    List list;
    list.push_back(&a);
    list.push_back(&b);
    int* out = nullptr;
    list.pop_front(out);
    EXPECT_EQ(&a, out);
    EXPECT_EQ((std::vector{2}), contents(list));
}

TEST(SynchronizedList, FrontOfAnEmptyListThrowsAndLeavesItUnlocked) {
    List list;
    EXPECT_THROW(list.front(), EmptyListException);
    EXPECT_FALSE(isLocked(list));
}

TEST(SynchronizedList, PopFrontOfAnEmptyListThrowsAndTouchesNothing) {
    List list;
    int* out = &c;
    EXPECT_THROW(list.pop_front(out), EmptyListException);
    EXPECT_EQ(&c, out);
    EXPECT_FALSE(isLocked(list));
}

TEST(SynchronizedList, RemoveErasesEveryOccurrence) {
    List list;
    for (int* element : {&a, &b, &a}) list.push_back(element);
    EXPECT_EQ(2U, list.remove(&a));
    EXPECT_EQ((std::vector{2}), contents(list));
}

TEST(SynchronizedList, RemoveOfAnAbsentElementChangesNothing) {
    List list;
    list.push_back(&a);
    EXPECT_EQ(0U, list.remove(&b));
    EXPECT_EQ((std::vector{1}), contents(list));
}

TEST(SynchronizedList, RemoveComparesPointersNotWhatTheyPointTo) {
    int twin = a;
    List list;
    list.push_back(&a);
    EXPECT_EQ(0U, list.remove(&twin));
}

TEST(SynchronizedList, PushBackAfterRemovePutsTheElementLast) {
    List list;
    for (int* element : {&a, &b}) list.push_back(element);
    list.remove(&a);
    list.push_back(&a);
    EXPECT_EQ((std::vector{2, 1}), contents(list));
}

TEST(SynchronizedList, LockKeepsOthersOutUntilUnlock) {
    List list;
    list.lock();
    EXPECT_TRUE(isLocked(list));
    list.unlock();
    EXPECT_FALSE(isLocked(list));
}

TEST(SynchronizedList, AWalkerMayCallTheLockingOperations) {
    List list;
    for (int* element : {&a, &b}) list.push_back(element);
    list.lock();
    for (auto position = list.begin(); position != list.end();) {
        int* const element = *position++;
        EXPECT_FALSE(list.isEmpty());
        if (element == &a) list.remove(element);
    }
    list.push_back(&c);
    list.unlock();
    EXPECT_EQ((std::vector{2, 3}), contents(list));
    EXPECT_FALSE(isLocked(list));
}

// A thread that waits on the list's condition once, known to wait when it is constructed.
class Waiter {
  public:
    explicit Waiter(List& list) : list_(list), thread_([this] { waitOnce(); }) {
        entered_.wait();
        const SynchronizedLock lock(list_.guard());  // the thread let go of it, so it waits
    }
    ~Waiter() {
        if (!woken_) list_.wakeAll();
        thread_.join();
    }
    bool wakes() {
        return eventually([this] { return woken_.load(); });
    }
    bool sleepsOn() {
        return !eventually([this] { return woken_.load(); }, std::chrono::milliseconds(50));
    }

  private:
    void waitOnce() {
        const SynchronizedLock lock(list_.guard());
        entered_.count_down();
        list_.guard().waitLocked();
        woken_ = true;
    }

    List& list_;
    std::latch entered_{1};
    std::atomic<bool> woken_ = false;
    std::thread thread_;
};

TEST(SynchronizedList, PushBackSignals) {
    List list;
    Waiter waiter(list);
    list.push_back(&a);
    EXPECT_TRUE(waiter.wakes());
}

TEST(SynchronizedList, RemoveSignalsEvenWhenNothingWasThere) {
    List list;
    Waiter waiter(list);
    list.remove(&a);
    EXPECT_TRUE(waiter.wakes());
}

TEST(SynchronizedList, PopFrontSignals) {
    List list;
    list.push_back(&a);
    Waiter waiter(list);
    int* out = nullptr;
    list.pop_front(out);
    EXPECT_TRUE(waiter.wakes());
}

TEST(SynchronizedList, LookingDoesNotSignal) {
    List list;
    Waiter waiter(list);
    int* out = nullptr;
    EXPECT_TRUE(list.isEmpty());
    EXPECT_THROW(list.front(), EmptyListException);
    EXPECT_THROW(list.pop_front(out), EmptyListException);
    list.lock();
    list.unlock();
    EXPECT_TRUE(waiter.sleepsOn());
}

TEST(SynchronizedList, WaitWakesAfterAPushFromAnotherThread) {
    List list;
    std::atomic<bool> woken = false;
    std::thread waiter([&] {
        list.wait();
        woken = true;
    });
    EXPECT_TRUE(eventually([&] {
        list.push_back(&a);
        return woken.load();
    }));
    waiter.join();
    EXPECT_FALSE(isLocked(list));
}

const auto always = [] { return true; };

template <class Predicate>
bool waitForElement(List& list, Predicate keepWaiting) {
    const SynchronizedLock lock(list.guard());
    return list.waitForElement(keepWaiting);
}

TEST(SynchronizedList, WaitForElementReturnsAtOnceWhenThereIsOne) {
    List list;
    list.push_back(&a);
    EXPECT_TRUE(waitForElement(list, always));
    EXPECT_EQ((std::vector{1}), contents(list));
}

TEST(SynchronizedList, WaitForElementGivesUpWhenToldTo) {
    List list;
    std::atomic<bool> wanted = true;
    bool found = true;
    std::thread waiter([&] { found = waitForElement(list, [&] { return wanted.load(); }); });
    wanted = false;
    list.wakeAll();
    waiter.join();
    EXPECT_FALSE(found);
}

TEST(SynchronizedList, WaitForElementPrefersTheElement) {
    List list;
    list.push_back(&a);
    EXPECT_TRUE(waitForElement(list, [] { return false; }));
}

// One element at a time: a push that slips between the consumer's look and its wait, and is lost
// there, is never followed by another.
TEST(SynchronizedList, NoElementIsOverlookedBetweenLookAndWait) {
    constexpr int rounds = 20'000;
    List list;
    std::atomic<int> taken = 0;
    std::atomic<bool> giveUp = false;
    std::thread consumer([&] {
        const auto patient = [&] { return !giveUp; };
        int* out = nullptr;
        while (taken < rounds && waitForElement(list, patient)) {
            list.pop_front(out);
            ++taken;
        }
    });
    const Deadline deadline;
    for (int i = 1; i <= rounds && !giveUp; ++i) {
        list.push_back(&a);
        while (taken < i && !giveUp) giveUp = deadline.passed();
    }
    list.wakeAll();
    consumer.join();
    EXPECT_EQ(rounds, taken);
}

TEST(SynchronizedList, ProducersAndConsumersShareItWithoutLoss) {
    constexpr int perProducer = 5000;
    std::vector<int> elements(2 * perProducer);
    List list;
    std::atomic<int> taken = 0;
    std::atomic<bool> done = false;
    const auto consume = [&] {
        while (waitForElement(list, [&] { return !done; })) {
            try {
                int* out = nullptr;
                list.pop_front(out);
                ++*out;
                ++taken;
            } catch (const EmptyListException&) {
                continue;  // the other consumer was faster
            }
        }
    };
    const auto produce = [&](std::size_t first) {
        for (std::size_t i = 0; i < perProducer; ++i) list.push_back(&elements[first + i]);
    };
    std::thread consumers[] = {std::thread(consume), std::thread(consume)};
    std::thread producers[] = {std::thread(produce, 0), std::thread(produce, perProducer)};
    for (std::thread& thread : producers) thread.join();
    EXPECT_TRUE(eventually([&] { return taken == 2 * perProducer; }));
    done = true;
    list.wakeAll();
    for (std::thread& thread : consumers) thread.join();
    for (const int times : elements) ASSERT_EQ(1, times);
}

TEST(SynchronizedList, LeavesItsElementsAloneWhenItGoes) {
    int element = 7;
    {
        List list;
        list.push_back(&element);
    }
    EXPECT_EQ(7, element);
}

// The guard is used after its destruction failed, which the sanitizer of types would not allow.
__attribute__((no_sanitize("vptr"))) void take(List& list) TESKD_NO_ANALYSIS {
    list.guard().lock();
}
__attribute__((no_sanitize("vptr"))) void release(List& list) TESKD_NO_ANALYSIS {
    list.guard().unlock();
}

TEST(SynchronizedList, DestroyingItWhileAnotherThreadHoldsItThrows) {
    alignas(List) std::byte memory[sizeof(List)];
    auto* const list = new (memory) List;
    std::latch held(1);
    std::latch letGo(1);
    std::thread holder([&] {
        take(*list);
        held.count_down();
        letGo.wait();
        release(*list);
    });
    held.wait();
    std::string message;
    try {
        list->~List();
    } catch (const SynchronizedException& e) {
        message = e.getMessage();
    }
    EXPECT_EQ("Deleting locked mutex", message);
    letGo.count_down();
    holder.join();
}

}  // namespace
}  // namespace teskd::test
