#include "core/Xml.h"

#include <expat.h>

#include <exception>
#include <memory>
#include <utility>

namespace pellora {

namespace {

// One document. Expat is C: an exception must not pass through it.
class Document {
 public:
  explicit Document(XmlEvents& events) : events_(events), parser_(XML_ParserCreateNS(nullptr, ' ')) {
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), &OnBegin, &OnEnd);
    XML_SetCharacterDataHandler(parser_.get(), &OnText);
    XML_SetStartDoctypeDeclHandler(parser_.get(), &OnDoctype);
  }

  bool Read(std::string_view bytes) {
    constexpr std::size_t kStep = std::size_t{1} << 20;  // expat counts in int
    bool good = true;
    do {
      const std::string_view step = bytes.substr(0, kStep);
      bytes.remove_prefix(step.size());
      good =
          XML_Parse(parser_.get(), step.data(), static_cast<int>(step.size()), bytes.empty() ? 1 : 0) == XML_STATUS_OK;
    } while (good && !bytes.empty());
    if (thrown_) std::rethrow_exception(thrown_);
    return good;
  }

 private:
  struct Free {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  void Stop() {
    stopped_ = true;
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  // An empty element that stops the parser still ends.
  template <class Step>
  void Try(Step step) {
    if (stopped_) return;
    try {
      step();
    } catch (...) {
      thrown_ = std::current_exception();
      Stop();
    }
  }

  void Begin(std::string_view name, const char** attributes) {
    if (texts_.size() == kDeepestXml) return Stop();
    std::vector<XmlAttribute> list;
    std::size_t length = 0;
    for (; *attributes != nullptr; attributes += 2) {
      list.push_back({attributes[0], attributes[1]});
      length += list.back().name.size() + list.back().value.size();
    }
    if (length > kLongestXmlText) return Stop();
    texts_.emplace_back();
    events_.Begins(name, list);
  }

  void End(std::string_view name) {
    const std::string text = std::move(texts_.back());
    texts_.pop_back();
    events_.Ends(name, text);
  }

  void Text(std::string_view text) {
    if (texts_.back().size() + text.size() > kLongestXmlText) return Stop();
    texts_.back() += text;
  }

  static Document& Of(void* self) { return *static_cast<Document*>(self); }
  static void OnBegin(void* self, const char* name, const char** attributes) {
    Of(self).Try([&] { Of(self).Begin(name, attributes); });
  }
  static void OnEnd(void* self, const char* name) {
    Of(self).Try([&] { Of(self).End(name); });
  }
  static void OnText(void* self, const char* text, int length) {
    Of(self).Try([&] { Of(self).Text({text, static_cast<std::size_t>(length)}); });
  }
  static void OnDoctype(void* self, const char*, const char*, const char*, int) { Of(self).Stop(); }

  XmlEvents& events_;
  std::unique_ptr<XML_ParserStruct, Free> parser_;
  std::vector<std::string> texts_;  // of the open elements
  bool stopped_ = false;
  std::exception_ptr thrown_;
};

}  // namespace

bool ReadXml(std::string_view bytes, XmlEvents& events) { return Document(events).Read(bytes); }

}  // namespace pellora
