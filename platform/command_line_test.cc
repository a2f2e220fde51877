#include "platform/command_line.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(CommandLine, IsSplitAsWindowsProgramsDo) {
  const struct {
    std::string text;
    std::vector<std::string> parts;
  } rows[] = {
      {"", {}},
      {"\"\"", {""}},
      {R"("C:\Program Files\b.exe" "http://x/?id=A1")",
       {R"(C:\Program Files\b.exe)", "http://x/?id=A1"}},
      {R"("/opt/b" "")", {"/opt/b", ""}},
      {R"(b  one	two  )", {"b", "one", "two"}},
      {R"("open)", {"open"}},
      {R"("b"c d)", {"b", "c", "d"}},
      {R"(b a\\b\c)", {"b", R"(a\\b\c)"}},
      {R"(b "a\\" c)", {"b", "a\\", "c"}},
      {R"(b "a\\\" c")", {"b", R"(a\" c)"}},
      {R"(b "a""c")", {"b", R"(a"c)"}},
      {R"(b x" "y)", {"b", "x y"}},
      {R"(b \)", {"b", "\\"}},
      {R"(b \ c)", {"b", "\\", "c"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(splitCommandLine(row.text), row.parts) << row.text;
  }
}

}  // namespace
}  // namespace platform
