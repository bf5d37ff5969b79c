#include <algorithm>
#include <array>
#include <limits>

#include "base/numbers.h"
#include "files/res/read_state.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr size_t kLongestSymmText = 500;

bool IsNumber(std::string_view word) {
  double value = 0.0;
  return ParseWholeNumber(word, value);
}

float SinglePrecision(double v) {
  constexpr double kLimit = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(v, -kLimit, kLimit));
}

void Acta(ReadState& s) {
  s.document.settings.Acta = true;
  s.Remember("ACTA");
}

// In the header ANIS is for the atoms that follow, which are all; among the atoms it acts from where it stands.
void Anis(ReadState& s) {
  const bool naming = !s.words.empty() && !IsNumber(s.words[0]);
  if (s.sawAtoms || s.document.settings.Aniso || naming) return s.KeepLine();
  s.document.settings.Aniso = true;
  s.Remember("ANIS");
}

// A text of which there is one: a later line replaces it.
void ReplaceText(ReadState& s, const char* key, std::string& text) {
  text = s.Kept();
  s.Remember(key);
}

// Two plain names may be a pair of atoms, which only the whole file tells. BIND of PART numbers, lists and symmetry
// equivalents are kept.
void BindOrFree(ReadState& s) {
  const auto plain = [](std::string_view word) {
    return !IsNumber(word) && word.find_first_of("$<>*") == std::string_view::npos;
  };
  if (s.words.size() != 2 || !plain(s.words[0]) || !plain(s.words[1])) return s.KeepLine();
  s.pairLines.push_back({s.line.head.keyword == InstructionKeyword::kBind,
                         {std::string(s.words[0]), std::string(s.words[1])},
                         s.residue,
                         s.Kept(),
                         std::string(s.line.comment),
                         s.LineNumber()});
}

// Several BOND lines add up; the dialog edits the first.
void Bond(ReadState& s) {
  std::string& text = s.document.settings.BondLine;
  if (!text.empty()) return s.Keep(KeptPlace::Body);
  text = s.Kept();
  s.Remember("BOND");
}

// Wavelength and six values. Six alone are a cell where they can be no wavelength with a value missing at the end.
void Cell(ReadState& s) {
  constexpr double kShortestEdge = 2.4;
  constexpr double kSmallestAngle = 30.0;
  std::array<double, 7> v{};
  size_t n = 0;
  while (n < v.size() && n < s.words.size() && IsNumber(s.words[n])) {
    v[n] = s.Number(n);
    ++n;
  }
  if (n == 6)
    n = std::min({v[0], v[1], v[2]}) >= kShortestEdge && std::min({v[3], v[4], v[5]}) >= kSmallestAngle ? 6 : 0;
  if (n < 6) return s.Drop(s.Kept());
  ReplaceText(s, "CELL", s.document.instructions.cellLine);
  const size_t i = n - 6;
  s.document.cell = {v[i], v[i + 1], v[i + 2], v[i + 3], v[i + 4], v[i + 5]};
  s.sawCell = true;
}

void End(ReadState& s) {
  if (!s.line.comment.empty()) s.Drop(s.Kept());
  s.SetRole(LineRole::End);
  s.FlushPending();
  s.afterEnd = true;
  s.part = s.afix = s.mole = 0;
  s.partOccupancy.reset();
  s.afixWords.clear();
  s.residue = -1;
}

void Exti(ReadState& s) {
  const double value = s.Number(0);
  s.document.settings.ExtinctionOn = true;
  s.document.settings.Extinction = value > 0.0 ? value : 0.0;
  s.Remember("EXTI");
}

void Fmap(ReadState& s) {
  s.document.settings.FourierCode = s.Integer(0);
  s.Remember("FMAP");
}

// The first line begins with the overall scale factor; every other value of it and of later lines is a free variable.
void Fvar(ReadState& s) {
  Instructions& in = s.document.instructions;
  bool plain = s.line.comment.empty() && s.line.lost.empty();
  for (size_t i = 0; i < s.words.size(); ++i) {
    const double value = s.Number(i);
    plain = plain && IsNumber(s.words[i]);
    if (IsMissing(value)) continue;
    if (!s.sawFvar) {
      in.scaleFactor = value;
      s.sawFvar = true;
    } else {
      in.freeVariables.push_back(SinglePrecision(value));
    }
  }
  s.sawFvar = true;
  s.Remember("FVAR", true);
  if (!plain) s.Drop(s.Kept());
}

void Hfix(ReadState& s) {
  if (s.residue >= 0 && s.line.head.residue.empty()) return s.KeepLine();
  s.SetRole(LineRole::Kept);
  s.document.atoms.hfix.push_back({nullptr, s.Kept(), s.LineNumber()});
}

void Hklf(ReadState& s) {
  ReplaceText(s, "HKLF", s.document.instructions.hklfLine);
  s.afterHklf = true;
}

void Latt(ReadState& s) {
  s.document.latticeCode = IsMissing(s.Number(0)) ? 1 : s.Integer(0);
  s.Remember("LATT");
}

void List(ReadState& s) {
  s.document.settings.ListLine = "LIST " + std::to_string(s.Integer(0));
  s.Remember("LIST");
}

void LeastSquares(ReadState& s) {
  s.document.settings.RefinementType = SpellingOf(s.line.head.keyword);
  s.document.settings.Cycles = s.Integer(0);
  s.Remember("L.S.");
}

void Merg(ReadState& s) {
  s.document.instructions.hasMerg = true;
  s.document.instructions.merg = s.Integer(0);
  s.Remember("MERG");
}

// The one that inverts the structure is a setting where it acts on all atoms.
void Move(ReadState& s) {
  constexpr std::array<double, 4> kInverting{1.0, 1.0, 1.0, -1.0};
  bool inverting = s.words.size() == 4 && s.line.comment.empty() && !s.sawAtoms && !s.document.settings.Invert;
  for (size_t i = 0; inverting && i < 4; ++i) inverting = s.Number(i) == kInverting[i];
  if (!inverting) return s.KeepLine();
  s.document.settings.Invert = true;
  s.Remember("MOVE");
}

// One reflection (three numbers), the limits (one or two), or atoms left out of a map.
void Omit(ReadState& s) {
  const size_t n = s.words.size();
  if (n == 0 || n > 3 || !std::all_of(s.words.begin(), s.words.end(), IsNumber)) return s.KeepLine();
  if (n == 3) return s.Keep(KeptPlace::Reflections);
  RefinementSettings& set = s.document.settings;
  set.OmitOn = true;
  set.OmitSigmas = s.Number(0);
  set.OmitTwoTheta = n > 1 ? s.Number(1) : 0.0;
  s.Remember("OMIT");
}

void Plan(ReadState& s) {
  s.document.settings.PlanPeaks = s.Integer(0);
  s.Remember("PLAN");
}

// A save marks the atoms that GROW and PACK made with a remark of its own.
void Rem(ReadState& s) {
  if (s.words.size() < 2 || !s.words[0].starts_with("Marvik") || !s.words[1].starts_with("GPWARNING")) {
    return s.Drop(s.Kept());
  }
  const bool show = s.messages.AskYesNo({MessageIcon::Question, "Display GROWN/PACKED Structure?",
                                         "Some of the atoms in this file have been generated\n"
                                         "with either the GROW or PACK instructions,do you\n"
                                         "wish to display these atoms?\n\n"
                                         "(Note: If the FMOL after significant structure changes\n"
                                         "option in the edit menu is set, saved packed structures\n"
                                         "will not display properly.)"},
                                        Unattended::Yes);
  s.inGrownSection = s.afterEnd;
  s.SetRole(LineRole::Grown);
  if (show) return;
  s.stopped = true;
  while (s.NextLine()) s.Drop(s.Kept());
}

void Sfac(ReadState& s) {
  s.sawSfac = true;
  Instructions& in = s.document.instructions;
  const auto add = [&](std::string_view label, bool longForm) -> SfacForm& {
    in.sfac.push_back(ElementTable::ElementFromLabel(label));
    in.sfacForms.push_back({std::string(label), longForm, {}, 0.0, 0.0, s.LineNumber()});
    return in.sfacForms.back();
  };
  // Neutron data begin with 0, so any number makes the long form.
  const bool isLong = s.words.size() > 1 && IsNumber(s.words[1]);
  const size_t labels = isLong ? 1 : s.words.size();
  const auto isLabel = [](std::string_view word) {
    const char c = static_cast<char>(word[0] & ~0x20);
    return (c >= 'A' && c <= 'Z') || word[0] == '$';
  };
  if (!std::all_of(s.words.begin(), s.words.begin() + static_cast<std::ptrdiff_t>(labels), isLabel)) {
    return s.Keep(KeptPlace::AfterSfac);
  }
  s.Remember("SFAC " + std::to_string(in.sfac.size()));
  if (isLong && s.words.size() > 15) s.Drop(s.Kept());
  if (!isLong) {
    for (const std::string_view label : s.words) add(label, false);
    return;
  }
  SfacForm& form = add(s.words[0], true);
  for (size_t i = 0; i < 12; ++i)
    if (const double v = s.Number(i + 1); v > -1.0e9) form.coefficients[i] = v;
  // Radius and weight are those of the element for the whole program.
  ElementInfo& element = s.document.elements[in.sfac.back()];
  if (const double radius = s.Number(13); radius > 0.0) form.radius = element.bondRadius = radius;
  if (const double weight = s.Number(14); weight > 0.0) form.weight = element.atomicWeight = weight;
}

void Symm(ReadState& s) {
  if (s.line.code.size() > kLongestSymmText) return s.KeepLine();
  s.symmLines.push_back({s.Kept(), std::string(s.line.code), s.LineNumber()});
}

void Temp(ReadState& s) {
  ReplaceText(s, "TEMP", s.document.instructions.tempLine);
}

// A second title is an instruction like any other to those who want to keep it.
void Titl(ReadState& s) {
  std::string& title = s.document.instructions.title;
  if (!title.empty()) return s.Keep(KeptPlace::Body);
  s.Remember("TITL");
  std::string_view text = s.line.raw.substr(std::min<size_t>(4, s.line.raw.size()));
  if (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1);
  title = text;
}

void Unit(ReadState& s) {
  s.sawUnit = true;
  s.document.instructions.unit.assign(s.words.begin(), s.words.end());
  s.Remember("UNIT");
}

// Five parameters are what the dialog knows; a sixth goes along.
int ReadWeights(const ReadState& s, std::array<double, 6>& weights) {
  weights = {};
  size_t n = 0;
  while (n < 6 && n < s.words.size() && IsNumber(s.words[n])) {
    weights[n] = s.Number(n);
    ++n;
  }
  return static_cast<int>(std::min<size_t>(n, 5));
}

void Wght(ReadState& s) {
  RefinementSettings& set = s.document.settings;
  if (s.words.empty() || !IsNumber(s.words[0])) return s.KeepLine();
  if (s.afterEnd) {
    set.SuggestedWeightCount = ReadWeights(s, set.SuggestedWeights);
    return s.KeepLine();
  }
  set.WeightCount = ReadWeights(s, set.Weights);
  s.Remember("WGHT");
}

void Zerr(ReadState& s) {
  ReplaceText(s, "ZERR", s.document.instructions.zerrLine);
}

struct HandlerEntry {
  InstructionKeyword keyword;
  InstructionHandler handler;
};

constexpr auto kHandlers = [] {
  using enum InstructionKeyword;
  std::array<InstructionHandler, kAllKeywords> table{};
  constexpr HandlerEntry kEntries[] = {
      {kActa, Acta},         {kAfix, HandleAfix},
      {kAnis, Anis},         {kBind, BindOrFree},
      {kBond, Bond},         {kCell, Cell},
      {kCgls, LeastSquares}, {kEnd, End},
      {kExti, Exti},         {kFmap, Fmap},
      {kFree, BindOrFree},   {kFvar, Fvar},
      {kHfix, Hfix},         {kHklf, Hklf},
      {kLatt, Latt},         {kList, List},
      {kLs, LeastSquares},   {kMerg, Merg},
      {kMole, HandleMole},   {kMove, Move},
      {kOmit, Omit},         {kPart, HandlePart},
      {kPlan, Plan},         {kRem, Rem},
      {kResi, HandleResi},   {kSame, HandleSame},
      {kSfac, Sfac},         {kSymm, Symm},
      {kTemp, Temp},         {kTitl, Titl},
      {kUnit, Unit},         {kWght, Wght},
      {kZerr, Zerr},         {kAtomLine, HandleAtomLine},
  };
  for (const HandlerEntry& entry : kEntries) table[static_cast<size_t>(entry.keyword)] = entry.handler;
  return table;
}();

}  // namespace

InstructionHandler HandlerOf(InstructionKeyword keyword) {
  return kHandlers[static_cast<size_t>(keyword)];
}

}  // namespace marvik
