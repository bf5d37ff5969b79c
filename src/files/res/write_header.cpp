#include <algorithm>

#include "files/res/write_state.h"
#include "language/composed_line.h"
#include "language/residues.h"

namespace marvik {

WriteState::WriteState(Document& source, std::string& text, UserMessages& userMessages)
    : document_(source), out_(text), messages_(userMessages), sfac_(OrderOfSfac(source)) {
  for (const HfixEntry& entry : source.atoms.hfix)
    if (entry.carrier && !entry.text.empty()) hfixCarriers_.insert(entry.carrier);
  for (size_t i = 0; i < source.residues.size(); ++i)
    residueIndex_.try_emplace(ResidueKey(source.residues[i]), static_cast<int>(i));
}

void WriteState::Line(std::string_view line) {
  if (line.empty()) return;
  out_.append(line).append("\n");
}

void WriteState::Kept(KeptPlace place) {
  const auto& kept = document_.instructions.kept;
  for (auto line = kept.rbegin(); line != kept.rend(); ++line)
    if (line->place == place) Line(line->text);
}

void WriteState::KeptBody() {
  Kept(KeptPlace::Front);
  for (const KeptLine& line : document_.instructions.kept)
    if (line.place == KeptPlace::Body || line.place == KeptPlace::Fragment) Line(line.text);
}

void WriteState::Header() {
  const Instructions& in = document_.instructions;
  const auto lines = [this](const std::vector<std::string>& all) {
    for (const std::string& line : all) Line(line);
  };
  const auto instruction = [this](const char* key) { Line(WrittenInstruction(document_, key)); };
  out_ += "TITL " + in.title + "\n";
  Kept(KeptPlace::UnderTitle);
  Line(in.cellLine);
  Line(in.zerrLine);
  instruction("LATT");
  for (const SymmetryOperator& op : document_.symmetry)
    if (op.originFlag == kSymmLineOperator) Line(op.name.View());
  Kept(KeptPlace::BeforeSfac);
  instruction("SFAC");
  instruction("SFAC long");
  Kept(KeptPlace::AfterSfac);
  instruction("UNIT");
  instruction("MERG");
  lines(in.omitLines);
  for (const char* key : {"OMIT", "L.S.", "EXTI", "ANIS", "ACTA"}) instruction(key);
  if (document_.settings.Invert) Line("MOVE 1 1 1 -1");
  Line(document_.settings.BondLine);
  for (const char* key : {"FMAP", "PLAN", "LIST"}) instruction(key);
  KeptBody();
  Pairs();
  instruction("WGHT");
  lines(in.basfLines);
  FreeVariables();
  Line(in.tempLine);
  for (const HfixEntry& entry : document_.atoms.hfix) Line(entry.text);
}

void WriteState::Pairs() {
  const auto write = [this](const char* keyword, const PairList& list) {
    for (const auto& [a, b] : list.pairs)
      out_ += std::string(keyword) + " " + QualifiedName(document_, *a) + " " + QualifiedName(document_, *b) + "\n";
  };
  write("BIND", document_.atoms.bindPairs);
  write("FREE", document_.atoms.freePairs);
}

// Six numbers a line, the scale factor being the first.
void WriteState::FreeVariables() {
  constexpr double kSmallestScale = 0.03;
  constexpr size_t kPerLine = 6;
  Instructions& in = document_.instructions;
  if (in.scaleFactor < kSmallestScale) in.scaleFactor = 1.0;
  out_ += "FVAR ";
  AppendFixed(out_, in.scaleFactor, 9, 6);
  for (size_t i = 0; i < in.freeVariables.size(); ++i) {
    if ((i + 1) % kPerLine == 0) out_ += " = \n    ";
    out_ += ' ';
    AppendFixed(out_, static_cast<double>(in.freeVariables[i]), 9, 6);
  }
  out_ += '\n';
}

}  // namespace marvik
