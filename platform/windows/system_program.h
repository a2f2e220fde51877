// Programs of Windows itself.
#ifndef KV500_PLATFORM_WINDOWS_SYSTEM_PROGRAM_H
#define KV500_PLATFORM_WINDOWS_SYSTEM_PROGRAM_H

#include <filesystem>
#include <string>

namespace platform {

/// The path of a program in Windows' own folder. Empty if that folder is unknown.
std::filesystem::path systemProgram(const std::string& name);

/// Runs a program of that folder without a window and gives what it writes, at most 1 MiB. Kills it
/// after 2.5 seconds. `commandLine` includes the program's name. Empty if the program can't be
/// started. Any thread.
std::string outputOfSystemProgram(const std::string& name, const std::string& commandLine);

}  // namespace platform

#endif
