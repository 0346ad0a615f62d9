// ReadXml: the elements of an XML document, in their order, read by expat.
//
// A document type is refused, so there are no entities but the five of XML itself, nothing is fetched and nothing
// grows. Depth, the length of a text and that of an element's attributes are limited. Bytes are UTF-8, UTF-16,
// ISO-8859-1 or ASCII, as the document says; names and texts are UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

inline constexpr std::size_t kDeepestXml = 32;                          // elements in each other
inline constexpr std::size_t kLongestXmlText = std::size_t{128} << 10;  // bytes directly in one element

struct XmlAttribute {
  std::string_view name;
  std::string_view value;
};

// Names are "NAMESPACE name", or the name alone without a namespace.
class XmlEvents {
 public:
  virtual void Begins(std::string_view name, const std::vector<XmlAttribute>& attributes) = 0;
  // `text`: what is directly in the element.
  virtual void Ends(std::string_view name, const std::string& text) = 0;

 protected:
  ~XmlEvents() = default;
};

// False if it is not a whole, well-formed document within the limits; events may have come before.
bool ReadXml(std::string_view bytes, XmlEvents& events);

}  // namespace pellora
