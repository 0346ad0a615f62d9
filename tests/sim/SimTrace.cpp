#include "SimTrace.h"

namespace pellora {

void SimTrace::Mix(std::uint64_t value) {
  hash_ = (hash_ ^ value) * 0x100000001B3ULL;
  hash_ ^= hash_ >> 29;
}

void SimTrace::Note(std::int64_t micros, const char* kind, std::uint64_t a, std::uint64_t b, std::string_view text) {
  Mix(static_cast<std::uint64_t>(micros));
  for (const char* at = kind; *at != '\0'; ++at) Mix(static_cast<unsigned char>(*at));
  Mix(a);
  Mix(b);
  for (const char c : text) Mix(static_cast<unsigned char>(c));
  ++count_;
  if (!keeps_) return;
  Entry entry{micros, kind, a, b, std::string(text)};
  if (first_.size() < kFirst) first_.push_back(entry);
  last_.push_back(std::move(entry));
  if (last_.size() > kLast) last_.pop_front();
}

std::string SimTrace::Line(const Entry& entry) {
  std::string line =
      std::to_string(entry.micros) + " " + entry.kind + " " + std::to_string(entry.a) + " " + std::to_string(entry.b);
  if (!entry.text.empty()) line += " " + entry.text;
  return line;
}

std::vector<std::string> SimTrace::Lines() const {
  std::vector<std::string> lines;
  lines.reserve(first_.size());
  for (const Entry& entry : first_) lines.push_back(Line(entry));
  return lines;
}

std::string SimTrace::Tail() const {
  std::string text;
  for (const Entry& entry : last_) text += Line(entry) + "\n";
  return text;
}

}  // namespace pellora
