#include "korvelctl/cli/failure.h"

#include "korvelctl/cli/exit_codes.h"

namespace korvel::ctl {
namespace {

struct KindRow {
  const char* name;
  ErrorKind kind;
  int exitCode;
};

constexpr KindRow kRows[] = {
    {"usage", ErrorKind::kUsage, kExitUsage},
    {"refused", ErrorKind::kRefused, kExitRefused},
    {"guard", ErrorKind::kGuard, kExitRefused},
    {"not_installed", ErrorKind::kNotInstalled, kExitUnreachable},
    {"stopped", ErrorKind::kStopped, kExitUnreachable},
    {"starting", ErrorKind::kStarting, kExitUnreachable},
    {"unreachable", ErrorKind::kUnreachable, kExitUnreachable},
    {"busy", ErrorKind::kBusy, kExitUnreachable},
    {"denied", ErrorKind::kDenied, kExitUnreachable},
    {"protocol", ErrorKind::kProtocol, kExitProtocol},
    {"timeout", ErrorKind::kTimeout, kExitProtocol},
    {"lost", ErrorKind::kLost, kExitProtocol},
    {"io", ErrorKind::kIo, kExitRefused},
    {"internal", ErrorKind::kInternal, kExitInternal},
};

const KindRow& rowOf(ErrorKind kind) {
  for (const KindRow& row : kRows) {
    if (row.kind == kind) return row;
  }
  return kRows[std::size(kRows) - 1];
}

}  // namespace

const char* errorKindName(ErrorKind kind) { return rowOf(kind).name; }
int exitCodeOf(ErrorKind kind) { return rowOf(kind).exitCode; }

}  // namespace korvel::ctl
