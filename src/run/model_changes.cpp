#include "run/model_changes.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "crystal/nearest_images.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr double kPeakReach = 3.0;  // Å

bool IsFileAtom(const AtomRecord& atom) {
  return !atom.IsPeak() && !atom.generated && !atom.Has(kFromGrownSection);
}

using AtomsByName = std::unordered_map<std::string, const AtomRecord*>;

// Keys for the atoms of a document as they are asked for: the name, and where one comes again its turn.
class NameKeys {
 public:
  std::string Next(const std::string& name) {
    std::string key = UpperCase(name);
    const int turn = ++turns_[key];
    return turn == 1 ? key : key + '#' + std::to_string(turn);
  }

 private:
  std::unordered_map<std::string, int> turns_;
};

AtomsByName FileAtomsOf(const Document& document) {
  AtomsByName atoms;
  NameKeys keys;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (IsFileAtom(*atom)) atoms.emplace(keys.Next(QualifiedName(document, *atom)), atom);
  }
  return atoms;
}

// "0.12345(6)" has the uncertainty 0.00006; a plain number 0. Nothing when the word is neither.
std::optional<double> UncertaintyOf(std::string_view word) {
  double value = 0.0;
  const size_t open = word.find('(');
  const std::string_view number = word.substr(0, open);
  if (number.empty() || ParseNumber(number, value) != number.size() || number.find('.') == number.npos) return {};
  if (open == word.npos) return 0.0;
  double digits = 0.0;
  const std::string_view rest = word.substr(open + 1);
  const size_t used = ParseNumber(rest, digits);
  if (used == 0 || rest.substr(used) != ")" || !(digits >= 0.0) || std::isinf(digits)) return {};
  return digits * std::pow(10.0, -static_cast<double>(number.size() - 1 - number.find('.')));
}

std::vector<std::string_view> WordsOf(std::string_view line, size_t most) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while (words.size() < most && (at = line.find_first_not_of(" \t\r", at)) != line.npos) {
    const size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
    words.push_back(line.substr(at, end - at));
    at = end;
  }
  return words;
}

std::optional<std::array<double, 3>> CoordinatesOn(const std::vector<std::string_view>& words) {
  for (size_t first = 1; first + 3 <= words.size(); ++first) {
    std::array<double, 3> found{};
    bool usable = true;
    for (size_t i = 0; i < 3 && usable; ++i) {
      const auto value = UncertaintyOf(words[first + i]);
      usable = value.has_value();
      found[i] = value.value_or(0.0);
    }
    if (usable && (found[0] > 0 || found[1] > 0 || found[2] > 0)) return found;
  }
  return std::nullopt;
}

template <class Visit>
void ForEachLine(std::string_view text, Visit visit) {
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    visit(text.substr(at, end - at));
    at = end + 1;
  }
}

AtomChange ShiftOf(const std::string& name, const AtomRecord& from, const AtomRecord& to,
                   const OrthogonalisationMatrix& matrix, const Uncertainties& uncertainties) {
  const Fractional moved = to.fract - from.fract;
  AtomChange change{name, AtomFate::Moved, Length(matrix * moved), {}};
  const auto found = uncertainties.find(UpperCase(name));
  if (found == uncertainties.end()) return change;
  for (int i = 0; i < 3; ++i) {
    const double uncertainty = found->second[static_cast<size_t>(i)];
    if (uncertainty > 0.0) {
      change.overUncertainty = std::max(change.overUncertainty.value_or(0.0), std::fabs(moved[i]) / uncertainty);
    }
  }
  return change;
}

std::vector<PeakReport> PeaksOf(const Document& document) {
  std::vector<PeakReport> peaks;
  std::vector<const AtomRecord*> atoms;
  std::vector<Fractional> places;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (atom->IsPeak()) peaks.push_back({atom->name, atom->peakHeight, atom->fract, "", 0.0});
    if (!IsFileAtom(*atom)) continue;
    atoms.push_back(atom);
    places.push_back(atom->fract);
  }
  if (peaks.empty()) return peaks;
  const ImageSearch search(places, document.symmetry, document.cell, kPeakReach);
  std::vector<AtomImage> found;
  for (PeakReport& peak : peaks) {
    FindNearOrNearer(search, peak.fract, kPeakReach, found);
    const auto nearest = std::ranges::min_element(found, {}, &AtomImage::distance);
    if (nearest == found.end()) continue;
    peak.nearest = QualifiedName(document, *atoms[nearest->atom]);
    peak.distance = nearest->distance;
  }
  return peaks;
}

}  // namespace

Uncertainties FindUncertainties(std::string_view text, const Document& document) {
  constexpr size_t kMostWords = 12;
  Uncertainties found;
  const AtomsByName atoms = FileAtomsOf(document);
  ForEachLine(text, [&](std::string_view line) {
    const auto words = WordsOf(line, kMostWords);
    if (words.size() < 4) return;
    const std::string name = UpperCase(std::string(words[0]));
    if (!atoms.contains(name) || found.contains(name)) return;
    if (const auto uncertainty = CoordinatesOn(words)) found.emplace(name, *uncertainty);
  });
  return found;
}

ModelChanges CompareModels(const Document& before, const Document& after, const Uncertainties& uncertainties) {
  ModelChanges changes;
  const AtomsByName old = FileAtomsOf(before);
  const AtomsByName now = FileAtomsOf(after);
  NameKeys oldKeys, newKeys;
  for (const AtomRecord* atom : Atoms(after.atoms)) {
    if (!IsFileAtom(*atom)) continue;
    const std::string name = QualifiedName(after, *atom);
    const auto match = old.find(newKeys.Next(name));
    if (match == old.end()) {
      changes.atoms.push_back({name, AtomFate::Added, 0.0, {}});
      ++changes.added;
    } else {
      changes.atoms.push_back(ShiftOf(name, *match->second, *atom, after.matrix, uncertainties));
      changes.largestShift = std::max(changes.largestShift, changes.atoms.back().shift);
    }
  }
  for (const AtomRecord* atom : Atoms(before.atoms)) {
    const std::string name = IsFileAtom(*atom) ? QualifiedName(before, *atom) : "";
    if (name.empty() || now.contains(oldKeys.Next(name))) continue;
    changes.atoms.push_back({name, AtomFate::Gone, 0.0, {}});
    ++changes.gone;
  }
  std::ranges::stable_sort(changes.atoms, [](const AtomChange& a, const AtomChange& b) {
    const bool movedA = a.fate == AtomFate::Moved;
    const bool movedB = b.fate == AtomFate::Moved;
    return movedA != movedB ? movedB : a.shift > b.shift;
  });
  changes.peaks = PeaksOf(after);
  return changes;
}

CyclePoint FiguresOfResult(std::string_view text) {
  ProgressCurve curve;
  ForEachLine(text, [&](std::string_view line) {
    if (UpperCase(std::string(line.substr(0, 4))) == "REM ") curve.Take(line);
  });
  return curve.Points().empty() ? CyclePoint{} : curve.Points().back();
}

}  // namespace marvik
