#include "model/source_layout.h"

namespace marvik {

std::string_view BytesOf(const SourceLayout& layout, int32_t line) {
  const size_t at = static_cast<size_t>(line);
  const size_t start = layout.lines[at].start;
  const size_t end = at + 1 < layout.lines.size() ? layout.lines[at + 1].start : layout.text.size();
  return std::string_view(layout.text).substr(start, end - start);
}

std::string TextOf(const SourceLayout& layout, int32_t line) {
  std::string text;
  for (const char c : BytesOf(layout, line)) {
    if (c == '\n')
      while (text.ends_with('\r')) text.pop_back();
    text += layout.returnsOnly && c == '\r' ? '\n' : c;
  }
  text.resize(text.find_last_not_of("\r\n") + 1);
  return text;
}

}  // namespace marvik
