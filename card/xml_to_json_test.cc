#include "card/xml_to_json.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kv500 {
namespace {

using std::string_literals::operator""s;

std::string nested(int levels) {
  std::string xml;
  for (int i = 0; i < levels; ++i) {
    xml = "<e>" + xml + "</e>";
  }
  return xml;
}

TEST(XmlToJson, WritesTheElementsUnderTheRoot) {
  const struct {
    std::string xml, json;
  } cases[] = {
      {"<r><A><B>x</B><D><E>y</E></D></A></r>",
       "\"A\":\n{\n\"B\":\"x\",\n\"D\":\n{\n\"E\":\"y\"\n}\n}\n"},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-15\"?><!--c--><r><a>1</a><b><c>2</c></b></r>",
       "\"a\":\"1\",\n\"b\":\n{\n\"c\":\"2\"\n}\n"},
      {"<r><b><c>2</c></b><a>1</a><a>1</a></r>",
       "\"b\":\n{\n\"c\":\"2\"\n},\n\"a\":\"1\",\n\"a\":\"1\"\n"},
      // Names and attributes.
      {"<n:r xmlns:n=\"u\"><n:a k=\"v\" n:l=\"w\">1</n:a><n:m:b>2</n:m:b></n:r>",
       "\"a\":\"1\",\n\"m:b\":\"2\"\n"},
      // Only the first node of an element is its text. Text beside elements does not count.
      {"<r>t<a>u<b>v</b>w</a>x</r>", "\"a\":\n{\n\"b\":\"v\"\n}\n"},
      {"<r><a/><b></b><c> </c><d><!--x--></d></r>",
       "\"a\":\"\",\n\"b\":\"\",\n\"c\":\"\",\n\"d\":\"\"\n"},
      {"<r><a><!--c-->x</a><b>x<!--c-->y</b></r>", "\"a\":\"\",\n\"b\":\"x\"\n"},
      {"<r><!--c--><a>1</a><!--c--><b>2</b><!--c--></r>", "\"a\":\"1\",\n\"b\":\"2\"\n"},
      {"<r><a><![CDATA[<x>&amp;]]></a></r>", "\"a\":\"<x>&amp;\"\n"},
      // Bytes are unchanged, also blanks and line breaks. References are resolved and not escaped.
      {"<r><a> J\xF6rg\n \\ \x80\xA4\xFF </a><\xE4>1</\xE4></r>",
       "\"a\":\" J\xF6rg\n \\ \x80\xA4\xFF \",\n\"\xE4\":\"1\"\n"},
      {"<r><a>x &amp; &quot;&lt;&#65;&#228;</a></r>", "\"a\":\"x & \"<A\xC3\xA4\"\n"},
      {"<r><a>1</a></r>\0<r>"s, "\"a\":\"1\"\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(xmlToJson(c.xml), c.json) << c.xml;
  }
}

TEST(XmlToJson, IsEmptyForWhatHasNoMembersOrDoesNotParse) {
  for (const std::string& xml :
       {""s, " "s, "<r/>"s, "<r>text</r>"s, "<r><!--c--></r>"s, "<?xml version=\"1.0\"?>"s,
        "<!--c-->"s, "text"s, "<r><a>1</a>"s, "<r><a>1</b></r>"s, "<r><a 1</r>"s,
        "\0<r><a>1</a></r>"s, "<r><a>\0</a></r>"s, nested(101), nested(500)}) {
    EXPECT_EQ(xmlToJson(xml), "") << xml;
  }
  EXPECT_NE(xmlToJson(nested(90)), "");
}

TEST(XmlToJson, FindsTheFirstElementInDocumentOrder) {
  const std::string xml =
      "<?xml version=\"1.0\"?><!--note--><p:r><a><b><c>deep</c></b></a><p:c>second</p:c>"
      "<d><e/></d><f k=\"1\">&amp;\xE4</f><g><h>x</h></g><i><!--c-->x</i><n:m:o>two</n:m:o></p:r>";
  for (const auto& [name, text] : std::vector<std::pair<std::string, std::string>>{
           {"c", "deep"},   // the first of several, however deep
           {"f", "&\xE4"},  // after climbing out of two levels, and out of one
           {"m:o", "two"},  // only the first prefix is dropped
           {"e", ""},       // without text
           {"g", ""},       // a child element instead of text
           {"i", ""},       // the text is not its first node
           {"p:c", ""},     // names have no prefix here
           {"C", ""},
           {"", ""},
           {"note", ""},
           {"absent", ""}}) {
    EXPECT_EQ(findElementText(name, xml), text) << name;
  }
  EXPECT_EQ(findElementText("r", "<p:r>root</p:r>"), "root");
  EXPECT_EQ(findElementText("r", "<p:r>root</p:r"), "");
  EXPECT_EQ(findElementText("a", "<!--a--><r><a>1</a></r>"), "") << "the comment comes first";
}

}  // namespace
}  // namespace kv500
