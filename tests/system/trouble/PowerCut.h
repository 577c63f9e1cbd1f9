// Cuts the power in the middle of writing files.
//
// Works in binaries that are linked with -Wl,--wrap for open, write, fsync, rename, unlink and
// close, whose calls are counted; other ways of changing files are not seen.

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace teskd::test {

// What becomes, when the power goes, of changes that nobody ordered to be on the disk.
enum class Unsynced {
    Kept,  // they are on the disk all the same
    Lost,  // data are gone, a rename has not happened
    Half,  // half of the data is gone, a rename has happened
};

struct PowerCutResult {
    bool completed = false;  // the power went only after the work
    // What was done until then, and to what: "rename file.ini.teskd.tmp".
    std::vector<std::string> calls;
};

// Does the work in a process of its own that loses its power at the call of this number, counted
// from 1: a write is then done by half, any other call not at all. When the work is done before,
// the power goes right after it.
//
// Threads: none may run beside it. Errors: std::runtime_error when the work ends any other way.
PowerCutResult runUntilPowerCut(const std::function<void()>& work, unsigned call,
                                Unsynced unsynced);

}  // namespace teskd::test
