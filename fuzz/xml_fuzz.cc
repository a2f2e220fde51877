// Hostile XML texts, unchanged and as the content of a valid root.
#include <cstddef>
#include <cstdint>
#include <string>

#include "card/xml_to_json.h"
#include "fuzz/require.h"

namespace {

void convert(const std::string& xml, const std::string& name) {
  const std::string json = kv500::xmlToJson(xml);
  kv500::require(json.empty() || (json.front() == '"' && json.back() == '\n'), json);
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
  kv500::require(json.empty() || json.rfind("\"a\":\"1\"", 0) == 0, json);
  kv500::require(json.empty() || kv500::findElementText("a", "<r><a>1</a>" + text + "</r>") == "1",
                 json);
  return 0;
}
