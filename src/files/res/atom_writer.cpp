#include "files/res/atom_writer.h"

#include <bit>
#include <charconv>
#include <cstdlib>

#include "base/numbers.h"
#include "files/res/header_pieces.h"
#include "language/composed_line.h"
#include "language/residues.h"
#include "language/scatterers.h"
#include "language/tokenizer.h"

namespace marvik {

namespace {

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

void AtomState::Set(const LayoutState& state) {
  switch (state.kind) {
    case LayoutState::Part:
      part = state.value;
      hasOccupancy = state.hasOccupancy;
      occupancy = state.occupancy;
      break;
    case LayoutState::Afix:
      afix = state.value;
      afixGroup = state.group;
      break;
    case LayoutState::Mole:
      mole = state.value;
      break;
    default:
      residue = state.value;
  }
}

bool AtomState::Says(LayoutState::Kind kind, const AtomState& wanted) const {
  switch (kind) {
    case LayoutState::Part:
      return part == wanted.part && hasOccupancy == wanted.hasOccupancy && occupancy == wanted.occupancy;
    case LayoutState::Afix:
      return afix == wanted.afix && (afix == 0 || afixGroup == wanted.afixGroup);
    case LayoutState::Mole:
      return mole == wanted.mole;
    default:
      return residue == wanted.residue;
  }
}

AtomState StateOf(const AtomRecord& atom) {
  return {atom.part,          atom.partHasOccupancy != 0,
          atom.partOccupancy, static_cast<int16_t>(atom.afix),
          atom.afixGroup,     atom.mole,
          atom.residue};
}

bool IsGrownAtomOfFile(const AtomRecord& atom) {
  return atom.generated != 0 || atom.Has(kFromGrownSection);
}

bool GoesBehindEnd(const AtomRecord& atom) {
  return atom.afterEnd && atom.IsPeak();
}

AtomWriter::AtomWriter(const Document& document, FileLayout layout)
    : document_(document), sfacNumbers_(SfacNumbers(document, layout)) {
  for (const HfixEntry& entry : document.atoms.hfix)
    if (entry.carrier && !entry.text.empty()) hfixCarriers_.insert(entry.carrier);
}

// One that never named an entry is left to whoever wrote it.
int AtomWriter::SfacNumber(const AtomRecord& atom) const {
  if (atom.IsPeak()) return 1;
  const int sign = atom.sfacNumber < 0 ? -1 : 1;
  const int entry = SfacEntryOf(document_.instructions, atom);
  if (entry >= 0 && sfacNumbers_[static_cast<size_t>(entry)] > 0)
    return sign * sfacNumbers_[static_cast<size_t>(entry)];
  if (static_cast<size_t>(std::abs(atom.sfacNumber)) > sfacNumbers_.size()) return atom.sfacNumber;
  return atom.element->atomicNumber == kUnknownRow ? 1 : 0;
}

bool AtomWriter::IsLeftToHfix(const AtomRecord& atom) const {
  return (atom.flags2 & kProgramHydrogen) && atom.parent && hfixCarriers_.contains(atom.parent);
}

uint64_t AtomWriter::HashOf(const AtomRecord& atom) const {
  constexpr uint64_t kPrime = 0x9E3779B97F4A7C15u;
  uint64_t hash = atom.uCount + 16u * static_cast<uint64_t>(SfacNumber(atom) + 1000);
  const auto add = [&hash](uint64_t value) { hash = (std::rotl(hash, 29) ^ value) * kPrime; };
  const std::array<double, 10> values = ValuesOf(atom);
  for (size_t i = 0; i < 4u + atom.uCount; ++i) add(std::bit_cast<uint64_t>(values[i]));
  if (atom.IsPeak()) add(std::bit_cast<uint64_t>(atom.peakHeight));
  add(std::hash<std::string>()(atom.name));
  if (!atom.Extras().surplusWords.empty()) add(std::hash<std::string>()(atom.Extras().surplusWords));
  return hash;
}

void AtomWriter::State(LayoutState::Kind kind, const AtomRecord* atom, std::string& out) const {
  const AtomState state = atom ? StateOf(*atom) : AtomState{};
  switch (kind) {
    case LayoutState::Part:
      AppendPrintf(out, "PART %d", state.part);
      if (state.hasOccupancy) out.append("  ").append(OccupancyText(state.occupancy));
      break;
    case LayoutState::Afix:
      AppendPrintf(out, "AFIX %d", state.afix);
      if (atom && !atom->Extras().afixWords.empty() && atom->Extras().afixWordsCode == state.afix)
        out.append(" ").append(atom->Extras().afixWords);
      break;
    case LayoutState::Mole:
      AppendPrintf(out, "MOLE %d", state.mole);
      break;
    default:
      out += ResidueLine(document_, state.residue);
  }
  out += '\n';
}

void AtomWriter::Line(const AtomRecord& atom, std::string& out) const {
  const size_t start = out.size();
  const std::array<double, 10> values = ValuesOf(atom);
  out += atom.name;
  if (atom.name.size() < 5) out.append(5 - atom.name.size(), ' ');
  out.append("  ").append(std::to_string(SfacNumber(atom))).append("  ");
  for (size_t i = 0; i < 5; ++i) {
    if (i > 0) out += ' ';
    AppendFixed(out, values[i], 9, 6);
  }
  if (atom.IsPeak() && !atom.IsAnisotropic()) {
    out += ' ';
    AppendFixed(out, atom.peakHeight, 9, 2);
  }
  size_t lineStart = start;
  if (atom.IsAnisotropic()) {
    out += ' ';
    AppendFixed(out, values[5], 9, 6);
    out += " = \n          ";
    if (out.size() - 11 - start > kLongestLine) return LongLine(atom, start, out);
    lineStart = out.size() - 10;
    for (size_t i = 6; i < 10; ++i) {
      if (i > 6) out += ' ';
      AppendFixed(out, values[i], 9, 6);
    }
  }
  const std::string& surplus = atom.Extras().surplusWords;
  if (!surplus.empty()) out.append(" ").append(surplus);
  const bool isLong = out.size() - lineStart > kLongestLine && !surplus.starts_with('!');
  if (isLong) return LongLine(atom, start, out);
  out += '\n';
}

// The same broken where it has to be; a comment at its end stays in one piece.
void AtomWriter::LongLine(const AtomRecord& atom, size_t start, std::string& out) const {
  out.resize(start);
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
  out += line.Text();
  if (comment < surplus.size()) out.append(" ").append(surplus, comment);
  out += '\n';
}

}  // namespace marvik
