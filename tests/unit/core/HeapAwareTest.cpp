#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/HeapAware.h"

namespace teskd::test {
namespace {

struct Object : HeapAware {
    Object() = default;
    Object(const Object&) = default;
    virtual ~Object() = default;
};

TEST(HeapAware, KnowsThatItIsOnTheHeap) {
    const auto object = std::unique_ptr<Object>(new Object);
    EXPECT_TRUE(object->isHeapAllocated());
}

TEST(HeapAware, KnowsThatItIsNotOnTheHeap) {
    struct Owner {
        Object member;
    };
    static const Object atRest;
    const Object local;
    const auto owner = std::make_unique<Owner>();
    EXPECT_FALSE(atRest.isHeapAllocated());
    EXPECT_FALSE(local.isHeapAllocated());
    EXPECT_FALSE(owner->member.isHeapAllocated());
}

TEST(HeapAware, AnObjectInsideOneOfTheHeapIsNotOnTheHeapItself) {
    struct Outer : Object {
        Object inner;
    };
    const auto outer = std::unique_ptr<Outer>(new Outer);
    EXPECT_TRUE(outer->isHeapAllocated());
    EXPECT_FALSE(outer->inner.isHeapAllocated());
}

TEST(HeapAware, KnowsThatItIsOnTheHeapBehindAnotherBase) {
    struct Queue {
        virtual ~Queue() = default;
        long data[4] = {};
    };
    struct Both : Queue, Object {};
    const auto both = std::unique_ptr<Both>(new Both);
    EXPECT_TRUE(both->isHeapAllocated());
}

struct Named {
    explicit Named(std::string text) : name(std::move(text)) {}
    std::string name;
};

// Takes its name while its memory is there and its base is not yet.
struct LateNamed : Named, Object {
    explicit LateNamed(const std::function<std::string()>& take) : Named(take()) {}
};

TEST(HeapAware, KnowsThatItIsOnTheHeapWhenAnotherIsMadeBeforeItIsDone) {
    std::unique_ptr<Object> inner;
    const auto outer = std::unique_ptr<LateNamed>(new LateNamed([&] {
        inner.reset(new Object);
        return std::string("outer");
    }));
    EXPECT_TRUE(inner->isHeapAllocated());
    EXPECT_TRUE(outer->isHeapAllocated());
}

// The memory that was meant for it goes to objects that must not delete themselves.
TEST(HeapAware, OneWhoseConstructionFailedIsForgotten) {
    const auto fail = []() -> std::string { throw std::runtime_error("no name"); };
    EXPECT_THROW(new LateNamed(fail), std::runtime_error);
    void* const memory = ::operator new(sizeof(LateNamed));
    auto* const object = ::new (memory) Object;
    EXPECT_FALSE(object->isHeapAllocated());
    object->~Object();
    ::operator delete(memory);
}

TEST(HeapAware, ACopyIsNotItsOwnToDelete) {
    const Object source;
    const auto copy = std::unique_ptr<Object>(new Object(source));
    EXPECT_FALSE(copy->isHeapAllocated());
}

}  // namespace
}  // namespace teskd::test
