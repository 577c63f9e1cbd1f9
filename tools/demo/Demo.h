// The demonstration from start to end.
//
// Ownership: the object owns the scene. Threads: one user at a time, whose thread outlives it.
// Errors: run() throws Surprise for an unexpected result, and what its parts throw.

#pragma once

#include <filesystem>
#include <ostream>
#include <string>

#include "demo/Report.h"
#include "demo/Scene.h"

namespace demo {

class Demo {
  public:
    Demo(const std::filesystem::path& daemon, std::ostream& out);

    void run();
    // The daemon's output and log so far, for the message about a failure.
    std::string daemonsStory();

  private:
    void start();
    void startAgain();
    void sayPolled();
    void stop();

    Report report_;
    Scene scene_;
};

}  // namespace demo
