#include "korvelctl/cli/failure.h"

#include "korvelctl/cli/exit_codes.h"

namespace korvel::ctl {
namespace {

struct Row {
  ErrorKind kind;
  const char* name;
  int exitCode;
};

constexpr Row kRows[] = {
    {ErrorKind::kUsage, "usage", kExitUsage},
    {ErrorKind::kRefused, "refused", kExitRefused},
    {ErrorKind::kGuard, "guard", kExitRefused},
    {ErrorKind::kNotInstalled, "not_installed", kExitUnreachable},
    {ErrorKind::kStopped, "stopped", kExitUnreachable},
    {ErrorKind::kStarting, "starting", kExitUnreachable},
    {ErrorKind::kUnreachable, "unreachable", kExitUnreachable},
    {ErrorKind::kBusy, "busy", kExitUnreachable},
    {ErrorKind::kDenied, "denied", kExitUnreachable},
    {ErrorKind::kProtocol, "protocol", kExitProtocol},
    {ErrorKind::kTimeout, "timeout", kExitProtocol},
    {ErrorKind::kLost, "lost", kExitProtocol},
    {ErrorKind::kIo, "io", kExitRefused},
    {ErrorKind::kInternal, "internal", kExitInternal},
};

const Row& rowOf(ErrorKind kind) {
  for (const Row& row : kRows) {
    if (row.kind == kind) return row;
  }
  return kRows[std::size(kRows) - 1];
}

}  // namespace

const char* errorKindName(ErrorKind kind) { return rowOf(kind).name; }
int exitCodeOf(ErrorKind kind) { return rowOf(kind).exitCode; }

}  // namespace korvel::ctl
