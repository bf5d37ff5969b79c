#include "app/structure_text.h"

#include <algorithm>
#include <unordered_map>

#include "files/res/reader.h"
#include "language/line_source.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr char kNoStructure[] = "This text is no structure: it has no usable CELL.";

using AtomsByName = std::unordered_map<std::string, std::vector<AtomRecord*>>;

// Atoms of one name in the order of the list.
template <class NameOf>
AtomsByName ByName(const Document& document, NameOf nameOf) {
  AtomsByName atoms;
  for (AtomRecord* atom : Atoms(document.atoms)) atoms[nameOf(*atom)].push_back(atom);
  return atoms;
}

// Who is who: the atoms of `to` take serial numbers, and how they are shown, of those of the same name and residue.
void CarryAtoms(const Document& from, Document& to) {
  const auto old = ByName(from, [&](const AtomRecord& a) { return UpperCase(QualifiedName(from, a)); });
  std::unordered_map<std::string, size_t> used;
  std::unordered_map<uint32_t, AtomRecord*> now;
  for (AtomRecord* atom : Atoms(to.atoms)) {
    const std::string name = UpperCase(QualifiedName(to, *atom));
    const auto match = old.find(name);
    const size_t index = match == old.end() ? 0 : used[name]++;
    if (match == old.end() || index >= match->second.size()) continue;
    const AtomRecord& before = *match->second[index];
    atom->serial = before.serial;
    atom->Set(kHidden, before.Has(kHidden));
    atom->SetHybridization(before.Hybridization());
    atom->flags2 = static_cast<uint8_t>((atom->flags2 & ~(kLabelOff | kLabelPlaced)) |
                                        (before.flags2 & (kLabelOff | kLabelPlaced)));
    atom->labelOffsetX = before.labelOffsetX;
    atom->labelOffsetY = before.labelOffsetY;
    now[atom->serial] = atom;
  }
  const auto carry = [&now](const AtomArray& array, AtomArray& into) {
    for (const AtomRecord* atom : array)
      if (const auto at = now.find(atom->serial); at != now.end()) into.Append(at->second);
  };
  carry(from.atoms.selection, to.atoms.selection);
  carry(from.atoms.displaySubset, to.atoms.displaySubset);
  to.atoms.hiddenParts = from.atoms.hiddenParts;
}

// How bonds are drawn is in no file.
void CarryBonds(const Document& from, Document& to) {
  constexpr uint16_t kDrawn = 0xFFFE;
  std::unordered_map<uint32_t, AtomRecord*> now;
  for (AtomRecord* atom : Atoms(to.atoms)) now[atom->serial] = atom;
  for (const AtomRecord* atom : Atoms(from.atoms)) {
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord* before) {
      if (!(before->bits & kDrawn) && before->width == BondRecord().width) return;
      const auto a = now.find(atom->serial);
      const auto b = now.find(partner->serial);
      BondRecord* bond = a == now.end() || b == now.end() ? nullptr : to.atoms.FindBond(a->second, b->second);
      if (!bond) return;
      bond->bits = static_cast<uint16_t>((bond->bits & ~kDrawn) | (before->bits & kDrawn));
      bond->width = before->width;
    });
  }
}

}  // namespace

std::string TextOfStructure(const Workbench& bench) {
  RecordingMessages unheard;
  WriteOptions options;
  options.layout = bench.saveLayout;
  std::string text;
  ComposeInstructionText(bench.document, text, unheard, options);
  return text;
}

TextLines::TextLines(std::string text) : text_(std::move(text)) {
  const bool feeds = text_.find('\n') != std::string::npos;
  returnsOnly_ = !feeds && text_.find('\r') != std::string::npos;
  const char end = returnsOnly_ ? '\r' : '\n';
  starts_.push_back(0);
  for (size_t at = 0; (at = text_.find(end, at)) != std::string::npos;) starts_.push_back(++at);
}

std::string_view TextLines::EndOf(size_t line) const {
  if (line + 1 >= starts_.size()) return {};
  const size_t end = starts_[line + 1];
  const bool both = !returnsOnly_ && end - starts_[line] >= 2 && text_[end - 2] == '\r';
  return std::string_view(text_).substr(end - (both ? 2 : 1), both ? 2 : 1);
}

std::string_view TextLines::Line(size_t line) const {
  const size_t end = line + 1 < starts_.size() ? starts_[line + 1] : text_.size();
  return std::string_view(text_).substr(starts_[line], end - starts_[line] - EndOf(line).size());
}

size_t TextLines::LineAt(size_t offset) const {
  return static_cast<size_t>(std::ranges::upper_bound(starts_, offset) - starts_.begin()) - 1;
}

std::string TextLines::With(size_t first, size_t count, std::span<const std::string> lines) const {
  first = std::min(first, Count());
  const size_t behind = first + std::min(count, Count() - first);
  const std::string usual(Count() > 1 ? EndOf(0) : std::string_view("\n"));
  std::string result = text_.substr(0, first < Count() ? starts_[first] : text_.size());
  const bool toEnd = behind == Count();
  // The last line has no end: the one before it takes its place when it goes, and needs one when something follows.
  if (toEnd && first == Count() && !lines.empty()) result += usual;
  if (toEnd && first < Count() && first > 0 && lines.empty()) result.resize(result.size() - EndOf(first - 1).size());
  for (size_t i = 0; i < lines.size(); ++i) {
    result += lines[i];
    const bool last = i + 1 == lines.size();
    if (toEnd && last) break;
    const std::string_view own = first + i < behind ? EndOf(first + i) : std::string_view();
    result += own.empty() ? std::string_view(usual) : own;
  }
  return toEnd ? result : result.append(text_, starts_[behind]);
}

std::vector<AtomLines> FindAtomLines(const TextLines& text, const Document& document) {
  const auto atoms = ByName(document, [](const AtomRecord& a) { return UpperCase(a.name); });
  std::unordered_map<std::string, size_t> used;
  std::vector<AtomLines> result;
  LineSource source(text.Text());
  SourceLine line;
  std::vector<std::string_view> words;
  while (source.Next(line)) {
    if (line.head.keyword != InstructionKeyword::kAtomLine) continue;
    SplitWords(line.code, words);
    const auto named = words.size() < 5 ? atoms.end() : atoms.find(UpperCase(words.front()));
    if (named == atoms.end()) continue;
    const size_t index = used[named->first]++;
    if (index >= named->second.size()) continue;
    const auto start = static_cast<size_t>(line.raw.data() - text.Text().data());
    result.push_back({text.LineAt(start), text.LineAt(start + std::max<size_t>(line.raw.size(), 1) - 1),
                      named->second[index]->serial});
  }
  return result;
}

std::string ReplaceByText(Workbench& bench, std::string text) {
  RecordingMessages unheard;  // what is wrong with single lines, the findings say
  // A copy, so that the numbers of new atoms go on behind those of the old ones.
  Document next = bench.document;
  const Document before = bench.document;
  if (!ReadInstructionText(next, std::move(text), unheard)) return kNoStructure;
  next.CurrentFile = before.CurrentFile;
  next.WorkingDirectory = before.WorkingDirectory;
  next.stamp = before.stamp;
  CarryAtoms(before, next);
  bench.document = next;
  bench.RefreshAfterStructureChange(false);
  CarryBonds(before, bench.document);
  return {};
}

std::string FaultOfText(std::string text) {
  Document document;
  RecordingMessages unheard;
  return ReadInstructionText(document, std::move(text), unheard) ? std::string() : kNoStructure;
}

std::string EditLinesArgument(size_t first, size_t count, std::span<const std::string> lines) {
  std::string argument = std::to_string(first + 1) + " " + std::to_string(count);
  for (const std::string& line : lines) argument.append("\n").append(line);
  return argument;
}

}  // namespace marvik
