// What can go wrong, as scripts see it. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "korvelctl/model/item_error.h"

namespace korvel::ctl {

enum class ErrorKind {
  kUsage,
  kRefused,  ///< by the service; the message is its text
  kGuard,    ///< by this client, for safety
  kNotInstalled,
  kStopped,
  kStarting,
  kUnreachable,
  kBusy,
  kDenied,
  kProtocol,
  kTimeout,
  kLost,
  kIo,
  kInternal,
};

/// "usage", "refused", "not_installed" and so on. A static text.
const char* errorKindName(ErrorKind kind);
int exitCodeOf(ErrorKind kind);

/// Ends a command that has not done anything yet, or goes into its list of errors.
class Failure : public std::runtime_error {
 public:
  /// `message` is UTF-8, for people, one line; `advice`, which may be empty, says what to do next.
  Failure(ErrorKind kind, const std::string& message, std::string advice = {},
          std::optional<uint32_t> win32 = std::nullopt)
      : std::runtime_error(message), kind_(kind), advice_(std::move(advice)), win32_(win32) {}

  ErrorKind kind() const { return kind_; }
  const std::string& advice() const { return advice_; }
  std::optional<uint32_t> win32() const { return win32_; }
  ItemError about(const std::string& item) const { return {item, errorKindName(kind_), what(), win32_}; }

 private:
  ErrorKind kind_;
  std::string advice_;
  std::optional<uint32_t> win32_;
};

}  // namespace korvel::ctl
