#include "support/program_folder.h"

#include "platform/program.h"

namespace kv500 {

std::u16string pathBeside(const std::u16string& programPath, const std::string& fileName) {
  std::u16string path = programPath.substr(0, programPath.rfind(platform::pathSeparator));
  path += platform::pathSeparator;
  for (const char c : fileName) {
    path += static_cast<unsigned char>(c);
  }
  return path;
}

std::u16string pathBesideProgram(const std::string& fileName) {
  return pathBeside(platform::GetModuleFileNameW(), fileName);
}

}  // namespace kv500
