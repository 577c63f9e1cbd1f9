// The daemon's long-lived objects, and the accessors through which they are reached.
#pragma once

namespace teskd {

class Aams;
class DornDeamon;
class DornNotify;
class TeskController;
class Timer;

// Each returns the one object, which lives from before main runs until after it has returned. Any
// thread.
Aams& getAams();
TeskController& getTeskController();
DornDeamon& getDornDeamon();
DornNotify& getDornNotify();
Timer& getTimer();

}  // namespace teskd
