#include "files/res/instruction_forms.h"

#include <algorithm>

#include "base/numbers.h"
#include "language/composed_line.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

// What the file said about an entry, null for one that was made since.
const SfacForm* FormOf(const Document& document, size_t index) {
  const Instructions& in = document.instructions;
  if (index >= in.sfacForms.size()) return nullptr;
  const SfacForm& form = in.sfacForms[index];
  return ElementTable::ElementFromLabel(form.label) == in.sfac[index] ? &form : nullptr;
}

bool IsLongForm(const Document& document, size_t index) {
  const SfacForm* form = FormOf(document, index);
  return form ? form->longForm : document.elements[document.instructions.sfac[index]].sfacCoefficients[0] != 0.0;
}

std::string ComposeLatt(const Document& document) {
  return "LATT " + std::to_string(document.latticeCode) + " ";
}

std::string ComposeSfac(const Document& document) {
  const SfacOrder order = OrderOfSfac(document);
  if (order.shortForms.empty()) return "";
  ComposedLine line("SFAC ");
  for (const size_t i : order.shortForms) line.Add(SfacLabel(document, i) + " ");
  return line.Text();
}

// One after the other, each coefficient with the stated decimals unless that would change it.
std::string ComposeLongSfac(const Document& document) {
  const SfacOrder order = OrderOfSfac(document);
  std::string text;
  for (const size_t i : order.longForms) {
    const ElementInfo& row = document.elements[document.instructions.sfac[i]];
    text += (text.empty() ? "SFAC " : "\nSFAC ") + SfacLabel(document, i) + " ";
    const auto add = [&](double value, int width, int decimals) {
      AppendFixedExact(text, value, width, decimals);
      text += ' ';
    };
    for (size_t k = 0; k < 8; ++k) add(row.sfacCoefficients[k], 7, 4);
    text += " =\n       ";
    for (size_t k = 8; k < 12; ++k) add(row.sfacCoefficients[k], 7, 4);
    add(row.bondRadius, 5, 3);
    add(row.atomicWeight, 8, 5);
  }
  return text;
}

std::string UnitText(const std::string& text) {
  double value = 0.0;
  if (!ParseWholeNumber(text, value)) return text;
  return value == RoundHalfAway(value) ? std::to_string(RoundHalfAway(value)) : text;
}

std::string ComposeUnit(const Document& document) {
  const Instructions& in = document.instructions;
  if (in.unit.empty()) return "";
  ComposedLine line("UNIT ");
  const auto add = [&](size_t i) { line.Add(UnitText(in.unit[i]) + " "); };
  if (in.unit.size() == in.sfac.size()) {
    const SfacOrder order = OrderOfSfac(document);
    std::for_each(order.shortForms.begin(), order.shortForms.end(), add);
    std::for_each(order.longForms.begin(), order.longForms.end(), add);
  } else {
    for (size_t i = 0; i < in.unit.size(); ++i) add(i);
  }
  return line.Text();
}

std::string ComposeMerg(const Document& document) {
  return document.instructions.hasMerg ? "MERG " + std::to_string(document.instructions.merg) : "";
}

std::string ComposeOmit(const Document& document) {
  const RefinementSettings& set = document.settings;
  if (!set.OmitOn) return "";
  std::string text = "OMIT ";
  AppendFixed(text, set.OmitSigmas, 6, 2);
  text += ' ';
  if (set.OmitTwoTheta > 1.0) AppendFixed(text, set.OmitTwoTheta, 6, 2);
  return text;
}

std::string ComposeRefinement(const Document& document) {
  const RefinementSettings& set = document.settings;
  return set.RefinementType.empty() ? "" : set.RefinementType + " " + std::to_string(set.Cycles);
}

std::string ComposeExti(const Document& document) {
  if (!document.settings.ExtinctionOn) return "";
  std::string text = "EXTI ";
  AppendFixed(text, document.settings.Extinction, 8, 5);
  return text;
}

std::string ComposeAnis(const Document& document) {
  return document.settings.Aniso ? "ANIS" : "";
}

std::string ComposeActa(const Document& document) {
  return document.settings.Acta ? "ACTA" : "";
}

std::string ComposeFmap(const Document& document) {
  return "FMAP " + std::to_string(document.settings.FourierCode);
}

std::string ComposePlan(const Document& document) {
  return "PLAN " + std::to_string(document.settings.PlanPeaks);
}

std::string ComposeList(const Document& document) {
  return document.settings.ListLine;
}

std::string ComposeWght(const Document& document) {
  const RefinementSettings& set = document.settings;
  const int count = set.Weights[5] != 0.0 ? 6 : std::clamp(set.WeightCount, 0, 5);
  if (count == 0) return "";
  std::string text = "WGHT ";
  for (int i = 0; i < count; ++i) {
    const double weight = set.Weights[static_cast<size_t>(i)];
    if (IsMissing(weight)) continue;
    AppendFixed(text, weight, 9, 6);
    text += ' ';
  }
  return text;
}

constexpr std::array<InstructionForm, kInstructionForms> kForms{{
    {"LATT", ComposeLatt},
    {"SFAC", ComposeSfac},
    {"SFAC long", ComposeLongSfac},
    {"UNIT", ComposeUnit},
    {"MERG", ComposeMerg},
    {"OMIT", ComposeOmit},
    {"L.S.", ComposeRefinement},
    {"EXTI", ComposeExti},
    {"ANIS", ComposeAnis},
    {"ACTA", ComposeActa},
    {"FMAP", ComposeFmap},
    {"PLAN", ComposePlan},
    {"LIST", ComposeList},
    {"WGHT", ComposeWght},
}};

}  // namespace

std::string SfacLabel(const Document& document, size_t index) {
  const int row = document.instructions.sfac[index];
  const std::string symbol(row == kUnknownRow ? std::string_view() : document.elements[row].Symbol());
  const SfacForm* form = FormOf(document, index);
  return form && UpperCase(form->label) != UpperCase(symbol) ? form->label : symbol;
}

SfacOrder OrderOfSfac(const Document& document) {
  const std::vector<int>& sfac = document.instructions.sfac;
  SfacOrder order;
  order.number.resize(sfac.size());
  for (size_t i = 0; i < sfac.size(); ++i) {
    if (SfacLabel(document, i).empty()) continue;
    (IsLongForm(document, i) ? order.longForms : order.shortForms).push_back(i);
  }
  int number = 0;
  for (const auto* forms : {&order.shortForms, &order.longForms})
    for (const size_t i : *forms) {
      order.number[i] = ++number;
      int& first = order.rowNumber[static_cast<size_t>(sfac[i])];
      if (first == 0) first = number;
    }
  return order;
}

const std::array<InstructionForm, kInstructionForms>& InstructionForms() {
  return kForms;
}

std::string WrittenInstruction(const Document& document, std::string_view key) {
  const auto form = std::find_if(kForms.begin(), kForms.end(), [&](const InstructionForm& f) { return f.key == key; });
  if (form == kForms.end()) return "";
  std::string composed = form->compose(document);
  const auto& forms = document.instructions.forms;
  const auto kept = forms.find(std::string(key));
  return kept != forms.end() && kept->second.composed == composed ? kept->second.text : composed;
}

bool SameWords(std::string_view a, std::string_view b) {
  std::vector<std::string_view> first;
  std::vector<std::string_view> second;
  SplitWords(a, first);
  SplitWords(b, second);
  std::erase(first, "=");
  std::erase(second, "=");
  const auto same = [](std::string_view x, std::string_view y) {
    double v = 0.0;
    double w = 0.0;
    if (ParseWholeNumber(x, v) && ParseWholeNumber(y, w)) return v == w;
    return UpperCase(x) == UpperCase(y);
  };
  return std::equal(first.begin(), first.end(), second.begin(), second.end(), same);
}

}  // namespace marvik
