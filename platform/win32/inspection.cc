// Files, one connection and the terminal: the parts that are the same on every Windows.
#include "platform/inspection.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "platform/program.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t mostReply = 65536;  // Bytes.
constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// A file opened for the given access, closed at its end.
class File {
 public:
  File(const std::filesystem::path& path, DWORD access, DWORD disposition = OPEN_EXISTING)
      : handle_(::CreateFileW(path.c_str(), access, shared, nullptr, disposition,
                              FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~File() {
    if (isOpen()) {
      ::CloseHandle(handle_);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  bool isOrdinary() const { return isOpen() && ::GetFileType(handle_) == FILE_TYPE_DISK; }
  ::HANDLE handle() const { return handle_; }

 private:
  const ::HANDLE handle_;
};

/// The socket library for as long as it is needed.
class SocketLibrary {
 public:
  SocketLibrary() : started_(::WSAStartup(MAKEWORD(2, 2), &data_) == 0) {}
  ~SocketLibrary() {
    if (started_) {
      ::WSACleanup();
    }
  }
  SocketLibrary(const SocketLibrary&) = delete;
  SocketLibrary& operator=(const SocketLibrary&) = delete;

 private:
  ::WSADATA data_{};
  const bool started_;
};

class Connection {
 public:
  Connection() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    u_long on = 1;
    ::ioctlsocket(socket_, static_cast<long>(FIONBIO), &on);
  }
  ~Connection() { ::closesocket(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool connect(std::uint16_t port, Clock::time_point end) const {
    ::sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::connect(socket_, reinterpret_cast<const ::sockaddr*>(&address), sizeof(address));
    return isReady(end, true);
  }

  bool isReadable(Clock::time_point end) const { return isReady(end, false); }
  ::SOCKET socket() const { return socket_; }

 private:
  bool isReady(Clock::time_point end, bool toWrite) const {
    using std::chrono::microseconds;
    const auto left = std::chrono::duration_cast<microseconds>(end - Clock::now()).count();
    ::fd_set wanted;
    wanted.fd_count = 1;
    wanted.fd_array[0] = socket_;
    ::fd_set failed = wanted;
    constexpr std::int64_t second = 1'000'000;
    ::timeval limit{static_cast<long>(left / second), static_cast<long>(left % second)};
    return left > 0 &&
           ::select(0, toWrite ? nullptr : &wanted, toWrite ? &wanted : nullptr, &failed, &limit) >
               0 &&
           wanted.fd_count == 1 && failed.fd_count == 0;
  }

  const ::SOCKET socket_;
};

/// Whether nobody can write the file because it is marked as read-only.
bool isUnwritable(DWORD attributes) {
  return (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

bool print(DWORD handle, std::FILE* stream, const std::string& text) {
  const ::HANDLE output = ::GetStdHandle(handle);
  DWORD mode = 0;
  DWORD written = 0;
  if (::GetConsoleMode(output, &mode)) {
    const std::wstring units = fromUtf8(text).native();
    return ::WriteConsoleW(output, units.data(), static_cast<DWORD>(units.size()), &written,
                           nullptr) &&
           written == units.size();
  }
  return std::fwrite(text.data(), 1, text.size(), stream) == text.size() &&
         std::fflush(stream) == 0;
}

}  // namespace

FileFacts inspectFile(const std::filesystem::path& path) {
  FileFacts facts;
  ::WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
    facts.kind =
        ::GetLastError() == ERROR_ACCESS_DENIED ? FileFacts::Kind::Hidden : FileFacts::Kind::Absent;
    return facts;
  }
  if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    facts.kind = FileFacts::Kind::Folder;
    return facts;
  }
  const File file(path, GENERIC_READ);
  facts.readable = file.isOpen();
  facts.kind =
      facts.readable && !file.isOrdinary() ? FileFacts::Kind::Other : FileFacts::Kind::Ordinary;
  facts.unwritable = isUnwritable(data.dwFileAttributes);
  facts.size = std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
  return facts;
}

std::string readFileEnd(const std::filesystem::path& path, std::size_t bytes) {
  const File file(path, GENERIC_READ);
  ::LARGE_INTEGER size{};
  if (!file.isOrdinary() || !::GetFileSizeEx(file.handle(), &size)) {
    return {};
  }
  std::string content(std::min(static_cast<std::uint64_t>(size.QuadPart), std::uint64_t{bytes}),
                      '\0');
  ::LARGE_INTEGER begin{};
  begin.QuadPart = size.QuadPart - static_cast<std::int64_t>(content.size());
  DWORD got = 0;
  if (!::SetFilePointerEx(file.handle(), begin, nullptr, FILE_BEGIN) ||
      !::ReadFile(file.handle(), content.data(), static_cast<DWORD>(content.size()), &got,
                  nullptr)) {
    return {};
  }
  content.resize(got);
  return content;
}

bool isProgram(const std::string& command) {
  // As CreateProcess looks for it: a name without an extension gets ".exe".
  const std::filesystem::path name = fromUtf8(command);
  std::wstring path(MAX_PATH, L'\0');
  const DWORD length = ::SearchPathW(nullptr, name.c_str(), L".exe",
                                     static_cast<DWORD>(path.size()), path.data(), nullptr);
  if (length == 0) {
    return false;
  }
  path.resize(length);
  DWORD type = 0;
  return length > MAX_PATH || ::GetBinaryTypeW(path.c_str(), &type);
}

Reply askPort(std::uint16_t port, const std::string& request, std::uint32_t milliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  const SocketLibrary library;
  const Connection connection;
  Reply reply;
  reply.connected = connection.connect(port, end);
  // The system's buffer has room for a request of a line or two.
  if (!reply.connected ||
      ::send(connection.socket(), request.data(), static_cast<int>(request.size()), 0) < 0) {
    reply.ended = reply.connected;
    return reply;
  }
  char buffer[4096];
  while (reply.bytes.size() < mostReply && connection.isReadable(end)) {
    const int got = ::recv(connection.socket(), buffer, sizeof(buffer), 0);
    if (got <= 0) {
      reply.ended = got == 0 || ::WSAGetLastError() != WSAEWOULDBLOCK;
      return reply;
    }
    reply.bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return reply;
}

bool writeFile(const std::filesystem::path& path, const std::string& content) {
  const File file(path, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD written = 0;
  return file.isOpen() &&
         ::WriteFile(file.handle(), content.data(), static_cast<DWORD>(content.size()), &written,
                     nullptr) &&
         written == content.size();
}

std::filesystem::path fromUtf8(const std::string& text) {
  const int size = static_cast<int>(text.size());
  const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring path(static_cast<std::size_t>(length), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, path.data(), length);
  return path;
}

std::string toUtf8(const std::filesystem::path& native) {
  // The path's own conversion is not used: it throws if the units are invalid UTF-16.
  const std::wstring& units = native.native();
  const int size = static_cast<int>(units.size());
  const int length =
      ::WideCharToMultiByte(CP_UTF8, 0, units.data(), size, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(length), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, units.data(), size, text.data(), length, nullptr, nullptr);
  return text;
}

std::string userLanguage() {
  return PRIMARYLANGID(::GetUserDefaultUILanguage()) == LANG_GERMAN ? "de" : "en";
}

bool printText(const std::string& text) {
  return print(STD_OUTPUT_HANDLE, stdout, text);
}

bool printError(const std::string& text) {
  return print(STD_ERROR_HANDLE, stderr, text);
}

}  // namespace platform
