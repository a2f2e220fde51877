// What only a POSIX system can show: paths of any bytes, limits of a process.
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/posix/path_text.h"
#include "platform/program.h"
#include "tests/world_test.h"

namespace platform {
namespace {

using PosixTest = kv500::WorldTest;

TEST_F(PosixTest, PathsPassWithoutLoss) {
  const struct {
    std::string bytes;
    std::u16string units;
  } rows[] = {
      {"/a b~\x7F", u"/a b~\x7F"},
      {"/\xC3\xA4\xE2\x82\xAC", u"/\u00e4\u20ac"},
      {"\xF0\x9F\x92\xB3", u"\xD83D\xDCB3"},
      {"\xE4/\xFF", u"\xDCE4/\xDCFF"},                    // ISO-8859-15, no UTF-8.
      {"\xC0\x80\xC3", u"\xDCC0\xDC80\xDCC3"},            // Overlong, and cut off.
      {"\xED\xA0\x80", u"\xDCED\xDCA0\xDC80"},            // A surrogate.
      {"\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"},  // Above the last character.
  };
  for (const auto& row : rows) {
    EXPECT_EQ(posix::toUnits(row.bytes), row.units);
    EXPECT_EQ(posix::toBytes(row.units), row.bytes);
  }
}

TEST_F(PosixTest, ALogThatMayNotGrowIsNotTheEnd) {
  ::rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const ::rlimit small{20, limit.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  AppendStream stream;
  stream.open((folder / "log").u16string());
  for (int i = 0; i < 4; ++i) {
    stream.write("fifteen bytes.\n");
  }
  ::setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(readFile("log").size(), 20u);
  stream.write("after a failure nothing more is written\n");
  EXPECT_EQ(readFile("log").size(), 20u);
}

TEST_F(PosixTest, APipeDoesNotHoldTheStart) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  std::string content;
  EXPECT_FALSE(readTextFile((folder / "pipe").u16string(), content));
  AppendStream stream;
  stream.open((folder / "pipe").u16string());
  stream.write("dropped");
}

}  // namespace
}  // namespace platform
