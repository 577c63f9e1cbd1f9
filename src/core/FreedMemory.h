// Memory that was freed, which the C library would keep.
#pragma once

namespace teskd {

// Has what is freed kept where it can be returned to the system: in few places, and large blocks in
// none. To be called once, before the first thread is started.
void limitFreedMemory();

// Returns to the system what was freed and is still kept: memory, and the stacks of threads that
// have ended. Takes a millisecond after a thousand threads, and some ten microseconds when there is
// nothing. Any thread.
void returnFreedMemory();

}  // namespace teskd
