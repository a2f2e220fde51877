// From the XML of a health card to the JSON text of an answer, and to the text of one element.
//
// The XML is XML 1.0. Its elements below the root become JSON members (RFC 8259) in document order.
// Their names lose the prefix:
//
//   <v:A><v:B>x</v:B></v:A>     "A":
//                               {
//                               "B":"x"
//                               }
//
// An element with child elements becomes an object. Any other element becomes a string: the text
// that is its first child, or nothing. Attributes, comments and text beside child elements are left
// out. Repeated elements become repeated members.
//
// Bytes are not converted. The XML of a card is ISO-8859-15, and its declaration is ignored, so the
// JSON text is ISO-8859-15 too. Nothing is escaped: a quote or a backslash in a text is the same in
// the JSON as in the XML. References (&amp;) are resolved first; a reference to a character by its
// number (&#228;) becomes UTF-8.
//
// All operations may be called from any thread and without locks. An XML text ends at its first
// zero byte.
#ifndef KV500_CARD_XML_TO_JSON_H
#define KV500_CARD_XML_TO_JSON_H

#include <iosfwd>
#include <string>

namespace tinyxml2 {
class XMLDocument;
class XMLElement;
}  // namespace tinyxml2

namespace kv500 {

/// The members for all elements under the root of `xml`, without braces, separated by commas, each
/// ended by a line feed (0x0A). Empty if the parser refuses `xml` because it is malformed or nested
/// about 100 levels deep, and if there is no root or the root has no child elements.
std::string xmlToJson(const std::string& xml);

/// Writes the members for `element` and its following siblings to `stream`; nothing for null.
void writeElements(std::ostream& stream, const tinyxml2::XMLElement* element);

/// The first element in document order, at any depth, whose name without prefix is `name`. Null if
/// there is none. The document's first node is compared whatever its kind: if it is a comment or
/// declaration with the text `name`, the search ends there and the result is null. The element
/// belongs to `document`.
const tinyxml2::XMLElement* findElement(const std::string& name,
                                        const tinyxml2::XMLDocument* document);

/// The text that is the first child of the element which findElement finds in `xml`. Empty if there
/// is no such element or no such text, or if `xml` can't be parsed.
std::string findElementText(const std::string& name, const std::string& xml);

}  // namespace kv500

#endif
