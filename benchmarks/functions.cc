// Times the functions that a request runs through, on an example card, without threads, sockets or
// a reader. The decoder is timed beside zlib on the same gzip members.
//
// functions CARD_FOLDER [Google Benchmark's options]
#include <benchmark/benchmark.h>
#include <tinyxml2.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "card/card_kind.h"
#include "card/gzip.h"
#include "card/insurance_data.h"
#include "card/insurance_file.h"
#include "card/xml_to_json.h"
#include "frontend/http_request.h"
#include "frontend/response.h"
#include "platform/simulated/card_folder.h"

namespace {

using kv500::ByteVector;

/// A simulated card that records the commands that it gets.
class CardAtHand final : public kv500::CardChannel {
 public:
  explicit CardAtHand(const char* folder) : card_(simulated::loadCardFolder(folder)) {}

  bool transmitApdu(const ByteVector& command, ByteVector& response) override {
    sent.push_back(command);
    response = card_.exchange(command).response;
    return true;
  }
  bool readAtr(ByteVector& value) override {
    value = card_.atr();
    return true;
  }

  std::vector<ByteVector> sent;

 private:
  simulated::Card card_;
};

/// The complete read of a card, from the first command to the answer.
struct Example {
  std::vector<ByteVector> commands;
  ByteVector gzip[2];
  std::string xml[2];
  std::string daten;
};

Example readExample(CardAtHand& card) {
  using kv500::InsuranceFile;
  Example example;
  if (kv500::detectCardKind(card) != kv500::CardKind::HealthCard ||
      !kv500::readInsuranceData(card, example.daten)) {
    std::fprintf(stderr, "functions: this is no health card that can be read\n");
    std::exit(1);
  }
  example.commands = card.sent;
  kv500::readInsuranceFile(card, InsuranceFile::Vd, example.gzip[0]);
  kv500::readInsuranceFile(card, InsuranceFile::Pd, example.gzip[1]);
  for (int i = 0; i < 2; ++i) {
    const ByteVector text = kv500::gunzipBytes(example.gzip[i]);
    example.xml[i].assign(text.begin(), text.end());
  }
  return example;
}

/// Decodes a gzip member with zlib, into a buffer of the decoder's size.
std::size_t inflateWithZlib(const ByteVector& member) {
  ByteVector text(kv500::inflateBufferSize);
  z_stream stream{};
  inflateInit2(&stream, 16 + MAX_WBITS);  // With a gzip header.
  stream.next_in = const_cast<Bytef*>(member.data());
  stream.avail_in = static_cast<uInt>(member.size());
  stream.next_out = text.data();
  stream.avail_out = static_cast<uInt>(text.size());
  inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
  return stream.total_out;
}

template <typename Work>
void add(const std::string& name, Work work) {
  benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(work());
    }
  });
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: functions CARD_FOLDER [OPTION...]\n");
    return 2;
  }
  CardAtHand card(argv[1]);
  const Example example = readExample(card);
  add("card", [&] {  // The time of a simulated card for the commands of a read, for comparison.
    ByteVector response;
    for (const ByteVector& command : example.commands) {
      card.transmitApdu(command, response);
    }
    card.sent.clear();
    return response;
  });
  add("read", [&] {
    std::string daten;
    const auto kind = kv500::detectCardKind(card);
    kv500::readInsuranceData(card, daten);
    card.sent.clear();
    return daten.size() + static_cast<std::size_t>(kind);
  });
  add("decode", [&] {
    return kv500::gunzipBytes(example.gzip[0]).size() + kv500::gunzipBytes(example.gzip[1]).size();
  });
  add("decode_zlib",
      [&] { return inflateWithZlib(example.gzip[0]) + inflateWithZlib(example.gzip[1]); });
  add("xml", [&] {  // The XML library's share of the next one.
    tinyxml2::XMLDocument documents[2];
    documents[0].Parse(example.xml[0].c_str());
    return documents[1].Parse(example.xml[1].c_str());
  });
  add("xml_to_json", [&] {
    return kv500::xmlToJson(example.xml[0]).size() + kv500::xmlToJson(example.xml[1]).size();
  });
  const std::string request =
      "GET /?action=read HTTP/1.1\r\nHost: 127.0.0.1:5724\r\nOrigin: https://practice.example\r\n"
      "User-Agent: Mozilla/5.0 (X11; Linux x86_64)\r\nAccept: */*\r\n\r\n";
  add("parse", [&] {
    const kv500::HttpRequest parsed(request);
    return kv500::parseQueryParameters(parsed.target().substr(2)).size();
  });
  const kv500::ActionResult result{"read",          "OK",    97,        "",
                                   "KV500_PRESENT", "1.1.8", "SIM0001", "OK_Card_Presence"};
  add("compose", [&] { return kv500::composeResponse("*", false, result, example.daten); });

  argv[1] = argv[0];
  int options = argc - 1;
  benchmark::Initialize(&options, argv + 1);
  benchmark::RunSpecifiedBenchmarks();
}
