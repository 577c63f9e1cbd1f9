// Lets an object know whether it was created by `new`.
#pragma once

#include <cstddef>

namespace teskd {

// Base class of objects that may have to delete themselves: only one that `new` created by itself
// may, neither a static or local object nor a member or element of another one.
//
// An object cannot find that out by itself, and operator new cannot leave a mark in the object's
// own memory: what is stored there before the constructor runs does not survive it. So operator new
// lists the block, and the constructor takes the block that it lies in off the list. The list may
// have several blocks, since a constructor's arguments may create further objects. It is one list
// for each thread, so it needs no lock.
//
// Threads: as the object. Owner: none; the subclass's destructor has to be virtual.
class HeapAware {
  public:
    // @throws std::bad_alloc
    static void* operator new(std::size_t size);
    static void operator delete(void* memory);

    // True when this class's operator new created the object. False for a copy, even one that it
    // created.
    bool isHeapAllocated() const { return heapAllocated_; }

  protected:
    HeapAware();
    HeapAware(const HeapAware&);
    HeapAware& operator=(const HeapAware&) = delete;
    ~HeapAware() = default;

  private:
    const bool heapAllocated_;
};

}  // namespace teskd
