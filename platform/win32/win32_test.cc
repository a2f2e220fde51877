#include "platform/host.h"
#include "platform/host_handles.h"
#include "platform/program.h"
#include "tests/world_test.h"
// After the seam's headers.
#include "platform/win32/native.h"

namespace platform {
namespace {

using Win32Test = kv500::WorldTest;

TEST_F(Win32Test, TextFilesOfEveryNameAreSharedAndAppendedTo) {
  const auto odd = folder / u"\u00dcbung \u0141\u00f3d\u017a \u8aad";
  std::filesystem::create_directory(odd);
  const auto path = odd / "log.txt";
  AppendStream first;
  AppendStream second;
  first.open(path);
  second.open(path);
  first.write({"one\n"});
  second.write({"two\n"});
  first.write({"three\n"});
  EXPECT_EQ(std::filesystem::file_size(odd / "log.txt"), 5u + 5u + 7u);
  std::string content;
  EXPECT_TRUE(readTextFile(path, content));
  EXPECT_EQ(content, "one\ntwo\nthree\n");
}

TEST_F(Win32Test, WhatIsNoTextFileIsRefused) {
  writeFile("large", std::string((1 << 20) + 1, 'x'));
  std::string content = "as before";
  const std::filesystem::path paths[] = {folder, folder / "absent", folder / "large", "NUL", "CON"};
  for (const auto& path : paths) {
    EXPECT_FALSE(readTextFile(path, content)) << path;
  }
  EXPECT_EQ(content, "as before");
  AppendStream nowhere;
  nowhere.open(folder);
  nowhere.write({"dropped\n"});
}

TEST_F(Win32Test, AProgramIsStartedWithoutHandlesOfThisOne) {
  // If a program inherited the pipe's other end, that end would stay open as long as the program
  // runs.
  ::HANDLE reading = nullptr;
  ::HANDLE writing = nullptr;
  ::SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  ASSERT_TRUE(::CreatePipe(&reading, &writing, &inheritable, 0));
  EXPECT_TRUE(host::startProgram("\"cmd.exe\" \"/c ping -n 4 127.0.0.1\""));
  EXPECT_FALSE(host::startProgram("\"no such program.exe\""));
  EXPECT_FALSE(host::startProgram(""));
  ::CloseHandle(writing);
  char byte = 0;
  DWORD length = 0;
  const auto before = ::GetTickCount64();
  EXPECT_FALSE(::ReadFile(reading, &byte, 1, &length, nullptr));
  EXPECT_LT(::GetTickCount64() - before, 1000u);
  ::CloseHandle(reading);
}

TEST_F(Win32Test, AListenerSharesItsPortWithNobody) {
  // Wine refuses the second program in any case; Windows only with this option.
  host::WSAStartup(0x0101);
  const SOCKET listener = host::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  ASSERT_EQ(host::bind(listener, {AF_INET, 0, 0, {}}), 0);
  BOOL isExclusive = FALSE;
  int size = sizeof(isExclusive);
  EXPECT_EQ(::getsockopt(listener, SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                         reinterpret_cast<char*>(&isExclusive), &size),
            0);
  EXPECT_TRUE(isExclusive);
  host::closesocket(listener);
  host::WSACleanup();
}

TEST_F(Win32Test, ANamedMutexIsKnownByItsName) {
  const std::string name = "kv500_test_" + host::processId();
  SetLastError(0);
  const HANDLE first = host::createNamedMutex(name.c_str());
  EXPECT_NE(first, 0u);
  EXPECT_EQ(GetLastError(), 0u);
  const HANDLE second = host::createNamedMutex(name.c_str());
  EXPECT_NE(second, 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
  EXPECT_TRUE(host::CloseHandle(first));
  EXPECT_TRUE(host::CloseHandle(second));
  EXPECT_FALSE(host::CloseHandle(0));
}

}  // namespace
}  // namespace platform
