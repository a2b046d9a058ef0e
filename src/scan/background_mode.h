// Background mode of the calling thread: the system gives its computing, its reading and its memory the
// lowest priority, so that the person at the machine notices little of it.
#pragma once

#include "scan/file_calls.h"

namespace korvel {

/// Puts the calling thread into background mode until it ends. A system that refuses is ignored.
void enterBackgroundMode(const FileCalls& calls);

/// Background mode for as long as it lives, where `wanted`. One thread makes and destroys it.
class BackgroundMode {
 public:
  BackgroundMode(const FileCalls& calls, bool wanted);
  ~BackgroundMode();
  BackgroundMode(const BackgroundMode&) = delete;
  BackgroundMode& operator=(const BackgroundMode&) = delete;

 private:
  const FileCalls& calls_;
  const bool wanted_;
};

}  // namespace korvel
