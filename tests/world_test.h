// What the unit tests share: a fresh world with its own folder, and cards to insert.
#ifndef KV500_TESTS_WORLD_TEST_H
#define KV500_TESTS_WORLD_TEST_H

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

#include "platform/host.h"
#include "platform/simulated/insurance_files.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/world.h"

namespace kv500 {

using simulated::Faults;
using simulated::world;

/// Thrown where the process would end, so that the test continues.
struct ProcessEnded {
  std::uint32_t exitCode;
};

/// Waits until `condition` holds, 10 seconds at most. False if it doesn't by then.
inline bool eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 1000 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

/// A world whose program is in an empty temporary folder of its own.
class WorldTest : public testing::Test {
 protected:
  WorldTest() {
    simulated::ledger().beginTest();
    // An earlier process with the same number may have left a folder of that name.
    static int number = 0;
    do {
      folder = std::filesystem::temp_directory_path() /
               ("kv500_" + platform::host::processId() + "_" + std::to_string(number++));
    } while (!std::filesystem::create_directory(folder));
    newWorld();
  }
  ~WorldTest() override {
    EXPECT_EQ(simulated::ledger().notes(), "") << "the platform was used wrongly";
    EXPECT_EQ(simulated::ledger().notGivenBack(), "") << "left over at the end";
    removeFolder();
  }

  /// Starts again with a new world, but keeps the folder.
  void newWorld() const {
    simulated::resetWorld();
    world().programPath = folder / "program";
  }

  void writeFile(const std::string& name, const std::string& content) const {
    std::ofstream(folder / name, std::ios::binary) << content;
  }
  std::string readFile(const std::string& name) const {
    std::ifstream file(folder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// The lines of the log without their times.
  std::string logTexts() const {
    std::istringstream lines(readFile("log.txt"));
    std::string texts;
    for (std::string line; std::getline(lines, line, '\n');) {
      texts += line.substr(line.starts_with("[") ? sizeof("[dd-mm-yyyy hh:mm:ss] ") - 1 : 0) + "\n";
    }
    std::erase(texts, '\r');
    return texts;
  }

  /// For a test that lets its process end: then prints the log's texts to standard error.
  void printLogAtExit() const {
    world().onExit = [this](std::uint32_t) {
      std::cerr << logTexts();
      removeFolder();
    };
  }

  void removeFolder() const {
    std::error_code logStillOpen;  // It keeps the file from being removed on Windows.
    std::filesystem::remove_all(folder, logStillOpen);
  }

  std::filesystem::path folder;
};

/// A health card with the longest possible ATR, whose files hold these texts. `overrides` has the
/// form of overrides.txt.
inline simulated::Card healthCard(const std::string& vdXml, const std::string& pdXml,
                                  const std::string& overrides = "") {
  using simulated::Bytes;
  const Bytes longestAtr(33, 0x3B);
  const Bytes gdo{0x5A, 0x0A, 0x80, 0x27, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes vd = *simulated::makeVdFile(Bytes(vdXml.begin(), vdXml.end()));
  const Bytes pd = *simulated::makePdFile(Bytes(pdXml.begin(), pdXml.end()));
  return simulated::Card(longestAtr, {{}, {{0x2F02, 0x02, gdo}}},
                         {{{0xD2, 0x76, 0x00, 0x00, 0x01, 0x02},
                           {{0xD001, 0x01, pd}, {0xD002, 0x02, vd}, {0xD00C, 0x0C, Bytes(25)}}}},
                         simulated::parseOverrides(overrides));
}

/// Text without repetitions, so its gzip data are about as long as the text itself.
inline std::string denseText(std::size_t length) {
  std::string text;
  for (std::uint32_t state = 1; text.size() < length;) {
    state = state * 1664525 + 1013904223;
    text += static_cast<char>('a' + (state >> 24) % 26);
  }
  return text;
}

inline const std::string vdXml = "<?xml version=\"1.0\"?><VD><Name>Kasse</Name></VD>";

/// Personal data with this id, long enough for a card to carry them.
inline std::string pdXml(const std::string& id) {
  return "<PD><V><Versicherten_ID>" + id + "</Versicherten_ID><T>" + denseText(500) +
         "</T></V></PD>";
}

}  // namespace kv500

#endif
