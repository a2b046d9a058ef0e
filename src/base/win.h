// The only place that includes <windows.h>: without rarely used headers and the min and max macros. Headers
// of pure code must not include it.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
