// Creates, starts, stops and destroys the one engine of the process, and the stop event with it. Called on
// the service (or console) thread only.
#pragma once

#include <string>

namespace korvel::svc {

/// False with an English reason; everything created on the way is gone again. No exception escapes.
bool engineStart(std::string* error);

/// Does nothing for what does not exist.
void engineStop();

}  // namespace korvel::svc
