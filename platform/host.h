// What a world, real or simulated, takes from the machine that it runs on.
#ifndef KV500_PLATFORM_HOST_H
#define KV500_PLATFORM_HOST_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/threading.h"

namespace platform::host {

/// A mutex between processes, like that of platform::CreateMutexA but under exactly this name. On
/// Linux only the simulated world uses it.
HANDLE createNamedMutex(const char* name);

/// Starts the program of a command line that is quoted by Windows' rules, and does not wait for it.
/// It runs as the user of this process and gets none of its handles. False if it could not be
/// started.
bool startProgram(const std::string& commandLine);

/// The full path of the running program, as platform::GetModuleFileNameW gives it.
std::filesystem::path programPath();

/// Reads a text file as platform::readTextFile does.
bool readTextFile(const std::filesystem::path& path, std::string& content);

/// Milliseconds since the process started. Changes of the system time don't affect them. Any
/// thread.
std::int64_t elapsedMilliseconds();

/// The id of this process, as text.
std::string processId();

/// From now on a request to end this process (Ctrl-C, or the system's regular way) does not end it
/// but calls `request` on a thread of its own. A write to a pipe that nobody reads fails and has no
/// other effect. Call it once, before any other thread is started.
void onEndRequest(std::function<void()> request);

}  // namespace platform::host

#endif
