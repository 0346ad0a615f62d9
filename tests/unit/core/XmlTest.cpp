#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Xml.h"

namespace pellora {
namespace {

// Events as lines: "<NAME a=v", ">NAME TEXT".
class Lines final : public XmlEvents {
 public:
  void Begins(std::string_view name, const std::vector<XmlAttribute>& attributes) override {
    text.append("<").append(name);
    for (const XmlAttribute& attribute : attributes) {
      text.append(" ").append(attribute.name).append("=").append(attribute.value);
    }
    text += "\n";
  }
  void Ends(std::string_view name, const std::string& inside) override {
    text.append(">").append(name).append(" ").append(inside).append("\n");
  }
  std::string text;
};

std::string Read(std::string_view document) {
  Lines lines;
  return ReadXml(document, lines) ? lines.text : "refused";
}

std::string Nested(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "<a>";
  for (std::size_t i = 0; i < depth; ++i) text += "</a>";
  return text;
}

TEST(Xml, ElementsComeInTheirOrderWithNamespaceAttributesAndText) {
  EXPECT_EQ(Read("<?xml version='1.0'?><a xmlns='urn:x' p=' 1'>b<c/>d<!-- e --></a>"),
            "<urn:x a p= 1\n<urn:x c\n>urn:x c \n>urn:x a bd\n");
  EXPECT_EQ(Read("<a>&lt;&#233;&amp;<![CDATA[<>]]></a>"), "<a\n>a <\xC3\xA9&<>\n");
}

TEST(Xml, OtherEncodingsBecomeUtf8) {
  EXPECT_EQ(Read("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>"), "<a\n>a \xC3\xA9\n");
  EXPECT_EQ(Read(std::string("\xFF\xFE<\0a\0>\0\xE9\0<\0/\0a\0>\0", 18)), "<a\n>a \xC3\xA9\n");
}

TEST(Xml, WhatIsNotWellFormedIsRefused) {
  for (const char* text :
       {"", " ", "a", "<a>", "<a></b>", "<a/><b/>", "<a/>b", "<a b=1/>", "<a b='1' b='2'/>", "<a>&b;</a>",
        "<a>\xC3</a>", "<a>\xFF</a>", "<a>\x01</a>", "<x:a/>", "<?xml version='1.0' encoding='x-unknown'?><a/>"}) {
    EXPECT_EQ(Read(text), "refused") << text;
  }
}

TEST(Xml, ADocumentTypeIsRefused) {
  EXPECT_EQ(Read("<!DOCTYPE a><a/>"), "refused");
  EXPECT_EQ(Read("<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>"), "refused");
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
  for (int i = 1; i < 40; ++i) {
    const std::string before = "&e" + std::to_string(i - 1) + ";";
    bomb.append("<!ENTITY e").append(std::to_string(i)).append(" '").append(before).append(before).append("'>");
  }
  EXPECT_EQ(Read(bomb + "]><a>&e39;</a>"), "refused");
}

TEST(Xml, DepthIsLimited) {
  EXPECT_NE(Read(Nested(kDeepestXml)), "refused");
  EXPECT_EQ(Read(Nested(kDeepestXml + 1)), "refused");
  EXPECT_EQ(Read(Nested(1'000'000)), "refused");
}

TEST(Xml, TextsAndAttributesAreLimited) {
  const std::string longest(kLongestXmlText, 'x');
  EXPECT_NE(Read("<a>" + longest + "</a>"), "refused");
  EXPECT_EQ(Read("<a>" + longest + "x</a>"), "refused");
  EXPECT_NE(Read("<a b='" + longest.substr(1) + "'/>"), "refused");
  EXPECT_EQ(Read("<a b='" + longest + "'/>"), "refused");
}

TEST(Xml, AnExceptionOfTheReceiverPassesThrough) {
  class Throws final : public XmlEvents {
   public:
    void Begins(std::string_view, const std::vector<XmlAttribute>&) override { throw 7; }
    void Ends(std::string_view, const std::string&) override { ADD_FAILURE(); }
  } events;
  EXPECT_THROW((void)ReadXml("<a/>", events), int);
}

}  // namespace
}  // namespace pellora
