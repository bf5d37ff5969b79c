#include "edit/edit_names.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

#include "base/numbers.h"
#include "language/atom_references.h"
#include "language/instruction.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr std::string_view kBetweenNames = " ,\t\r\n=<>";

struct NameWord {
  size_t start = 0;
  size_t length = 0;                     // of the bare name
  std::string name;                      // in upper case
  std::optional<ResidueNumber> residue;  // nothing for that where the line stands
};

// The names on one instruction line, which may be continued over several lines of text.
template <class Visit>
void ForEachName(std::string_view line, Visit visit) {
  const LineHead head = HeadOf(line);
  const KeywordRow& row = RowOf(head.keyword);
  if (!row.TakesNames()) return;
  const auto residue = head.residue.empty() ? std::nullopt : ParseResidueNumber(head.residue.substr(1));
  bool label = row.takes == Takes::LabelNames;
  size_t at = std::min(4 + head.residue.size(), line.size());
  while ((at = line.find_first_not_of(kBetweenNames, at)) != std::string_view::npos) {
    if (line[at] == '!') {
      at = line.find('\n', at);
      if (at == std::string_view::npos) return;
      continue;
    }
    const size_t end = std::min(line.find_first_of(" ,\t\r\n=<>!", at), line.size());
    const std::string_view word = line.substr(at, end - at);
    const AtomReference reference = ParseAtomReference(word);
    const size_t start = at;
    at = end;
    double number = 0.0;
    if (ParseWholeNumber(word, number) || std::exchange(label, false)) continue;
    const bool elsewhere =
        !reference.residue && word.find('_', 1) != std::string_view::npos && reference.equivalent.empty();
    // Neither do the names on a line for a class or for all residues mean one atom.
    if (elsewhere || (!reference.residue && !residue && !head.residue.empty())) continue;
    visit(NameWord{start, reference.name.size(), reference.name, reference.residue ? reference.residue : residue});
  }
}

// Each instruction of a text of several lines.
template <class Visit>
void ForEachLine(std::string_view text, Visit visit) {
  LineSource source(text);
  SourceLine line;
  while (source.Next(line)) visit(line.raw);
}

// Where the plain names of a text stand: in the residue that it stands in when that has an atom of the name.
ResidueNumber ResidueFor(const Document& document, const InstructionText& place, const std::string& upperName) {
  if (place.residue < 0) return {};
  AtomRecord probe;
  probe.residue = place.residue;
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (atom->residue == place.residue && UpperCase(atom->name) == upperName) return ResidueNumberOf(document, probe);
  return {};
}

// Begins the names that stand in for one another while several are changed.
constexpr char kHolderMark = '\x01';

struct Wanted {
  std::string name;  // in upper case
  ResidueNumber residue;
  friend auto operator<=>(const Wanted& a, const Wanted& b) {
    return std::tie(a.name, a.residue.number, a.residue.chain) <=> std::tie(b.name, b.residue.number, b.residue.chain);
  }
};

Wanted WantedOf(const Document& document, const std::string& name, int residue) {
  AtomRecord probe;
  probe.residue = residue;
  return {UpperCase(name), ResidueNumberOf(document, probe)};
}

bool ReplaceIn(const Document& document, const InstructionText& place, const Wanted& before, const std::string& after) {
  std::string& text = place.text;
  std::vector<NameWord> places;
  const char* begin = text.data();
  ForEachLine(text, [&](std::string_view line) {
    const size_t offset = static_cast<size_t>(line.data() - begin);
    ForEachName(line, [&](NameWord name) {
      if (name.name != before.name) return;
      const bool isHolder = before.name.starts_with(kHolderMark);
      const ResidueNumber in =
          name.residue || isHolder ? name.residue.value_or(before.residue) : ResidueFor(document, place, name.name);
      if (in != before.residue) return;
      name.start += offset;
      places.push_back(std::move(name));
    });
  });
  for (auto at = places.rbegin(); at != places.rend(); ++at) text.replace(at->start, at->length, after);
  return !places.empty();
}

std::string OnOneLine(std::string_view line) {
  std::string text(line);
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
    const size_t sign = text.find_last_not_of(" \t\r", at == 0 ? 0 : at - 1);
    const size_t from = sign != std::string::npos && text[sign] == '=' ? sign : at;
    const size_t to = std::min(text.find_first_not_of(" \t", at + 1), text.size());
    text.replace(from, to - from, " ");
    at = from + 1;
  }
  return text;
}

}  // namespace

size_t ReplaceNameElsewhere(Document& document, const std::string& before, const std::string& after, int residue) {
  const Wanted wanted = WantedOf(document, before, residue);
  size_t changes = 0;
  ForEachInstructionText(document, [&](const InstructionText& place) {
    if (ReplaceIn(document, place, wanted, after)) ++changes;
  });
  return changes;
}

std::vector<std::string> LinesNaming(Document& document, const std::set<std::string>& names) {
  std::vector<std::string> lines;
  std::set<Wanted> wanted;
  for (const std::string& name : names) {
    const AtomReference reference = ParseAtomReference(name);
    wanted.insert({reference.name, reference.ResidueFrom({})});
  }
  ForEachInstructionText(document, [&](const InstructionText& place) {
    ForEachLine(place.text, [&](std::string_view line) {
      bool found = false;
      ForEachName(line, [&](const NameWord& name) {
        found = found || wanted.contains({name.name, name.residue.value_or(ResidueNumber{})}) ||
                (!name.residue && place.residue >= 0 && wanted.contains(WantedOf(document, name.name, place.residue)));
      });
      std::string text = found ? OnOneLine(line) : "";
      if (found && std::ranges::find(lines, text) == lines.end()) lines.push_back(std::move(text));
    });
  });
  return lines;
}

namespace {

// A SAME whose atoms are gone says nothing any more: the user may take it out.
void OfferToTakeOutSame(Document& document, const std::set<std::string>& killed, UserMessages& messages) {
  std::set<std::string> names;
  for (const std::string& name : killed) names.insert(UpperCase(name));
  const auto isUseless = [&](const KeptLine& line) {
    const Instruction same = ParseInstruction(line.text);
    if (same.keyword != InstructionKeyword::kSame || !same.residue.empty()) return false;
    std::string text;
    for (const std::string& word : same.words)
      if (names.contains(UpperCase(word))) text += "Couldn't find " + word + " in the atom list.\n";
    return !text.empty() && messages.AskYesNo({MessageIcon::Question, "SAME Command Error:",
                                               text + "Do you want to take out this line?\n" + OnOneLine(line.text)});
  };
  for (AtomRecord* atom : Atoms(document.atoms))
    if (!atom->extras.empty()) std::erase_if(atom->extras.front().linesBefore, isUseless);
  std::erase_if(document.atoms.trailingLines, isUseless);
}

}  // namespace

void TellOfLinesNaming(Document& document, std::set<std::string> killed, UserMessages& messages) {
  constexpr size_t kMostShown = 20;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!killed.empty()) killed.erase(QualifiedName(document, *atom));
  }
  if (killed.empty()) return;
  OfferToTakeOutSame(document, killed, messages);
  const auto lines = LinesNaming(document, killed);
  if (lines.empty()) return;
  std::string text = "These lines still name atoms that were killed:";
  for (size_t i = 0; i < std::min(lines.size(), kMostShown); ++i) text += "\n" + lines[i];
  if (lines.size() > kMostShown) AppendPrintf(text, "\n(%zu more)", lines.size() - kMostShown);
  messages.Show({MessageIcon::Information, "Names of Killed Atoms", text});
}

EditFault CheckAtomName(std::string_view name, const char* key, const char* caption) {
  constexpr size_t kLongest = 4;
  const auto fault = [&](const std::string& text) {
    return EditFault{key, std::string(caption).append(": ").append(text)};
  };
  const std::string quoted = std::string("\"").append(name).append("\"");
  const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  const auto isPlain = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '\'' || c == '"'; };
  if (name.empty()) return fault("an atom needs a name.");
  if (!isLetter(name[0])) return fault(quoted + " does not begin with a letter.");
  if (!std::ranges::all_of(name, isPlain)) return fault(quoted + " may only hold letters, digits and primes.");
  if (name.size() > kLongest) return fault(quoted + " has more than four characters.");
  const LineHead head = HeadOf(name);
  if (IsInstruction(head.keyword)) return fault(quoted + " is an instruction.");
  return {};
}

const AtomRecord* HolderOfName(const Document& document, std::string_view name, int residue, const AtomRecord* except) {
  AtomRecord probe;
  probe.name = name;
  probe.residue = residue;
  const std::string wanted = UpperCase(QualifiedName(document, probe));
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (atom == except || atom->generated != 0 || atom->Has(kFromGrownSection)) continue;
    if (atom->name.size() == name.size() && UpperCase(QualifiedName(document, *atom)) == wanted) return atom;
  }
  return nullptr;
}

}  // namespace marvik
