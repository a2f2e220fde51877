#include "card/xml_to_json.h"

#include <tinyxml2.h>

#include <sstream>

namespace kv500 {
namespace {

// XML Namespaces 1.0: a qualified name is a prefix, a colon and the local name.
std::string localName(const tinyxml2::XMLNode& node) {
  const std::string name = node.Value();
  return name.substr(name.find(':') + 1);  // without a colon npos + 1, which is 0
}

std::string textOf(const tinyxml2::XMLElement& element) {
  const tinyxml2::XMLNode* child = element.FirstChild();
  return child != nullptr && child->ToText() != nullptr ? child->Value() : "";
}

}  // namespace

std::string xmlToJson(const std::string& xml) {
  tinyxml2::XMLDocument document;
  if (document.Parse(xml.c_str()) != tinyxml2::XML_SUCCESS) {
    return "";
  }
  std::ostringstream stream;
  // Otherwise the stream would swallow a lack of memory and lose text.
  stream.exceptions(std::ios::badbit);
  if (const tinyxml2::XMLElement* root = document.FirstChildElement()) {
    writeElements(stream, root->FirstChildElement());
  }
  return stream.str();
}

// The recursion is as deep as the document; the parser refuses documents deeper than
// TINYXML2_MAX_ELEMENT_DEPTH, 100. There can be many siblings, so these are handled in the loop.
void writeElements(std::ostream& stream, const tinyxml2::XMLElement* element) {
  for (; element != nullptr; element = element->NextSiblingElement()) {
    stream << '"' << localName(*element) << "\":";
    if (const tinyxml2::XMLElement* child = element->FirstChildElement()) {
      stream << "\n{\n";
      writeElements(stream, child);
      stream << '}';
    } else {
      stream << '"' << textOf(*element) << '"';
    }
    stream << (element->NextSiblingElement() != nullptr ? ",\n" : "\n");
  }
}

// Depth first, each element before its children. The loop ends because every turn moves forward in
// document order: down to a child, or across to a sibling of the node or of its nearest ancestor.
const tinyxml2::XMLElement* findElement(const std::string& name,
                                        const tinyxml2::XMLDocument* document) {
  const tinyxml2::XMLNode* node = document->FirstChild();
  while (node != nullptr) {
    if (localName(*node) == name) {
      return node->ToElement();
    }
    if (const tinyxml2::XMLElement* child = node->FirstChildElement()) {
      node = child;
      continue;
    }
    while (node != nullptr && node->NextSiblingElement() == nullptr) {
      node = node->Parent();
    }
    if (node != nullptr) {
      node = node->NextSiblingElement();
    }
  }
  return nullptr;
}

std::string findElementText(const std::string& name, const std::string& xml) {
  tinyxml2::XMLDocument document;
  if (document.Parse(xml.c_str()) != tinyxml2::XML_SUCCESS) {
    return "";
  }
  const tinyxml2::XMLElement* element = findElement(name, &document);
  return element != nullptr ? textOf(*element) : "";
}

}  // namespace kv500
