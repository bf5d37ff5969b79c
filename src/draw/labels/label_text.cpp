#include "draw/labels/label_text.h"

#include <utility>

#include "base/words.h"

namespace marvik {
namespace {

void Replace(std::string& text, char what, std::string_view by) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, 1, by);
}

}  // namespace

std::string RomanNumeral(int number) {
  static constexpr std::pair<int, std::string_view> kSigns[] = {
      {1000, "m"}, {900, "cm"}, {500, "d"}, {400, "cd"}, {100, "c"}, {90, "xc"}, {50, "l"},
      {40, "xl"},  {10, "x"},   {9, "ix"},  {5, "v"},    {4, "iv"},  {1, "i"}};
  std::string text;
  if (number < 1 || number >= 4000) return text;
  for (const auto& [value, sign] : kSigns) {
    for (; number >= value; number -= value) text += sign;
  }
  return text;
}

LabelText TypesetLabel(std::string_view name, std::string_view symbol, LabelForm form, int mate) {
  LabelText label{std::string(name), {}};
  std::string& text = label.text;
  if (symbol.size() == 2 && LowerCase(name.substr(0, 2)) == LowerCase(symbol)) text.replace(0, 2, symbol);
  const size_t digit = text.find_first_of("0123456789");
  if (digit != 0 && digit != std::string::npos) {
    if (form == LabelForm::Lowered) label.shift.lowered = digit;
    if (form == LabelForm::Parentheses) text.insert(digit, "(").append(")");
  }
  Replace(text, '\'', "\u2032");
  Replace(text, '"', "\u2033");
  if (const std::string numeral = RomanNumeral(mate); !numeral.empty()) {
    label.shift.raised = text.size();
    text += numeral;
  }
  return label;
}

}  // namespace marvik
