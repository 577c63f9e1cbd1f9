// Accessors of the daemon's long-lived objects.
#pragma once

namespace teskd {

class Aams;
class DornDeamon;
class DornNotify;
class TeskController;
class Timer;

// Each returns the one object of the daemon, which lives from before main runs until after main has
// returned. Any thread.
Aams& getAams();
TeskController& getTeskController();
DornDeamon& getDornDeamon();
DornNotify& getDornNotify();
Timer& getTimer();

}  // namespace teskd
