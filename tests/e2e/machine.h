// The machine under test. The service keeps its data in fixed places, and these tests wipe them: they run
// only where a marker file says that nothing of value is there.
#pragma once

#include <string>

namespace korvel::test {

/// Throws unless this is a machine that was set up for these tests (C:\korvel-test-machine exists).
void requireTestMachine();

/// KorvelService.exe as it was installed: the environment variable KORVEL_SERVICE, or
/// C:\Program Files\Korvel\KorvelService.exe.
std::wstring serviceExecutable();
/// korvelctl.exe beside it.
std::wstring controlExecutable();

/// Removes everything the service may have left: its data directory and the scan cache beside it.
void wipeServiceData();

/// How often each kill test kills the service: the environment variable KORVEL_KILLS, or a few times.
int killCount();

/// How often each stop test stops the service: the environment variable KORVEL_STOPS, or a few times.
int stopCount();

/// How many hostile frames the service gets: the environment variable KORVEL_FRAMES, or a thousand.
/// KORVEL_SEED chooses others.
int frameCount();
uint32_t frameSeed();

}  // namespace korvel::test
