#include "app/uncertainty_files.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <set>

#include "base/numbers.h"
#include "base/words.h"
#include "check/data_uncertainties.h"

namespace marvik {
namespace {

// Fractional: two places that are the same but for rounding.
constexpr double kSamePlace = 2e-5;

// Whole cells apart counts as the same where a coordinate was too large for an instruction file.
bool IsNear(const AtomRecord& atom, const CifUncertainAtom& listed, double least, double most) {
  for (size_t i = 0; i < 3; ++i) {
    double d = atom.fract[static_cast<int>(i)] - listed.fract[static_cast<int>(i)];
    if (std::fabs(listed.fract[static_cast<int>(i)]) >= 5.0) d -= std::round(d);
    if (!(std::fabs(d) <= std::clamp(3.0 * listed.fractSu[i], least, most))) return false;
  }
  return true;
}

std::vector<std::string> FilesBeside(const std::string& current) {
  const std::string base = BaseNameOf(current);
  std::vector<std::string> files{base + ".cif", base + ".lst"};
  constexpr std::string_view kTranslated = "_cif";
  if (base.ends_with(kTranslated))
    files.insert(files.begin(), base.substr(0, base.size() - kTranslated.size()) + ".cif");
  return files;
}

// Listed atoms in pairs with those of the document.
std::vector<std::pair<const AtomRecord*, const CifUncertainAtom*>> Match(const Document& document,
                                                                         const CifUncertainties& listed) {
  std::multimap<std::string, const AtomRecord*> byLabel;
  std::multimap<double, const AtomRecord*> byX;
  for (const AtomRecord* atom : Atoms(document.atoms, kNoGenerated)) {
    byLabel.emplace(LowerCase(atom->name), atom);
    byX.emplace(atom->fract.x, atom);
  }
  std::vector<std::pair<const AtomRecord*, const CifUncertainAtom*>> pairs;
  std::set<const AtomRecord*> taken;
  std::vector<const CifUncertainAtom*> rest;
  for (const CifUncertainAtom& atom : listed.atoms) {
    const auto [from, to] = byLabel.equal_range(LowerCase(atom.label));
    const auto found = std::find_if(from, to, [&](const auto& entry) {
      return !taken.contains(entry.second) && IsNear(*entry.second, atom, 0.0015, 0.005);
    });
    if (found == to) {
      rest.push_back(&atom);
    } else if (taken.insert(found->second).second) {
      pairs.emplace_back(found->second, &atom);
    }
  }
  for (const CifUncertainAtom* atom : rest)
    for (auto at = byX.lower_bound(atom->fract.x - kSamePlace);
         at != byX.end() && at->first <= atom->fract.x + kSamePlace; ++at)
      if (!taken.contains(at->second) && IsNear(*at->second, *atom, kSamePlace, kSamePlace)) {
        taken.insert(at->second);
        pairs.emplace_back(at->second, atom);
        break;
      }
  return pairs;
}

}  // namespace

CifUncertainties UncertaintiesInListing(std::string_view text) {
  std::map<std::string, CifUncertainAtom> byLabel;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    std::vector<std::string_view> words;
    for (size_t at = 0; words.size() < 4;) {
      const size_t from = line.find_first_not_of(" \t\r", at);
      if (from == std::string_view::npos) break;
      at = std::min(line.find_first_of(" \t\r", from), line.size());
      words.push_back(line.substr(from, at - from));
    }
    if (words.size() < 4 || !std::isalpha(static_cast<unsigned char>(words[0][0]))) continue;
    CifUncertainAtom atom;
    atom.label = words[0];
    bool isComplete = true;
    for (size_t k = 0; k < 3; ++k)
      isComplete = isComplete && ParseMeasuredCifNumber(words[k + 1], atom.fract[static_cast<int>(k)], atom.fractSu[k]);
    if (isComplete && atom.fractSu != std::array<double, 3>{}) byLabel[atom.label] = atom;
  }
  CifUncertainties found;
  for (auto& [label, atom] : byLabel) found.atoms.push_back(std::move(atom));
  return found;
}

namespace {

// Whether the listing is one of marvik-refine.
bool IsOwnListing(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return false;
  constexpr std::string_view kHead = " marvik-refine:";
  char head[32] = {};
  const size_t got = std::fread(head, 1, kHead.size(), file);
  std::fclose(file);
  return std::string_view(head, got) == kHead;
}

void Mix(size_t& key, const std::string& text) {
  key = key * 1099511628211u ^ std::hash<std::string>()(text);
}

// Stamps of the files, the cell, and all that is refined of the atoms.
size_t KeyOf(const Document& document, const std::string& hklPath) {
  size_t key = std::hash<std::string>()(hklPath);
  if (const auto stamp = StampOf(hklPath))
    Mix(key, std::to_string(stamp->size) + " " + std::to_string(stamp->nanoseconds));
  Mix(key, document.instructions.cellLine + document.instructions.zerrLine);
  for (const AtomRecord* atom : Atoms(document.atoms, kNoGenerated)) {
    if (atom->IsPeak()) continue;
    std::string text = std::to_string(atom->serial);
    for (int i = 0; i < 3; ++i) AppendPrintf(text, " %.7g", atom->fract[i]);
    for (const double u : atom->u) AppendPrintf(text, " %.7g", u);
    Mix(key, text + Printf(" %.7g", atom->occupancy));
  }
  return key;
}

std::shared_ptr<const UncertaintySource> FromData(const Document& document, UncertaintyFile& file) {
  const std::string base = BaseNameOf(document.CurrentFile);
  if (!IsOwnListing(base + ".lst") || !StampOf(base + ".hkl")) return nullptr;
  const size_t key = KeyOf(document, base + ".hkl");
  if (key != file.fromDataKey) {
    file.fromDataKey = key;
    file.fromData = UncertaintiesFromData(document, base + ".hkl");
  }
  return file.fromData;
}

}  // namespace

std::shared_ptr<const UncertaintySource> FindUncertainties(const Document& document, UncertaintyFile& file) {
  if (document.CurrentFile.empty()) return nullptr;
  if (auto full = FromData(document, file)) return full;
  for (const std::string& path : FilesBeside(document.CurrentFile)) {
    const auto stamp = StampOf(path);
    if (!stamp) continue;
    const bool isCif = path.ends_with(".cif");
    if (file.path != path || file.stamp != stamp) {
      const FileContent read = ReadWholeFile(path);
      file.path = path;
      file.stamp = stamp;
      file.listed = isCif ? ReadCifUncertainties(read.content) : UncertaintiesInListing(read.content);
    }
    const auto cell = isCif ? file.listed.cellSu : CellSigmas(document.instructions.zerrLine);
    const bool hasCell = cell != std::array<double, 6>{};
    auto found =
        std::make_shared<ListedUncertainties>(document, cell,
                                              "S.u. from the coordinates in " + FileNameOf(path) +
                                                  (!hasCell ? ""
                                                   : isCif  ? " and its cell"
                                                            : " and the cell (ZERR)") +
                                                  "; correlations between atoms are not known and not included.");
    const auto pairs = Match(document, file.listed);
    for (const auto& [atom, listed] : pairs) found->Add(*atom, {listed->fractSu, listed->uSu, listed->occupancySu});
    if (pairs.size() * 2 >= file.listed.atoms.size() && found->Size() > 0) return found;
  }
  return nullptr;
}

}  // namespace marvik
