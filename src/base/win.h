// The one way in to <windows.h>: without the rarely used headers and without the min and max macros.
// Never include it from a header of the pure half.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
