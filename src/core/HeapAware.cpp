#include "core/HeapAware.h"

#include <functional>
#include <memory>
#include <new>

namespace teskd {

namespace {

// A block that operator new returned and that no constructor has claimed yet.
struct FreshBlock {
    const char* start;
    std::size_t size;
    FreshBlock* next;

    bool contains(const char* address) const {
        const std::less<const char*> before;
        return !before(address, start) && before(address, start + size);
    }
};
thread_local FreshBlock* freshBlocks = nullptr;  // latest first

// Removes the block that contains the address from the list. False if there is none.
bool claimFreshBlock(const void* address) {
    for (FreshBlock** link = &freshBlocks; *link != nullptr; link = &(*link)->next) {
        if (!(*link)->contains(static_cast<const char*>(address))) continue;
        const std::unique_ptr<FreshBlock> block(*link);
        *link = block->next;
        return true;
    }
    return false;
}

}  // namespace

HeapAware::HeapAware() : heapAllocated_(claimFreshBlock(this)) {}

HeapAware::HeapAware(const HeapAware&) : heapAllocated_(false) {
    claimFreshBlock(this);
}

void* HeapAware::operator new(std::size_t size) {
    auto block = std::make_unique<FreshBlock>();
    void* memory = ::operator new(size);
    *block = {static_cast<const char*>(memory), size, freshBlocks};
    freshBlocks = block.release();
    return memory;
}

void HeapAware::operator delete(void* memory) {
    claimFreshBlock(memory);  // still listed if the constructor's arguments threw
    ::operator delete(memory);
}

}  // namespace teskd
