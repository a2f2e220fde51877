// The running program and its surroundings: path, clock, local time, text files, commands, the end.
//
// All operations may be called from any thread.
#ifndef KV500_PLATFORM_PROGRAM_H
#define KV500_PLATFORM_PROGRAM_H

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

namespace platform {

/// The full path of the running program. This operation and the file operations below keep paths
/// without loss: any bytes on POSIX, any 16-bit units on Windows.
std::filesystem::path GetModuleFileNameW();

/// A path as printable ASCII text, with "~" in place of each other character.
std::string printablePath(const std::filesystem::path& path);

/// Milliseconds of elapsed time since the process started. It has 64 bits because a service may run
/// longer than the 24 days that 31 bits can count.
std::int64_t clock();

/// The calendar time in seconds.
std::int64_t _time64();
/// Broken-down local time of a calendar time. False if there is none.
bool _localtime64_s(std::tm& result, std::int64_t time);

/// Reads a whole text file, without the carriage returns directly before line feeds. False if the
/// file can't be opened, is no ordinary file, or is larger than 1 MiB. A later read error counts as
/// the end of the file. Whoever started the program is told of each of these, but not of a file
/// that is absent. Other programs may read and write the file meanwhile.
bool readTextFile(const std::filesystem::path& path, std::string& content);

/// A text file that is only appended to. It is created if absent. Other programs may read and write
/// it meanwhile. Each line feed is stored as carriage return and line feed, on every platform. One
/// thread at a time.
class AppendStream {
 public:
  AppendStream() = default;
  AppendStream(const AppendStream&) = delete;
  AppendStream& operator=(const AppendStream&) = delete;
  ~AppendStream();

  /// Opens the file. If that fails, every write is dropped.
  void open(const std::filesystem::path& path);

  /// Hands the pieces of a text to the operating system before it returns. After a failure the
  /// stream drops this text and every later one. Takes no memory from the heap.
  void write(std::initializer_list<std::string_view> pieces);

 private:
  std::intptr_t file_ = -1;
};

/// Shows a text to whoever started the program: on its terminal or in its journal, on Windows in
/// the event log. Never pass data of a card. Takes no memory from the heap, so that it can tell
/// that there is none. On Windows a text is cut after 1023 bytes.
void tellStarter(std::string_view text);

/// Runs a command and waits for its end. 0 if it succeeded. The only command that the system uses
/// is "net start SCardSvr". On every platform it means: start the smart-card service.
std::int32_t system(const char* command);

/// Ends the process at once and runs no destructor: threads that are still at work find all objects
/// intact until the last moment.
[[noreturn]] void ExitProcess(std::uint32_t exitCode);

}  // namespace platform

#endif
