#include "run/file_comparison.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/numbers.h"
#include "files/res/reader.h"
#include "language/line_source.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr double kSmallestShift = 0.0005;  // Å
constexpr double kSamePlace = 0.1;         // Å: a renamed atom may have been refined

// The instructions of a file with one blank between words: values that a keyword has once, and lines that are compared
// as a whole (restraints, constraints, tables, and everything else).
struct Lines {
  std::map<std::string, std::string> values;
  std::vector<std::string> others;
};

Lines LinesOf(std::string_view text) {
  using enum InstructionKeyword;
  constexpr InstructionKeyword kValues[] = {kZerr, kLatt, kSfac, kUnit, kTemp, kSize, kLs,   kCgls, kFmap, kPlan,
                                            kList, kMerg, kExti, kWght, kFvar, kHklf, kTwin, kBasf, kSwat};
  constexpr InstructionKeyword kIgnored[] = {kTitl, kRem, kBlank, kCell, kPart, kAfix, kResi, kMole};
  Lines lines;
  LineSource source(text);
  SourceLine line;
  std::vector<std::string_view> words;
  while (source.Next(line) && line.head.keyword != kEnd) {
    const InstructionKeyword keyword = line.head.keyword;
    if (keyword == kAtomLine) continue;
    if (std::ranges::find(kIgnored, keyword) != std::end(kIgnored)) continue;
    SplitWords(line.code, words);
    std::string plain;
    for (const std::string_view word : words) plain += (plain.empty() ? "" : " ") + std::string(word);
    if (std::ranges::find(kValues, keyword) == std::end(kValues)) {
      lines.others.push_back(UpperCase(plain));
      continue;
    }
    std::string& value = lines.values[std::string(SpellingOf(keyword))];
    value += (value.empty() ? "" : " ") + plain.substr(std::min<size_t>(5, plain.size()));
  }
  std::ranges::sort(lines.others);
  return lines;
}

void CompareCells(const Document& before, const Document& after, std::vector<FileComparison::Value>& values) {
  const CellParameters& a = before.cell;
  const CellParameters& b = after.cell;
  const double pairs[][2] = {{a.a, b.a},         {a.b, b.b},       {a.c, b.c},
                             {a.alpha, b.alpha}, {a.beta, b.beta}, {a.gamma, b.gamma}};
  constexpr const char* kNames[] = {"a", "b", "c", "alpha", "beta", "gamma"};
  for (size_t i = 0; i < 6; ++i) {
    if (pairs[i][0] != pairs[i][1])
      values.push_back({kNames[i], Printf("%.6g", pairs[i][0]), Printf("%.6g", pairs[i][1])});
  }
  const auto wavelength = [](const Document& document) {
    std::vector<std::string_view> words;
    SplitWords(document.instructions.cellLine, words);
    return words.size() > 1 ? std::string(words[1]) : std::string();
  };
  if (wavelength(before) != wavelength(after)) values.push_back({"wavelength", wavelength(before), wavelength(after)});
}

std::map<std::string, const AtomRecord*> AtomsOf(const Document& document) {
  std::map<std::string, const AtomRecord*> atoms;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->IsPeak() && !atom->generated) atoms.try_emplace(UpperCase(QualifiedName(document, *atom)), atom);
  }
  return atoms;
}

// What an atom is, apart from its place.
void CompareAtom(const std::string& name, const Document& before, const AtomRecord& a, const Document& after,
                 const AtomRecord& b, std::vector<FileComparison::Value>& atoms) {
  const auto add = [&](const char* what, const std::string& x, const std::string& y) {
    if (x != y) atoms.push_back({name + " " + what, x, y});
  };
  add("element", std::string(a.element->Symbol()), std::string(b.element->Symbol()));
  add("part", std::to_string(a.part), std::to_string(b.part));
  add("AFIX", std::to_string(a.afix), std::to_string(b.afix));
  const double old = DecodedOccupancy(a, before.instructions);
  const double now = DecodedOccupancy(b, after.instructions);
  if (std::fabs(old - now) > 0.0005) add("occupancy", Printf("%.4f", old), Printf("%.4f", now));
  add("displacement", a.IsAnisotropic() ? "anisotropic" : "isotropic", b.IsAnisotropic() ? "anisotropic" : "isotropic");
}

// Of what is gone and what is new, pairs at one place are one atom under another name.
void FindRenamed(const Document& before, const Document& after, FileComparison& result) {
  const auto old = AtomsOf(before);
  const auto now = AtomsOf(after);
  auto& changes = result.model.atoms;
  for (AtomChange& gone : changes) {
    const auto from = gone.fate == AtomFate::Gone ? old.find(UpperCase(gone.name)) : old.end();
    if (from == old.end()) continue;
    for (AtomChange& fresh : changes) {
      const auto to = fresh.fate == AtomFate::Added ? now.find(UpperCase(fresh.name)) : now.end();
      if (to == now.end() || Length(after.matrix * (to->second->fract - from->second->fract)) > kSamePlace) continue;
      result.renamed.emplace_back(gone.name, fresh.name);
      CompareAtom(fresh.name, before, *from->second, after, *to->second, result.atoms);
      gone.fate = fresh.fate = AtomFate::Moved;
      break;
    }
  }
  std::erase_if(changes, [](const AtomChange& c) { return c.fate == AtomFate::Moved && c.shift < kSmallestShift; });
}

}  // namespace

bool FileComparison::Same() const {
  return values.empty() && atoms.empty() && renamed.empty() && model.atoms.empty() && removed.empty() && added.empty();
}

FileComparison CompareFiles(std::string_view before, std::string_view after, const Uncertainties& uncertainties) {
  FileComparison result;
  Document old;
  Document now;
  RecordingMessages unheard;
  ReadInstructionText(old, std::string(before), unheard);
  ReadInstructionText(now, std::string(after), unheard);
  CompareCells(old, now, result.values);
  const Lines oldLines = LinesOf(before);
  const Lines newLines = LinesOf(after);
  auto names = oldLines.values;
  names.insert(newLines.values.begin(), newLines.values.end());
  for (const auto& entry : names) {
    const std::string& name = entry.first;
    const auto value = [&](const Lines& lines) { return lines.values.contains(name) ? lines.values.at(name) : ""; };
    if (value(oldLines) != value(newLines)) result.values.push_back({name, value(oldLines), value(newLines)});
  }
  std::ranges::set_difference(oldLines.others, newLines.others, std::back_inserter(result.removed));
  std::ranges::set_difference(newLines.others, oldLines.others, std::back_inserter(result.added));
  result.model = CompareModels(old, now, uncertainties);
  const auto oldAtoms = AtomsOf(old);
  for (const auto& [name, atom] : AtomsOf(now)) {
    const auto match = oldAtoms.find(name);
    if (match != oldAtoms.end()) CompareAtom(name, old, *match->second, now, *atom, result.atoms);
  }
  FindRenamed(old, now, result);
  return result;
}

FileComparison CompareTexts(std::string_view before, std::string_view after, const std::string& path) {
  Document document;
  RecordingMessages unheard;
  ReadInstructionText(document, std::string(after), unheard);
  Uncertainties uncertainties;
  for (const char* extension : {".cif", ".lst"}) {
    if (uncertainties.empty())
      uncertainties = FindUncertainties(ReadWholeFile(BaseNameOf(path) + extension).content, document);
  }
  return CompareFiles(before, after, uncertainties);
}

std::optional<FileComparison> CompareFilesAt(const std::string& before, const std::string& after) {
  const FileContent old = ReadWholeFile(before);
  const FileContent now = ReadWholeFile(after);
  if (!old.opened || !now.opened) return {};
  return CompareTexts(old.content, now.content, after);
}

std::string ComparisonAsJson(const FileComparison& comparison) {
  using Json = nlohmann::ordered_json;
  const auto values = [](const std::vector<FileComparison::Value>& list) {
    Json array = Json::array();
    for (const auto& v : list) array.push_back({{"name", v.name}, {"before", v.before}, {"after", v.after}});
    return array;
  };
  Json json = {{"values", values(comparison.values)},
               {"atoms", values(comparison.atoms)},
               {"renamed", Json::array()},
               {"moved", Json::array()},
               {"new", Json::array()},
               {"gone", Json::array()},
               {"removed", comparison.removed},
               {"added", comparison.added}};
  for (const auto& [from, to] : comparison.renamed) json["renamed"].push_back({{"before", from}, {"after", to}});
  for (const AtomChange& change : comparison.model.atoms) {
    if (change.fate == AtomFate::Moved) {
      const Json sus = change.overUncertainty ? Json(*change.overUncertainty) : Json();
      json["moved"].push_back({{"atom", change.name}, {"shift", change.shift}, {"sus", sus}});
    } else {
      json[change.fate == AtomFate::Added ? "new" : "gone"].push_back(change.name);
    }
  }
  return json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string ComparisonAsText(const FileComparison& comparison) {
  if (comparison.Same()) return "The two say the same.\n";
  std::string text;
  const auto orNone = [](const std::string& value) { return value.empty() ? std::string("none") : value; };
  for (const auto* list : {&comparison.values, &comparison.atoms}) {
    for (const auto& v : *list) text += v.name + ": " + orNone(v.before) + " -> " + orNone(v.after) + "\n";
  }
  for (const auto& [from, to] : comparison.renamed) text += from + " is now " + to + "\n";
  for (const AtomChange& change : comparison.model.atoms) {
    if (change.fate != AtomFate::Moved) {
      text += change.name + (change.fate == AtomFate::Added ? " is new\n" : " is gone\n");
      continue;
    }
    AppendPrintf(text, "%s moved by %.4f \xC3\x85", change.name.c_str(), change.shift);
    if (change.overUncertainty) AppendPrintf(text, ", %.1f s.u.", *change.overUncertainty);
    text += '\n';
  }
  for (const std::string& line : comparison.removed) text += "- " + line + "\n";
  for (const std::string& line : comparison.added) text += "+ " + line + "\n";
  return text;
}

}  // namespace marvik
