#include "edit/edit_fragment.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>

#include "base/numbers.h"
#include "base/words.h"
#include "chem/geometry/atom_geometry.h"
#include "crystal/cell_metric.h"
#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "edit/edit_part.h"
#include "edit/edit_riding.h"
#include "language/composed_line.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr std::array<FieldRange, 6> kFields{{
    {"fragment", "Fragment"},
    WordField("as", "Held by", "restrained|rigid"),
    {"on", "Its atoms that the chosen ones are"},
    {"part", "PART", -999.0, 999.0},
    {"fvar", "Free variable", -99.0, 99.0},
    {"value", "Value of a new free variable", 0.01, 0.99},
}};
constexpr double kSlack = 0.6;          // Å, of a distance between two places against that of the shape
constexpr double kLargestRms = 0.4;     // Å
constexpr double kOnPeak = 0.6;         // Å
constexpr double kOtherElement = 0.15;  // Å of rms that an atom of another element counts as
constexpr double kPeakWorth = 0.08;     // Å of rms that an atom on a peak makes up for
constexpr int kRigidGroup = 6;          // AFIX code
constexpr double kDefaultU = 0.05;      // Å²

constexpr std::string_view kHolding[] = {"DFIX", "DANG", "SADI", "FLAT"};

std::string ReadMember(const std::vector<std::string_view>& words, GroupShape& shape) {
  GroupShape::Member member;
  if (words.size() != 6) return "An ATOM line has a name, an element and three coordinates.";
  member.name = words[1];
  if (const EditFault fault = CheckAtomName(member.name)) return fault.text;
  for (int i = 0; i < 3; ++i) {
    double value = 0.0;
    if (!ParseWholeNumber(words[static_cast<size_t>(i) + 3], value) || !(std::fabs(value) < 1000.0))
      return member.name + " has no place.";
    member.place[i] = value;
  }
  shape.atoms.push_back(std::move(member));
  return {};
}

std::string FaultOf(const GroupShape& shape) {
  if (shape.atoms.size() < 3) return "A fragment has three atoms or more.";
  if (shape.residueClass.empty() || shape.residueClass.size() > 4) return "A CLASS of one to four letters is missing.";
  std::set<std::string> names;
  for (const auto& atom : shape.atoms)
    if (!names.insert(atom.name).second) return atom.name + " is there twice.";
  for (const std::string& line : shape.restraints) {
    std::vector<std::string_view> words;
    SplitWords(line, words);
    double number = 0.0;
    for (const std::string_view word : std::span(words).subspan(1))
      if (!ParseWholeNumber(word, number) && !names.contains(std::string(word)))
        return std::string(words[0]) + " names " + std::string(word) + ", which is no atom of it.";
  }
  return {};
}

// Every choice of members whose distances are near those of the places.
class Chooser {
 public:
  Chooser(const GroupShape& shape, const std::vector<Cartesian>& places) : shape_(shape), places_(places) {}
  void Choose(const std::function<void(const std::vector<size_t>&)>& take) {
    if (chosen_.size() == places_.size()) return take(chosen_);
    const size_t next = chosen_.size();
    for (size_t member = 0; member < shape_.atoms.size(); ++member) {
      bool fits = std::ranges::find(chosen_, member) == chosen_.end();
      for (size_t i = 0; i < next && fits; ++i) {
        const double own = Distance(shape_.atoms[member].place, shape_.atoms[chosen_[i]].place);
        fits = std::fabs(own - Distance(places_[next], places_[i])) < kSlack;
      }
      if (!fits) continue;
      chosen_.push_back(member);
      Choose(take);
      chosen_.pop_back();
    }
  }

 private:
  const GroupShape& shape_;
  const std::vector<Cartesian>& places_;
  std::vector<size_t> chosen_;
};

bool IsOn(const Cartesian& place, const std::vector<Cartesian>& others) {
  return std::ranges::any_of(others, [&](const Cartesian& other) { return Distance(place, other) < kOnPeak; });
}

int NextResidueNumber(const Document& document) {
  int next = 1;
  for (const Residue& residue : document.residues) next = std::max(next, residue.number + 1);
  return next;
}

// That a new atom goes behind: the last of the file that is no peak.
AtomRecord* LastAtom(const Document& document) {
  AtomRecord* last = nullptr;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (!atom->IsPeak() && !IsGrownAtom(*atom) && !atom->afterEnd && !atom->afterHklf) last = atom;
  return last;
}

void KeepRestraints(Document& document, const GroupShape& shape) {
  for (const std::string& text : shape.restraints) {
    std::vector<std::string_view> words;
    SplitWords(text, words);
    ComposedLine line(std::string(words[0]) + "_" + shape.residueClass);
    for (const std::string_view word : std::span(words).subspan(1)) line.Add(" " + std::string(word));
    auto& kept = document.instructions.kept;
    if (std::ranges::find(kept, line.Text(), &KeptLine::text) == kept.end())
      kept.push_back({KeptPlace::Body, line.Text(), -1});
  }
}

}  // namespace

std::optional<GroupShape> ReadGroupShape(const std::string& name, std::string_view text, std::string& fault) {
  GroupShape shape;
  shape.name = name;
  fault.clear();
  while (!text.empty() && fault.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = Trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    std::vector<std::string_view> words;
    SplitWords(line, words);
    if (words.empty()) continue;
    const std::string rest(Trimmed(line.substr(words[0].size())));
    if (words[0] == "TITLE") {
      shape.title = rest;
    } else if (words[0] == "CLASS") {
      shape.residueClass = rest;
    } else if (words[0] == "SOURCE") {
      shape.source = rest;
    } else if (words[0] == "ATOM") {
      fault = ReadMember(words, shape);
    } else if (std::ranges::find(kHolding, words[0]) != std::end(kHolding)) {
      shape.restraints.emplace_back(line);
    } else {
      fault = "It has a line that begins with " + std::string(words[0]) + ".";
    }
  }
  if (fault.empty()) fault = FaultOf(shape);
  return fault.empty() ? std::optional(std::move(shape)) : std::nullopt;
}

std::span<const FieldRange> FragmentFields() {
  return kFields;
}

std::optional<FragmentRequest> ParseFragment(const EditArguments& arguments, EditFault& fault) {
  fault = UnknownFieldFault(arguments, kFields);
  FragmentRequest request;
  const std::string* name = arguments.Find("fragment");
  if (!fault && !name) fault = {"fragment", "Fragment: the name of one of the library is wanted."};
  const std::string* as = arguments.Find("as");
  if (!fault && as && *as != "rigid" && *as != "restrained")
    fault = {"as", "Held by: restrained or rigid is wanted, not " + *as + "."};
  if (fault) return std::nullopt;
  request.fragment = *name;
  request.rigid = as && *as == "rigid";
  if (const std::string* on = arguments.Find("on")) {
    std::vector<std::string_view> words;
    SplitWords(*on, words);
    request.on.assign(words.begin(), words.end());
  }
  for (const char* key : {"part", "fvar", "value"})
    if (const std::string* value = arguments.Find(key)) request.part.fields.push_back({key, *value});
  return request;
}

std::optional<ShapeFit> FitShape(const GroupShape& shape, const std::vector<std::string>& on,
                                 const std::vector<Cartesian>& places, const std::vector<int>& rows,
                                 const std::vector<Cartesian>& peaks, std::string& fault) {
  std::vector<size_t> named;
  for (const std::string& name : on) {
    const auto at = std::ranges::find(shape.atoms, UpperCase(name), &GroupShape::Member::name);
    if (at == shape.atoms.end()) {
      fault = shape.name + " has no atom " + name + ".";
      return std::nullopt;
    }
    named.push_back(static_cast<size_t>(at - shape.atoms.begin()));
  }
  if (places.size() < 3 || places.size() > shape.atoms.size()) {
    fault = Printf("Choose three or more atoms or peaks, at most the %zu of the fragment; %zu are chosen.",
                   shape.atoms.size(), places.size());
  } else if (!on.empty() && on.size() != places.size()) {
    fault = Printf("%zu atoms of the fragment are named, and %zu are chosen.", on.size(), places.size());
  }
  if (!fault.empty()) return std::nullopt;
  std::optional<ShapeFit> best;
  double least = 1e9;
  const auto take = [&](const std::vector<size_t>& members) {
    std::vector<Cartesian> own;
    double score = 0.0;
    for (size_t i = 0; i < members.size(); ++i) {
      own.push_back(shape.atoms[members[i]].place);
      if (rows[i] != 0 && ElementTable::ElementFromLabel(shape.atoms[members[i]].name) != rows[i])
        score += kOtherElement;
    }
    const auto fit = Superpose(own, places);
    if (!fit || (fit->rms > kLargestRms && on.empty())) return;
    score += fit->rms;
    for (size_t i = 0; i < shape.atoms.size(); ++i)
      if (std::ranges::find(members, i) == members.end() && IsOn((*fit)(shape.atoms[i].place), peaks))
        score -= kPeakWorth;
    if (score >= least - 1e-6) return;
    least = score;
    best = ShapeFit{members, *fit};
  };
  if (named.empty()) {
    Chooser(shape, places).Choose(take);
  } else {
    take(named);
  }
  if (!best) {
    fault = "The chosen atoms lie on a line, or nowhere on " + shape.name + " as its shape is.";
  } else if (best->fit.rms > kLargestRms) {
    fault = Printf("%s does not fit: the chosen atoms are %.2f Å from it.", shape.name.c_str(), best->fit.rms);
  }
  return fault.empty() ? best : std::nullopt;
}

std::optional<ShapeFit> FitOnAtoms(const Document& document, const std::vector<AtomRecord*>& picked,
                                   const GroupShape& shape, const std::vector<std::string>& on, std::string& fault) {
  const Metric metric = MakeMetric(document.cell);
  std::vector<Cartesian> places, peaks;
  std::vector<int> rows;
  for (const AtomRecord* atom : picked) {
    places.push_back(metric.ToCartesian(atom->fract));
    rows.push_back(atom->IsPeak() ? 0 : atom->element->atomicNumber);
  }
  for (const AtomRecord* atom : Atoms(document.atoms))
    if (atom->IsPeak()) peaks.push_back(metric.ToCartesian(atom->fract));
  return FitShape(shape, on, places, rows, peaks, fault);
}

std::string PlaceFragment(Document& document, const std::vector<AtomRecord*>& picked, const GroupShape& shape,
                          const FragmentRequest& request, UserMessages& messages, double& rms) {
  const Metric metric = MakeMetric(document.cell);
  std::string refusal;
  const auto found = FitOnAtoms(document, picked, shape, request.on, refusal);
  if (!found) return refusal;
  EditFault fault;
  const auto part = ParsePartChange(document, request.part, fault);
  if (!part && !request.part.fields.empty()) return fault.text;
  rms = found->fit.rms;

  double u = 0.0;
  for (const AtomRecord* atom : picked) u += atom->IsPeak() ? kDefaultU : ListedUeq(document, *atom);
  u = std::clamp(u / static_cast<double>(picked.size()), 0.01, 0.2);
  const int16_t partNumber = picked.front()->part;
  const double occupancy = picked.front()->IsPeak() ? 11.0 : picked.front()->occupancy;
  std::vector<Cartesian> fitted;
  for (const auto& member : shape.atoms) fitted.push_back(found->fit(member.place));
  std::vector<AtomRecord*> gone = picked;
  const auto add = [&](AtomRecord* atom, bool goes) {
    if (goes && std::ranges::find(gone, atom) == gone.end()) gone.push_back(atom);
  };
  for (AtomRecord* atom : Atoms(document.atoms)) {
    const bool gives = atom->IsPeak() || (atom->part == partNumber && !atom->IsHydrogen() && !IsGrownAtom(*atom));
    add(atom, gives && IsOn(metric.ToCartesian(atom->fract), fitted));
  }
  for (AtomRecord* atom : Atoms(document.atoms))
    add(atom, atom->parent && std::ranges::find(gone, atom->parent) != gone.end());
  std::set<std::string> names;
  for (const AtomRecord* atom : gone)
    if (!atom->IsPeak()) names.insert(QualifiedName(document, *atom));
  document.atoms.KillAtoms(gone);
  TellOfLinesNaming(document, std::move(names), messages);

  document.residues.push_back({shape.residueClass, NextResidueNumber(document), "", "", ""});
  const auto residue = static_cast<int32_t>(document.residues.size()) - 1;
  const int32_t group = NextAfixGroup(document);
  ElementChooser elements(document, messages);
  AtomRecord* place = LastAtom(document);
  std::vector<AtomRecord*> made;
  for (size_t i = 0; i < shape.atoms.size(); ++i) {
    AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
    if (!atom) return "There is no memory for the new atoms.";
    atom->name = shape.atoms[i].name;
    atom->fract = metric.ToFractional(fitted[i]);
    atom->u[0] = u;
    atom->part = partNumber;
    atom->occupancy = occupancy;
    atom->residue = residue;
    if (request.rigid) {
      atom->afix = kRigidGroup;
      atom->afixGroup = group;
    }
    document.atoms.LinkBehind(atom, place);
    place = atom;
    elements.Decide(*atom);
    made.push_back(atom);
  }
  elements.Finish();
  if (!request.rigid) KeepRestraints(document, shape);
  if (!request.part.fields.empty()) ApplyPartChange(document, made, *part);
  document.RecomputePositions();
  return {};
}

}  // namespace marvik
