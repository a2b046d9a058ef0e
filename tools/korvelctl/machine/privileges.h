// What the caller's token allows. Thread-safe; a PrivilegesOn acts on the whole process.
#pragma once

#include <vector>

#include "base/unique_resource.h"

namespace korvel::ctl {

/// True when the process runs with the rights of an administrator.
bool isElevated();

/// Switches on the privileges to read and write access lists and owners of files regardless of the lists
/// themselves, as far as the token holds them, and switches off again what it has switched on.
class PrivilegesOn {
 public:
  PrivilegesOn();
  ~PrivilegesOn();
  PrivilegesOn(const PrivilegesOn&) = delete;
  PrivilegesOn& operator=(const PrivilegesOn&) = delete;

 private:
  UniqueHandle token_;
  std::vector<LUID> switchedOn_;
};

}  // namespace korvel::ctl
