#include "files/res/header_pieces.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "language/composed_line.h"
#include "language/instruction.h"
#include "language/residues.h"
#include "language/scatterers.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

bool IsLongForm(const Document& document, size_t entry) {
  const auto& forms = document.instructions.sfacForms;
  return entry < forms.size() && forms[entry].longForm;
}

// The entries that are written, in the order of the layout.
std::vector<size_t> SfacOrder(const Document& document, FileLayout layout) {
  std::vector<size_t> order;
  for (size_t i = 0; i < document.instructions.sfac.size(); ++i) {
    if (!SfacLabel(document, i).empty()) order.push_back(i);
  }
  if (layout == FileLayout::Standard)
    std::stable_partition(order.begin(), order.end(), [&](size_t entry) { return !IsLongForm(document, entry); });
  return order;
}

std::string ComposeLatt(const Document& document) {
  return "LATT " + std::to_string(document.latticeCode) + " ";
}

// Each coefficient with the stated decimals unless that would change it.
std::string ComposeLongSfac(const Document& document, size_t entry) {
  const SfacForm& form = document.instructions.sfacForms[entry];
  const ElementInfo& row = document.elements[document.instructions.sfac[entry]];
  ComposedLine line("SFAC " + SfacLabel(document, entry) + " ", "       ");
  const auto add = [&](double value, int width, int decimals) {
    std::string piece;
    AppendFixedExact(piece, value, width, decimals);
    line.Add(piece + " ");
  };
  for (size_t k = 0; k < 8; ++k) add(form.coefficients[k], 7, 4);
  line.Add(" ");
  line.Break();
  for (size_t k = 8; k < 12; ++k) add(form.coefficients[k], 7, 4);
  add(form.radius > 0.0 ? form.radius : row.bondRadius, 5, 3);
  add(form.weight > 0.0 ? form.weight : row.atomicWeight, 8, 5);
  return line.Text();
}

// One piece for each long form, and for the short ones that follow each other: those of a line of the file, all in
// standard layout. New ones go on the last.
std::vector<HeaderPiece> ComposeSfac(const Document& document, FileLayout layout) {
  const auto& forms = document.instructions.sfacForms;
  const auto lineOf = [&](size_t entry) { return entry < forms.size() ? forms[entry].line : -1; };
  std::vector<HeaderPiece> pieces;
  const std::vector<size_t> order = SfacOrder(document, layout);
  for (size_t i = 0; i < order.size();) {
    const size_t first = order[i];
    pieces.push_back({"SFAC " + std::to_string(first), "", -1});
    if (IsLongForm(document, first)) {
      pieces.back().text = ComposeLongSfac(document, first);
      ++i;
      continue;
    }
    ComposedLine line("SFAC ");
    do {
      line.Add(SfacLabel(document, order[i++]) + " ");
    } while (i < order.size() && !IsLongForm(document, order[i]) &&
             (layout == FileLayout::Standard || lineOf(order[i]) < 0 || lineOf(order[i]) == lineOf(first)));
    pieces.back().text = line.Text();
  }
  return pieces;
}

std::string UnitText(const std::string& text) {
  double value = 0.0;
  if (!ParseWholeNumber(text, value)) return text;
  return value == RoundHalfAway(value) ? std::to_string(RoundHalfAway(value)) : text;
}

std::string ComposeUnit(const Document& document, FileLayout layout) {
  const Instructions& in = document.instructions;
  if (in.unit.empty()) return "";
  ComposedLine line("UNIT ");
  const auto add = [&](size_t i) { line.Add(UnitText(in.unit[i]) + " "); };
  if (in.unit.size() == in.sfac.size()) {
    std::ranges::for_each(SfacOrder(document, layout), add);
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

std::string ComposeMove(const Document& document) {
  return document.settings.Invert ? "MOVE 1 1 1 -1" : "";
}

// Six numbers a line, the scale factor being the first.
std::string ComposeFreeVariables(const Document& document) {
  constexpr size_t kPerLine = 6;
  constexpr double kSmallScale = 0.001;
  const Instructions& in = document.instructions;
  std::string text = "FVAR ";
  AppendFixed(text, in.scaleFactor, 9, std::fabs(in.scaleFactor) < kSmallScale ? 10 : 6);
  for (size_t i = 0; i < in.freeVariables.size(); ++i) {
    if ((i + 1) % kPerLine == 0) text += " = \n    ";
    text += ' ';
    AppendFixed(text, static_cast<double>(in.freeVariables[i]), 9, 6);
  }
  return text;
}

// Whether two texts have the same words but for continuation marks, numbers compared as such and letters in either
// case.
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

class HeaderComposer {
 public:
  HeaderComposer(const Document& document, FileLayout layout) : document_(document), layout_(layout) {}

  std::vector<HeaderPiece> Compose() {
    const Instructions& in = document_.instructions;
    Add("TITL", "TITL " + in.title);
    Kept(KeptPlace::UnderTitle);
    Add("CELL", in.cellLine);
    Add("ZERR", in.zerrLine);
    Add("LATT", ComposeLatt(document_));
    size_t operators = 0;
    for (const ListedOperator& op : document_.symmetry)
      if (op.originFlag == kSymmLineOperator) Add("SYMM " + std::to_string(operators++), op.name);
    Kept(KeptPlace::BeforeSfac);
    for (HeaderPiece& piece : ComposeSfac(document_, layout_)) Add(std::move(piece.key), std::move(piece.text));
    Kept(KeptPlace::AfterSfac);
    Add("UNIT", ComposeUnit(document_, layout_));
    Settings();
    Kept(KeptPlace::First);
    Body();
    Pairs(true, document_.atoms.bindPairs);
    Pairs(false, document_.atoms.freePairs);
    Add("WGHT", ComposeWght(document_));
    Kept(KeptPlace::Batches);
    Add("FVAR", ComposeFreeVariables(document_));
    Add("TEMP", in.tempLine);
    for (const HfixEntry& entry : document_.atoms.hfix) Add("", entry.text, entry.line);
    if (layout_ == FileLayout::AsRead) Add("HKLF", in.hklfLine);
    return std::move(pieces_);
  }

 private:
  // What the file said as long as the model still says the same.
  std::string Written(const std::string& key, std::string composed) const {
    // A pair's names are those of its residue only where its line stood.
    const bool isPair = key.starts_with("BIND") || key.starts_with("FREE");
    if (layout_ == FileLayout::AsRead || key.empty() || isPair) return composed;
    const LayoutPiece* piece = FindPiece(document_, key);
    if (!piece || piece->lines.size() != 1 || piece->composed != composed) return composed;
    std::string said = TextOf(*document_.instructions.source, piece->lines.front());
    return said.find('!') == std::string::npos && SameWords(said, composed) ? composed : said;
  }
  void Add(std::string key, std::string text, int32_t line = -1) {
    if (text.empty()) return;
    text = Written(key, std::move(text));
    pieces_.push_back({std::move(key), std::move(text), line});
  }
  void Kept(KeptPlace place) {
    for (const KeptLine& line : document_.instructions.kept)
      if (line.place == place) Add("", line.text, line.line);
  }
  void Body() {
    for (const KeptLine& line : document_.instructions.kept)
      if (line.place == KeptPlace::Body || line.place == KeptPlace::Fragment) Add("", line.text, line.line);
  }
  void Settings() {
    Add("MERG", ComposeMerg(document_));
    Kept(KeptPlace::Reflections);
    Add("OMIT", ComposeOmit(document_));
    Add("L.S.", ComposeRefinement(document_));
    Add("EXTI", ComposeExti(document_));
    Add("ANIS", ComposeAnis(document_));
    Add("ACTA", ComposeActa(document_));
    Add("MOVE", ComposeMove(document_));
    Add("BOND", document_.settings.BondLine);
    Add("FMAP", ComposeFmap(document_));
    Add("PLAN", ComposePlan(document_));
    Add("LIST", ComposeList(document_));
  }
  void Pairs(bool bind, const PairList& list) {
    int32_t made = -1;
    for (const auto& [a, b, line] : list.pairs) {
      Add(PairKey(bind, line >= 0 ? line : made--),
          std::string(bind ? "BIND " : "FREE ") + QualifiedName(document_, *a) + " " + QualifiedName(document_, *b));
    }
  }

  const Document& document_;
  FileLayout layout_;
  std::vector<HeaderPiece> pieces_;
};

}  // namespace

std::vector<HeaderPiece> ComposeHeader(const Document& document, FileLayout layout) {
  return HeaderComposer(document, layout).Compose();
}

std::string PairKey(bool bind, int32_t line) {
  return (bind ? "BIND " : "FREE ") + std::to_string(line);
}

std::vector<int> SfacNumbers(const Document& document, FileLayout layout) {
  std::vector<int> numbers(document.instructions.sfac.size());
  int number = 0;
  for (const size_t entry : SfacOrder(document, layout)) numbers[entry] = ++number;
  return numbers;
}

}  // namespace marvik
