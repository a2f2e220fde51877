// What a world, real or simulated, takes from the machine that it runs on.
#ifndef KV500_PLATFORM_HOST_H
#define KV500_PLATFORM_HOST_H

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

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

// What a platform::AppendStream does with its file. -1 is no file: `append` fails then, `closeFile`
// does nothing.
std::intptr_t openToAppend(const std::filesystem::path& path);
/// False if not everything could be written. Takes no memory from the heap.
bool append(std::intptr_t file, std::initializer_list<std::string_view> pieces);
void closeFile(std::intptr_t file);

/// Broken-down local time as platform::_localtime64_s gives it.
bool localTime(std::tm& result, std::int64_t time);

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
