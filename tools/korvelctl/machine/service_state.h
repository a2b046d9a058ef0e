// What the system's list of services says about KorvelService. Thread-safe.
#pragma once

namespace korvel::ctl {

enum class ServiceState { kNotInstalled, kStopped, kStarting, kRunning, kStopping, kUnknown };

/// kUnknown when the caller may not ask, and for the pausing states, which this service does not have.
ServiceState serviceState();

}  // namespace korvel::ctl
