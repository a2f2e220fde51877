// Hostile XML texts, unchanged and as the content of a valid root.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "card/xml_to_json.h"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void convert(const std::string& xml, const std::string& name) {
  const std::string json = kv500::xmlToJson(xml);
  require(json.empty() || (json.front() == '"' && json.back() == '\n'));
  kv500::findElementText(name, xml);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const std::string name = text.substr(0, 3);
  convert(text, name);
  convert("<r>" + text + "</r>", name);

  // Behind a valid element the converter writes that element, whatever happens to the rest.
  const std::string json = kv500::xmlToJson("<r><a>1</a>" + text + "</r>");
  require(json.empty() || json.rfind("\"a\":\"1\"", 0) == 0);
  require(json.empty() || kv500::findElementText("a", "<r><a>1</a>" + text + "</r>") == "1");
  return 0;
}
