#include <array>
#include <charconv>

#include "base/numbers.h"
#include "files/res/write_state.h"
#include "language/composed_line.h"
#include "language/line_source.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

constexpr char kGrownRemark[] = "\nREM Marvik GPWARNING : The following atoms were created either by GROW or PACK.\n\n";

bool IsGrown(const AtomRecord& atom) {
  return atom.generated != 0 || atom.Has(kFromGrownSection);
}

bool GoesBehindEnd(const AtomRecord& atom) {
  return atom.afterEnd && atom.IsPeak();
}

// As "%g" writes it, with more digits where six would change it.
std::string OccupancyText(float occupancy) {
  const std::string text = Printf("%g", static_cast<double>(occupancy));
  double written = 0.0;
  if (ParseWholeNumber(text, written) && static_cast<float>(written) == occupancy) return text;
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, occupancy);
  return {buffer, result.ptr};
}

// x y z, occupancy, displacement values: what stands in the file.
std::array<double, 10> ValuesOf(const AtomRecord& atom) {
  constexpr double kSmallestCodedOccupancy = 10.0;
  std::array<double, 10> values{atom.fract.x, atom.fract.y, atom.fract.z, atom.occupancy};
  for (size_t i = 0; i < 6; ++i) values[kCodedU + i] = atom.u[i];
  for (size_t i = 0; i < values.size(); ++i) {
    if (atom.codedValues[i] == 0.0) continue;
    if (i != kCodedOccupancy || atom.occupancy >= kSmallestCodedOccupancy) values[i] = atom.codedValues[i];
  }
  return values;
}

}  // namespace

// The number of the file while it still names the atom's element, else that of the element's first entry. One that
// never named an entry is left to whoever wrote it.
int WriteState::SfacNumber(const AtomRecord& atom) const {
  if (atom.IsPeak()) return 1;
  const std::vector<int>& sfac = document_.instructions.sfac;
  const int row = atom.element->atomicNumber;
  const size_t read = static_cast<size_t>(std::abs(atom.sfacNumber));
  const int sign = atom.sfacNumber < 0 ? -1 : 1;
  if (read > 0 && read <= sfac.size() && sfac[read - 1] == row) return sign * sfac_.number[read - 1];
  if (const int number = sfac_.rowNumber[static_cast<size_t>(row)]; number > 0) return sign * number;
  if (read > sfac.size()) return atom.sfacNumber;
  return row == kUnknownRow ? 1 : 0;
}

bool WriteState::IsLeftToHfix(const AtomRecord& atom) const {
  return (atom.flags2 & kProgramHydrogen) && atom.parent && hfixCarriers_.contains(atom.parent);
}

void WriteState::LinesBefore(std::string_view lines) {
  out_ += lines;
  LineSource source(lines);
  SourceLine line;
  std::vector<std::string_view> words;
  while (source.Next(line)) {
    SplitWords(line.head.arguments, words);
    double value = 0.0;
    const bool isNumber = !words.empty() && ParseWholeNumber(words[0], value);
    switch (line.head.keyword) {
      case InstructionKeyword::kAfix:
        if (!isNumber) break;
        afix_ = RoundHalfAway(value);
        anyAfixGroup_ = true;
        break;
      case InstructionKeyword::kMole:
        if (isNumber) mole_ = RoundHalfAway(value);
        break;
      case InstructionKeyword::kPart:
        if (!isNumber) break;
        part_ = RoundHalfAway(value);
        partHasOccupancy_ = words.size() > 1 && ParseWholeNumber(words[1], value);
        partOccupancy_ = partHasOccupancy_ ? static_cast<float>(value) : 0.0f;
        break;
      case InstructionKeyword::kResi: {
        const auto at = residueIndex_.find(ResidueKey(ParseResidue(line.head.arguments)));
        residue_ = at == residueIndex_.end() ? -1 : at->second;
        break;
      }
      default:
        break;
    }
  }
}

void WriteState::SameLine(const SameGroup& group) {
  if (group.names.empty()) {
    messages_.Show({MessageIcon::Warning, "Composition Error:", "A problem occured composing a SAME instruction."});
    return;
  }
  ComposedLine line("SAME");
  for (const std::string& parameter : group.parameters) line.Add(std::string(" ").append(parameter));
  for (const std::string& name : group.names) line.Add(std::string(" ").append(name));
  Line(line.Text());
}

void WriteState::StateOf(const AtomRecord& atom) {
  if (atom.residue != residue_) Line(ResidueLine(document_, residue_ = atom.residue));
  const bool hasOccupancy = atom.partHasOccupancy != 0;
  if (atom.part != part_ || hasOccupancy != partHasOccupancy_ || atom.partOccupancy != partOccupancy_) {
    part_ = atom.part;
    partHasOccupancy_ = hasOccupancy;
    partOccupancy_ = atom.partOccupancy;
    AppendPrintf(out_, "PART %d", part_);
    if (hasOccupancy) out_.append("  ").append(OccupancyText(partOccupancy_));
    out_ += '\n';
  }
  const int afix = static_cast<int16_t>(atom.afix);
  if (afix != afix_ || (afix != 0 && atom.afixGroup != afixGroup_ && !anyAfixGroup_)) {
    const AtomExtras& extras = atom.Extras();
    AppendPrintf(out_, "AFIX %d", afix);
    if (!extras.afixWords.empty() && extras.afixWordsCode == afix) out_.append(" ").append(extras.afixWords);
    out_ += '\n';
    afix_ = afix;
  }
  afixGroup_ = atom.afixGroup;
  anyAfixGroup_ = false;
  if (atom.mole != mole_) AppendPrintf(out_, "MOLE %d\n", mole_ = atom.mole);
}

void WriteState::AtomLine(const AtomRecord& atom) {
  const size_t start = out_.size();
  const std::array<double, 10> values = ValuesOf(atom);
  out_ += atom.name;
  if (atom.name.size() < 5) out_.append(5 - atom.name.size(), ' ');
  out_.append("  ").append(std::to_string(SfacNumber(atom))).append("  ");
  for (size_t i = 0; i < 5; ++i) {
    if (i > 0) out_ += ' ';
    AppendFixed(out_, values[i], 9, 6);
  }
  if (atom.IsPeak() && !atom.IsAnisotropic()) {
    out_ += ' ';
    AppendFixed(out_, atom.peakHeight, 9, 2);
  }
  size_t lineStart = start;
  if (atom.IsAnisotropic()) {
    out_ += ' ';
    AppendFixed(out_, values[5], 9, 6);
    out_ += " = \n          ";
    if (out_.size() - 11 - start > kLongestLine) return LongAtomLine(atom, start);
    lineStart = out_.size() - 10;
    for (size_t i = 6; i < 10; ++i) {
      if (i > 6) out_ += ' ';
      AppendFixed(out_, values[i], 9, 6);
    }
  }
  const std::string& surplus = atom.Extras().surplusWords;
  if (!surplus.empty()) out_.append(" ").append(surplus);
  const bool isLong = out_.size() - lineStart > kLongestLine && !surplus.starts_with('!');
  if (isLong) return LongAtomLine(atom, start);
  out_ += '\n';
}

// The same broken where it has to be; a comment at its end stays in one piece.
void WriteState::LongAtomLine(const AtomRecord& atom, size_t start) {
  out_.resize(start);
  const std::array<double, 10> values = ValuesOf(atom);
  std::string head = atom.name;
  if (head.size() < 5) head.append(5 - head.size(), ' ');
  AppendPrintf(head, "  %d ", SfacNumber(atom));
  ComposedLine line(head, "         ");
  const auto add = [&line](double value, int decimals) {
    std::string piece = " ";
    AppendFixed(piece, value, 9, decimals);
    line.Add(piece);
  };
  for (size_t i = 0; i < 4u + atom.uCount; ++i) add(values[i], 6);
  if (atom.IsPeak() && !atom.IsAnisotropic()) add(atom.peakHeight, 2);
  const std::string& surplus = atom.Extras().surplusWords;
  const size_t comment = std::min(surplus.find('!'), surplus.size());
  std::vector<std::string_view> words;
  SplitWords(std::string_view(surplus).substr(0, comment), words);
  for (const std::string_view word : words) line.Add(std::string(" ").append(word));
  out_ += line.Text();
  if (comment < surplus.size()) out_.append(" ").append(surplus, comment);
  out_ += '\n';
}

void WriteState::Atom(const AtomRecord& atom) {
  const AtomExtras& extras = atom.Extras();
  if (extras.sameGroup) SameLine(*extras.sameGroup);
  if (!extras.linesBefore.empty()) LinesBefore(extras.linesBefore);
  StateOf(atom);
  AtomLine(atom);
}

void WriteState::FileAtoms() {
  for (const AtomRecord* atom : Atoms(document_.atoms)) {
    if (IsGrown(*atom) || GoesBehindEnd(*atom)) continue;
    if (IsLeftToHfix(*atom)) {
      // What stood before it acts from there all the same.
      LinesBefore(atom->Extras().linesBefore);
      continue;
    }
    Atom(*atom);
  }
  LinesBefore(document_.atoms.trailingLines);
  if (afix_ != 0) out_ += "AFIX 0\n";
  if (part_ != 0) out_ += "PART 0\n";
  if (residue_ >= 0) out_ += "RESI 0\n";
  part_ = afix_ = mole_ = afixGroup_ = 0;
  partHasOccupancy_ = anyAfixGroup_ = false;
  partOccupancy_ = 0.0f;
  residue_ = -1;
}

void WriteState::PeaksBehindEnd() {
  for (const AtomRecord* atom : Atoms(document_.atoms))
    if (GoesBehindEnd(*atom) && !IsGrown(*atom)) Atom(*atom);
}

void WriteState::GrownSection() {
  bool isFirst = true;
  for (const AtomRecord* atom : Atoms(document_.atoms)) {
    if (!IsGrown(*atom)) continue;
    // One that was read keeps its line: nothing tells whom it rode on.
    if (atom->generated && atom->IsHydrogen() && !atom->parent) continue;
    if (isFirst) out_ += kGrownRemark;
    isFirst = false;
    Atom(*atom);
  }
  if (!isFirst) out_ += "PART 0\nAFIX 0\nMOLE 0\n\nEND  \n";
}

}  // namespace marvik
