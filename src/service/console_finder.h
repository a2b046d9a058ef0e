// Finds a console for the modes that print, because the executable belongs to the GUI subsystem and gets
// none.
#pragma once

#include <functional>

#include "base/win.h"

namespace korvel::svc {

/// The calls of Windows behind findConsole(), replaceable for tests. Each returns what Windows returns.
struct ConsoleCalls {
  std::function<HANDLE()> output;             ///< the standard output
  std::function<void(HANDLE)> setOutput;      ///< replaces it
  std::function<bool(HANDLE)> goesSomewhere;  ///< what is written there gets to a file, a pipe or a console
  std::function<bool()> attachToParent;       ///< joins the console of the process that started this one
  std::function<bool()> hasWindow;            ///< there is a console, and it has a window
  std::function<void()> allocate;             ///< opens a console

  static const ConsoleCalls& windows();
};

/// Afterwards writeConsoleLine() reaches, in this order of preference: the redirected output, which is left
/// as it is; the console that this program was started from; a new console. Call once, before the first line.
void findConsole(const ConsoleCalls& calls = ConsoleCalls::windows());

}  // namespace korvel::svc
