// What the process gives up before it does anything else, so that less can be made of a fault in it.
#pragma once

namespace korvel::svc {

/// From here on Windows loads libraries only from its own folder, never from this program's, from the network
/// or from places that programs with low rights may write; hooks, input methods and other extension points
/// stay out. What this Windows does not know is left out in silence. Call before anything is loaded.
void hardenProcess();

}  // namespace korvel::svc
