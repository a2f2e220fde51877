// On a real machine the seam's sockets, events, threads, locks, times and names are those of the
// machine.
#include <ctime>

#include "platform/host.h"
#include "platform/host_handles.h"
#include "platform/program.h"

namespace platform {

std::int32_t WSAStartup(std::uint16_t version) {
  return host::WSAStartup(version);
}
std::int32_t WSACleanup() {
  return host::WSACleanup();
}
SOCKET socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
  return host::socket(family, type, protocol);
}
std::int32_t bind(SOCKET socket, const sockaddr_in& address) {
  return host::bind(socket, address);
}
std::int32_t listen(SOCKET socket, std::int32_t backlog) {
  return host::listen(socket, backlog);
}
std::int32_t select(SOCKET socket, std::int32_t microseconds) {
  return host::select(socket, microseconds);
}
SOCKET accept(SOCKET socket) {
  return host::accept(socket);
}
std::int32_t recv(SOCKET socket, char* buffer, std::int32_t size) {
  return host::recv(socket, buffer, size);
}
std::int32_t send(SOCKET socket, const char* bytes, std::int32_t size) {
  return host::send(socket, bytes, size);
}
std::int32_t shutdown(SOCKET socket, std::int32_t how) {
  return host::shutdown(socket, how);
}
std::int32_t closesocket(SOCKET socket) {
  return host::closesocket(socket);
}

HANDLE CreateEventA(bool manualReset, bool initialState) {
  return host::CreateEventA(manualReset, initialState);
}
bool SetEvent(HANDLE event) {
  return host::SetEvent(event);
}
std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds) {
  return host::WaitForSingleObject(handle, milliseconds);
}
HANDLE CreateThread(std::uint32_t (*function)(void*), void* argument) {
  return host::CreateThread(function, argument);
}
bool CloseHandle(HANDLE handle) {
  return host::CloseHandle(handle);
}
void Sleep(std::uint32_t milliseconds) {
  host::Sleep(milliseconds);
}

void CriticalSection::lock() {
  mutex_.lock();
}
void CriticalSection::unlock() {
  mutex_.unlock();
}

std::filesystem::path GetModuleFileNameW() {
  return host::programPath();
}
bool readTextFile(const std::filesystem::path& path, std::string& content) {
  return host::readTextFile(path, content);
}
AppendStream::~AppendStream() {
  host::closeFile(file_);
}
void AppendStream::open(const std::filesystem::path& path) {
  file_ = host::openToAppend(path);
}
void AppendStream::write(std::initializer_list<std::string_view> pieces) {
  if (!host::append(file_, pieces)) {
    host::closeFile(file_);
    file_ = -1;
  }
}
std::int64_t clock() {
  return host::elapsedMilliseconds();
}
std::int64_t _time64() {
  return std::time(nullptr);
}
bool _localtime64_s(std::tm& result, std::int64_t time) {
  return host::localTime(result, time);
}

}  // namespace platform
