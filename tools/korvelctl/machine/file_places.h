// Where files lie, whatever their paths look like: short names, links, another drive letter for the same
// folder. Not thread-safe.
#pragma once

#include <string>

#include "korvelctl/model/decision.h"

namespace korvel::ctl {

class FilePlaces {
 public:
  /// `quarantineFolder` is that of the service's settings; empty = the usual one.
  explicit FilePlaces(const std::wstring& quarantineFolder);

  FilePlace of(const std::wstring& path) const;
  const std::wstring& quarantineFolder() const { return quarantine_; }

 private:
  std::wstring quarantine_, realQuarantine_;
  std::wstring windows_, realWindows_;
};

/// The path under which the system itself knows the file or folder; `path` when it cannot be opened.
std::wstring realPath(const std::wstring& path);

}  // namespace korvel::ctl
