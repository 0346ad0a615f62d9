#include "LongTexts.h"

#include <QString>

#include "Gallery.h"
#include "core/Program.h"
#include "lang/Language.h"

namespace pellora::testing_views {

namespace {

constexpr int kUnits = 6;  // the last number of texts that are units

LangStringArray Read(const char* language) {
  LangStringArray texts;
  ReadLanguage(ShippedTexts(language), texts);
  return texts;
}

std::string FileOf(const LangStringArray& texts) {
  std::string file;
  for (std::size_t number = 1; number < texts.size(); ++number) {
    if (!texts[number].empty()) file += std::to_string(number) + "=" + texts[number] + "\n";
  }
  return file + "0=" + texts[0] + "\n";
}

}  // namespace

std::string LongerEnglish() {
  LangStringArray texts = Read("english");
  for (std::size_t number = kUnits + 1; number < texts.size(); ++number) {
    std::string& text = texts[number];
    const std::string source = text.find(' ') == std::string::npos ? "extended" : " extended words";
    for (std::size_t more = text.size() * 2 / 5, at = 0; at < more; ++at) text += source[at % source.size()];
  }
  return FileOf(texts);
}

std::string LongestTexts() {
  LangStringArray longest;
  for (const char* const language : kShippedLanguages) {
    const LangStringArray texts = Read(language);
    for (std::size_t number = 0; number < texts.size(); ++number) {
      if (QString::fromStdString(texts[number]).size() > QString::fromStdString(longest[number]).size()) {
        longest[number] = texts[number];
      }
    }
  }
  return FileOf(longest);
}

std::string HebrewLetters() {
  LangStringArray texts = Read("english");
  constexpr char16_t kAlef = 0x05D0;
  constexpr char16_t kLetters = 27;
  for (std::size_t number = kUnits + 1; number < texts.size(); ++number) {
    QString text = QString::fromStdString(texts[number]);
    for (qsizetype at = 0; at < text.size(); ++at) {
      const bool place = at > 0 && text[at - 1] == u'%';  // of a value
      if (!place && text[at].isLetter()) text[at] = QChar(static_cast<char16_t>(kAlef + text[at].unicode() % kLetters));
    }
    texts[number] = text.toStdString();
  }
  return FileOf(texts);
}

}  // namespace pellora::testing_views
