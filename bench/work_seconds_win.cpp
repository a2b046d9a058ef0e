#include "measure.h"

// Process times have a step of 10 ms under Wine and leave out what its server does for us.
double korvel::bench::workSeconds() { return wallSeconds(); }
