// Programs of Windows itself.
#ifndef KV500_PLATFORM_WINDOWS_SYSTEM_PROGRAM_H
#define KV500_PLATFORM_WINDOWS_SYSTEM_PROGRAM_H

#include <filesystem>
#include <string>

namespace platform {

/// The path of a program in Windows' own folder. Empty if that can't be told.
std::filesystem::path systemProgram(const std::string& name);

/// What a program of that folder writes, 1 MiB at most, run without a window and killed after 2.5
/// seconds. `commandLine` holds the program's name, too. Empty if it can't be started. Any thread.
std::string outputOfSystemProgram(const std::string& name, const std::string& commandLine);

}  // namespace platform

#endif
