#include "check/finding.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/numbers.h"

namespace marvik {

namespace {

constexpr std::string_view kNames[] = {"A", "B", "C", "G", "error", "warning", "note"};

nlohmann::ordered_json NumberOrNull(const std::optional<double>& number) {
  return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json();
}

}  // namespace

std::string_view NameOf(FindingLevel level) {
  return kNames[static_cast<size_t>(level)];
}

std::string ApplyEdit(std::string_view text, const TextEdit& edit) {
  const size_t feed = text.find('\n');
  const bool returnsOnly = feed == text.npos && text.find('\r') != text.npos;
  const char last = returnsOnly ? '\r' : '\n';
  const std::string_view lineEnd = returnsOnly                                               ? "\r"
                                   : feed != text.npos && feed > 0 && text[feed - 1] == '\r' ? "\r\n"
                                                                                             : "\n";
  const auto behindLines = [&](size_t at, int lines) {
    for (; lines > 0 && at < text.size(); --lines) at = std::min(text.find(last, at), text.size() - 1) + 1;
    return at;
  };
  const size_t begin = behindLines(0, edit.line - 1);
  const size_t end = behindLines(begin, edit.count);
  std::string result(text.substr(0, begin));
  if (!edit.text.empty()) {
    if (!result.empty() && result.back() != last) result += lineEnd;
    for (const char c : edit.text) c == '\n' ? result.append(lineEnd) : result.append(1, c);
    result += lineEnd;
  }
  return result.append(text.substr(end));
}

bool IsSerious(std::span<const Finding> findings) {
  return std::ranges::any_of(
      findings, [](const Finding& f) { return f.level == FindingLevel::A || f.level == FindingLevel::Error; });
}

std::string FindingsAsJson(std::span<const Finding> findings) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const Finding& f : findings) {
    Json one = {{"test", f.test},
                {"level", NameOf(f.level)},
                {"atoms", f.atoms},
                {"line", f.line > 0 ? Json(f.line) : Json()},
                {"value", NumberOrNull(f.value)},
                {"limit", NumberOrNull(f.limit)},
                {"text", f.text},
                {"repair", f.repair}};
    if (f.edit) one["edit"] = {{"line", f.edit->line}, {"count", f.edit->count}, {"text", f.edit->text}};
    list.push_back(std::move(one));
  }
  return Json{{"findings", std::move(list)}}.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string FindingsAsText(std::span<const Finding> findings) {
  std::string text;
  for (const Finding& f : findings) {
    AppendPrintf(text, "%-7s %-28s ", std::string(NameOf(f.level)).c_str(), f.test.c_str());
    if (f.line > 0) AppendPrintf(text, "line %d: ", f.line);
    text.append(f.text);
    if (!f.repair.empty()) text.append(" ").append(f.repair);
    text += '\n';
  }
  return text;
}

}  // namespace marvik
