// What only a POSIX system can show: texts and paths of any bytes, process limits, programs.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string_view>
#include <vector>

#include "platform/posix/process.h"
#include "platform/program.h"
#include "platform/utf8.h"
#include "tests/world_test.h"

namespace platform {
namespace {

using PosixTest = kv500::WorldTest;
using kv500::eventually;

TEST_F(PosixTest, TextOfAnyBytesIsReadAsFarAsItIsUtf8) {
  const struct {
    std::string bytes;
    std::vector<std::size_t> lengths;
  } rows[] = {
      {{"~\0\x7F", 3}, {1, 1, 1}},
      {"\xC2\x80\xE2\x82\xAC\xEE\x80\x80\xF4\x8F\xBF\xBFx", {2, 3, 3, 4, 1}},
      {"\xE4/\xFF", {0, 1, 0}},                   // ISO-8859-15.
      {"\xF0\x9F\x92", {0, 0, 0}},                // Cut off.
      {"\xC1\xBF\xE0\x9F\x80", {0, 0, 0, 0, 0}},  // Overlong.
      {"\xF0\x8F\xBF\xBF", {0, 0, 0, 0}},         // The same.
      {"\xED\xA0\x80", {0, 0, 0}},                // A surrogate.
      {"\xF4\x90\x80\x80", {0, 0, 0, 0}},         // Above the last character.
  };
  for (const auto& row : rows) {
    std::vector<std::size_t> lengths;
    for (std::string_view rest = row.bytes; !rest.empty();) {
      lengths.push_back(characterLength(rest));
      rest.remove_prefix(std::max<std::size_t>(lengths.back(), 1));
    }
    EXPECT_EQ(lengths, row.lengths) << printablePath(row.bytes);
  }
  EXPECT_EQ(printablePath("/a b~\x7F/\xC3\xA4\xE2\x82\xAC/\xE4\xFF"), "/a b~~/~~/~~");
}

TEST_F(PosixTest, AFolderOfAnyBytesHoldsTheFiles) {
  const auto odd = folder / "\xE4 \xFF\n";
  std::filesystem::create_directory(odd);
  kv500::world().programPath = odd / "program";
  AppendStream stream;
  stream.open(GetModuleFileNameW().replace_filename("log"));
  stream.write({"text\n"});
  std::string content;
  EXPECT_TRUE(readTextFile(odd / "log", content));
  EXPECT_EQ(content, "text\n");
}

TEST_F(PosixTest, ALogThatMayNotGrowIsNotTheEnd) {
  ::rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const ::rlimit small{20, limit.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  AppendStream stream;
  stream.open(folder / "log");
  for (int i = 0; i < 4; ++i) {
    stream.write({"fifteen bytes.\n"});
  }
  ::setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(readFile("log").size(), 20u);
  stream.write({"after a failure nothing more is written\n"});
  EXPECT_EQ(readFile("log").size(), 20u);
}

TEST_F(PosixTest, AFileThatCannotBeReadDoesNotHoldTheStart) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::string content;
  EXPECT_FALSE(readTextFile(folder / "pipe", content));
  std::string told;
  kv500::world().onTold = [&told](std::string_view text) { told = text; };
  EXPECT_TRUE(readTextFile("/proc/self/mem", content)) << "it can be opened, but not read";
  EXPECT_EQ(told, "Not read to its end: /proc/self/mem: Input/output error");
  AppendStream stream;
  stream.open(folder / "pipe");
  stream.write({"dropped"});
}

TEST_F(PosixTest, OnlyTheOwnerMayWriteTheLog) {
  const ::mode_t before = ::umask(0);
  AppendStream().open(folder / "log");
  ::umask(before);
  struct ::stat status;
  ASSERT_EQ(::stat((folder / "log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0644u);
}

TEST_F(PosixTest, AProgramBeginsAfreshAndIsWaitedForNoLongerThanItsLimit) {
  // A started program must not get this process' open descriptors or its signal settings.
  ASSERT_EQ(::dup2(STDERR_FILENO, 77), 77);
  const auto pipe = std::signal(SIGPIPE, SIG_IGN);
  ::sigset_t blocked;
  ::sigset_t before;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const struct {
    std::string script;
    int result;
    std::chrono::milliseconds limit{10'000};
  } rows[] = {
      {"read pid name state parent group session rest </proc/$$/stat; [ $session = $$ ]", 0},
      {"[ -e /proc/$$/fd/2 ] && [ ! -e /proc/$$/fd/77 ]", 0},
      {"grep -q '^SigIgn:.0*$' /proc/self/status && grep -q '^SigBlk:.0*$' /proc/self/status", 0},
      {"exit 7", 7},
      {"kill -KILL $$", -1},
      {"exec sleep 60", -1, std::chrono::milliseconds(100)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.script);
    posix::ProcessStart start;
    start.arguments = {"sh", "-c", row.script};
    const auto process = posix::startProcess(start);
    ASSERT_TRUE(process);
    EXPECT_EQ(posix::waitForProcess(*process, row.limit), row.result);
    EXPECT_TRUE(eventually([&] { return ::kill(*process, 0) != 0; })) << "it is still there";
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  std::signal(SIGPIPE, pipe);
  ::close(77);
}

}  // namespace
}  // namespace platform
