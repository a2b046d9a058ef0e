#include "service/console_finder.h"

#include "base/unique_resource.h"

namespace korvel::svc {
namespace {

bool leadsSomewhere(HANDLE output) {
  const DWORD type = ::GetFileType(output);
  DWORD mode = 0;
  return type == FILE_TYPE_DISK || type == FILE_TYPE_PIPE || ::GetConsoleMode(output, &mode);
}

}  // namespace

const ConsoleCalls& ConsoleCalls::windows() {
  static const ConsoleCalls calls{
      .output = [] { return ::GetStdHandle(STD_OUTPUT_HANDLE); },
      .setOutput = [](HANDLE handle) { (void)::SetStdHandle(STD_OUTPUT_HANDLE, handle); },
      .goesSomewhere = leadsSomewhere,
      .attachToParent = [] { return ::AttachConsole(ATTACH_PARENT_PROCESS) != FALSE; },
      .hasWindow = [] { return ::GetConsoleWindow() != nullptr; },
      .allocate = [] { (void)::AllocConsole(); }};
  return calls;
}

void findConsole(const ConsoleCalls& calls) {
  const HANDLE output = calls.output();
  if (calls.goesSomewhere(output)) return;
  if (calls.attachToParent()) {
    // Windows keeps the handle that a parent has set, also one that leads nowhere. Without any, lines go to
    // the console.
    if (!calls.goesSomewhere(calls.output())) calls.setOutput(nullptr);
    return;
  }
  if (!KernelHandleTraits::valid(output) && !calls.hasWindow()) calls.allocate();
}

}  // namespace korvel::svc
