// What a world takes from the machine it runs on.
#ifndef KV500_PLATFORM_HOST_H
#define KV500_PLATFORM_HOST_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/threading.h"

namespace platform::host {

/// The named mutex of platform::CreateMutexA under exactly this name, between processes; on Linux
/// for the simulated world alone.
HANDLE createNamedMutex(const char* name);

/// Starts the program of a command line quoted by Windows' rules, as the user of this process and
/// with none of its handles, and does not wait for it. False if it could not be started.
bool startProgram(const std::string& commandLine);

/// The full path of the running program, as platform::GetModuleFileNameW gives it.
std::filesystem::path programPath();

/// Milliseconds since the process started, whatever the clock on the wall does. Any thread.
std::int64_t elapsedMilliseconds();

/// The number of this process.
std::string processId();

/// From now on a request to end this process (Ctrl-C, or the system's polite way) calls `request`
/// on a thread of its own instead. A write to a pipe that nobody reads fails and does no more.
/// Called once, before any other thread is started.
void onEndRequest(std::function<void()> request);

}  // namespace platform::host

#endif
