#include "edit/edit_names.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/numbers.h"
#include "language/keywords.h"
#include "language/line_source.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

// Instructions whose arguments are, or may be, atom names.
constexpr std::array<std::string_view, 31> kNaming{"ANIS", "BIND", "BLOC", "BOND", "CHIV", "CONF", "CONN", "DANG",
                                                   "DELU", "DFIX", "EADP", "EXYZ", "FLAT", "FREE", "HFIX", "HOPE",
                                                   "HTAB", "ISOR", "MPLA", "NCSY", "OMIT", "PRIG", "RIGU", "RTAB",
                                                   "SADI", "SAME", "SIMU", "STIR", "SUMP", "WIGL", "XNPD"};

bool TakesNames(std::string_view line) {
  const size_t start = line.find_first_not_of(" \t");
  return start != std::string_view::npos &&
         std::ranges::find(kNaming, UpperCase(line.substr(start, 4))) != kNaming.end();
}

constexpr std::string_view kBetweenNames = " ,\t\r\n=<>";

// What a bare name on a line stands in: no residue (0) without a suffix, the residue of a numeric one; nothing for a
// class or for all.
std::optional<std::string> LineResidue(std::string_view line) {
  std::string_view suffix = HeadOf(line).residue;
  if (suffix.empty()) return "0";
  suffix.remove_prefix(1);
  double number = 0.0;
  const size_t colon = suffix.find(':');
  const std::string_view digits = colon == std::string_view::npos ? suffix : suffix.substr(colon + 1);
  if (!ParseWholeNumber(digits, number)) return std::nullopt;
  return UpperCase(suffix);
}

struct NameWord {
  size_t start = 0;
  size_t length = 0;  // of the bare name
  std::string qualified;
};

// The names on one instruction line, which may be continued over several lines of text.
template <class Visit>
void ForEachName(std::string_view line, Visit visit) {
  if (!TakesNames(line)) return;
  const auto residue = LineResidue(line);
  size_t at = std::min(line.find_first_of(kBetweenNames, line.find_first_not_of(" \t")), line.size());
  while ((at = line.find_first_not_of(kBetweenNames, at)) != std::string_view::npos) {
    if (line[at] == '!') {
      at = line.find('\n', at);
      if (at == std::string_view::npos) return;
      continue;
    }
    const size_t end = std::min(line.find_first_of(" ,\t\r\n=<>!", at), line.size());
    const std::string_view word = line.substr(at, end - at);
    const size_t underscore = word.find('_');
    const std::string_view behind = underscore == std::string_view::npos ? "" : word.substr(underscore + 1);
    NameWord name{at, std::min(underscore, word.size()), UpperCase(word.substr(0, underscore))};
    at = end;
    double number = 0.0;
    if (name.length == 0 || ParseWholeNumber(word, number)) continue;
    if (underscore == std::string_view::npos || behind.starts_with('$')) {
      if (!residue) continue;
      if (*residue != "0") name.qualified.append("_").append(*residue);
    } else if (behind != "0") {
      name.qualified.append("_").append(UpperCase(behind));
    }
    visit(name);
  }
}

// Each instruction of a text of several lines.
template <class Visit>
void ForEachLine(std::string_view text, Visit visit) {
  LineSource source(text);
  SourceLine line;
  while (source.Next(line)) visit(line.raw);
}

bool ReplaceIn(std::string& text, const std::string& before, const std::string& after) {
  std::vector<NameWord> places;
  const char* begin = text.data();
  ForEachLine(text, [&](std::string_view line) {
    const size_t offset = static_cast<size_t>(line.data() - begin);
    ForEachName(line, [&](const NameWord& name) {
      if (name.qualified == before) places.push_back({offset + name.start, name.length, {}});
    });
  });
  for (auto place = places.rbegin(); place != places.rend(); ++place) text.replace(place->start, place->length, after);
  return !places.empty();
}

std::string Qualified(const Document& document, const std::string& name, int residue) {
  AtomRecord probe;
  probe.name = name;
  probe.residue = residue;
  return UpperCase(QualifiedName(document, probe));
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

void ForEachNamingText(Document& document, const std::function<void(std::string&)>& visit) {
  for (HfixEntry& entry : document.atoms.hfix) visit(entry.text);
  visit(document.settings.BondLine);
  for (std::string& line : document.instructions.omitLines) visit(line);
  for (KeptLine& line : document.instructions.kept) {
    if (line.place != KeptPlace::UnderTitle && line.place != KeptPlace::Fragment) visit(line.text);
  }
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->extras.empty() && !atom->Extras().linesBefore.empty()) visit(atom->extras.front().linesBefore);
  }
  visit(document.atoms.trailingLines);
}

size_t ReplaceNameElsewhere(Document& document, const std::string& before, const std::string& after, int residue) {
  const std::string wanted = Qualified(document, before, residue);
  size_t changes = 0;
  ForEachNamingText(document, [&](std::string& text) {
    if (!text.empty() && ReplaceIn(text, wanted, after)) ++changes;
  });
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (atom->extras.empty() || !atom->Extras().sameGroup) continue;
    for (std::string& name : atom->extras.front().sameGroup->names) {
      const size_t underscore = name.find('_');
      if (UpperCase(name) != wanted) continue;
      name = after + (underscore == std::string::npos ? "" : name.substr(underscore));
      ++changes;
    }
  }
  return changes;
}

std::vector<std::string> LinesNaming(Document& document, const std::set<std::string>& names) {
  std::vector<std::string> lines;
  std::set<std::string> wanted;
  for (const std::string& name : names) wanted.insert(UpperCase(name));
  const auto add = [&lines](std::string text) {
    if (std::ranges::find(lines, text) == lines.end()) lines.push_back(std::move(text));
  };
  ForEachNamingText(document, [&](std::string& text) {
    if (text.empty()) return;
    ForEachLine(text, [&](std::string_view line) {
      bool found = false;
      ForEachName(line, [&](const NameWord& name) { found = found || wanted.contains(name.qualified); });
      if (found) add(OnOneLine(line));
    });
  });
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->Extras().sameGroup) continue;
    const auto& group = atom->Extras().sameGroup->names;
    if (std::ranges::none_of(group, [&](const std::string& name) { return wanted.contains(UpperCase(name)); }))
      continue;
    std::string text = "SAME";
    for (const std::string& name : group) text += " " + name;
    add(text);
  }
  return lines;
}

void TellOfLinesNaming(Document& document, std::set<std::string> killed, UserMessages& messages) {
  constexpr size_t kMostShown = 20;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!killed.empty()) killed.erase(QualifiedName(document, *atom));
  }
  if (killed.empty()) return;
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
  if (head.keyword != InstructionKeyword::kAtomLine || head.later) return fault(quoted + " is an instruction.");
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
