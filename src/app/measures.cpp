#include "app/measures.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "app/uncertainty_files.h"
#include "base/mat3.h"
#include "base/numbers.h"
#include "chem/environment.h"
#include "chem/geometry/report_numbers.h"
#include "crystal/symmetry.h"
#include "crystal/symmetry_codes.h"
#include "edit/edit_elements.h"
#include "language/atom_names.h"
#include "language/atom_references.h"
#include "language/instruction.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr const char* kLabels[] = {"", "", "Dist", "Angl", "Tors"};

// Of an image that GROW or PACK made.
std::optional<SymmetryOperator> OperatorOf(const Document& document, const AtomRecord& atom) {
  return OperatorOfCode(document.symmetry, atom.symmetryCode);
}

// "$1" of the EQIV line of this operation, made where there is none.
std::string EquivalentOf(Document& document, const SymmetryOperator& operation) {
  int next = 1;
  for (const Instruction& line : InstructionsOf(document)) {
    if (line.keyword != InstructionKeyword::kEqiv || line.all.empty()) continue;
    const std::string& symbol = line.all[0];
    const auto parsed = ParseOperator(line.text.substr(line.text.find(symbol) + symbol.size()));
    if (parsed && *parsed == operation) return symbol;
    double number = 0.0;
    if (ParseWholeNumber(std::string_view(symbol).substr(1), number))
      next = std::max(next, static_cast<int>(number) + 1);
  }
  const std::string symbol = Printf("$%d", next);
  document.instructions.kept.push_back({KeptPlace::First, "EQIV " + symbol + " " + OperatorText(operation), -1});
  return symbol;
}

// The image of an atom by an operation that is one of the document's but for whole cells.
std::optional<GeometrySite> ImageBy(const Document& document, const AtomRecord& atom,
                                    const SymmetryOperator& operation) {
  for (uint32_t k = 0; k < document.symmetry.size(); ++k) {
    const SymmetryOperator& own = document.symmetry[k];
    std::array<int, 3> cells{};
    bool same = own.r == operation.r;
    for (size_t i = 0; i < 3; ++i) {
      same = same && (operation.t[i] - own.t[i]) % kTranslationParts == 0;
      cells[i] = (operation.t[i] - own.t[i]) / kTranslationParts;
    }
    if (!same) continue;
    const int code = 1000 * (static_cast<int>(k) + 1) + 100 * (cells[0] + 5) + 10 * (cells[1] + 5) + cells[2] + 5;
    return GeometrySite{&atom, k, operation.Apply(atom.fract), code};
  }
  return std::nullopt;
}

GeometrySite SiteFor(const Document& document, const AtomRecord& atom) {
  const AtomRecord* source = atom.generated ? document.atoms.FindSerial(atom.sourceSerial) : nullptr;
  const auto operation = source ? OperatorOf(document, atom) : std::nullopt;
  const auto image = operation ? ImageBy(document, *source, *operation) : std::nullopt;
  return image ? *image : GeometrySite{&atom, 0, atom.fract};
}

using Group = MeasuredGroup;

Cartesian CentreOf(std::span<const Cartesian> places) {
  Cartesian sum;
  for (const Cartesian& place : places) sum += place;
  return sum / static_cast<double>(places.size());
}
Cartesian NormalOf(std::span<const Cartesian> places) {
  const Cartesian centre = CentreOf(places);
  Mat3 sums;
  for (const Cartesian& place : places) {
    const Cartesian d = place - centre;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) sums[i][static_cast<size_t>(j)] += d[i] * d[j];
  }
  return SymmetricEigen(sums).Vector<CartesianSpace>(0);
}

bool Keeps(const Document& document, InstructionKeyword keyword) {
  return std::ranges::any_of(document.instructions.kept,
                             [&](const KeptLine& line) { return HeadOf(line.text).keyword == keyword; });
}

// The atoms that lines of the document name, images by EQIV lines with them.
class LineSites {
 public:
  explicit LineSites(const Document& document)
      : document_(document), lines_(InstructionsOf(document)), atoms_(OwnAtoms(document)), index_(Named()) {}
  const std::vector<Instruction>& Lines() const { return lines_; }
  std::vector<GeometrySite> Of(const Instruction& line, const std::vector<std::string>& words) const {
    std::vector<GeometrySite> sites;
    for (const NamedAtoms::Named& name : AtomsNamed(index_, line, words, {}).atoms) {
      const AtomRecord* atom = atoms_[static_cast<size_t>(name.site)];
      GeometrySite site{atom, 0, atom->fract};
      for (const Instruction& eqiv : lines_) {
        if (name.equivalent.empty() || eqiv.keyword != InstructionKeyword::kEqiv || eqiv.all.empty() ||
            eqiv.all[0] != name.equivalent)
          continue;
        const auto parsed = ParseOperator(eqiv.text.substr(eqiv.text.find(name.equivalent) + name.equivalent.size()));
        const auto image = parsed ? ImageBy(document_, *atom, *parsed) : std::nullopt;
        if (image) site = *image;
      }
      sites.push_back(site);
    }
    return sites;
  }

 private:
  static std::vector<const AtomRecord*> OwnAtoms(const Document& document) {
    std::vector<const AtomRecord*> atoms;
    for (const AtomRecord* atom : Atoms(document.atoms))
      if (!IsGrownAtom(*atom)) atoms.push_back(atom);
    return atoms;
  }
  std::vector<NamedSite> Named() const {
    std::vector<NamedSite> named;
    for (const AtomRecord* atom : atoms_) named.push_back(NamedSiteOf(document_, *atom));
    return named;
  }

  const Document& document_;
  std::vector<Instruction> lines_;
  std::vector<const AtomRecord*> atoms_;
  AtomNameIndex index_;
};

// Values of a row of groups, by the places of all their sites one behind the other.
class GroupValues {
 public:
  GroupValues(const Workbench& bench, const std::vector<Group>& groups)
      : document_(bench.document),
        groups_(groups),
        source_(FindUncertainties(bench.document, bench.reports.uncertainties)),
        uncertainty_(bench.document, source_.get()) {
    for (const Group& group : groups)
      for (const GeometrySite& site : group.sites) {
        sites_.push_back(site);
        places_.push_back(document_.matrix * site.fract);
      }
  }
  std::span<const Cartesian> Of(std::span<const Cartesian> places, size_t group) const {
    size_t at = 0;
    for (size_t i = 0; i < group; ++i) at += groups_[i].sites.size();
    return places.subspan(at, groups_[group].sites.size());
  }
  std::string Text(int decimals, const GeometryUncertainty::Quantity& quantity) const {
    return WithUncertainty(quantity(places_), uncertainty_.Of(sites_, quantity), decimals);
  }
  std::span<const Cartesian> Places() const { return places_; }

 private:
  const Document& document_;
  const std::vector<Group>& groups_;
  std::shared_ptr<const UncertaintySource> source_;
  GeometryUncertainty uncertainty_;
  std::vector<GeometrySite> sites_;
  std::vector<Cartesian> places_;
};

std::vector<Group> ParseGroups(const Document& document, const std::string& text, std::string& fault) {
  std::string spaced;
  for (const char c : text) spaced += c == '[' ? std::string("[ ") : c == ']' ? std::string(" ]") : std::string(1, c);
  std::vector<std::string_view> words;
  SplitWords(spaced, words);
  std::vector<Group> groups;
  bool open = false;
  for (const std::string_view word : words) {
    if (word == "plane[" || word == "centroid[") {
      groups.push_back({word == "plane[" ? Group::Plane : Group::Centroid, {}});
      open = true;
    } else if (word == "]") {
      open = false;
    } else if (const AtomRecord* atom = FindAtomByText(document, word)) {
      if (!open) groups.push_back({});
      groups.back().sites.push_back(SiteFor(document, *atom));
    } else {
      fault = "Couldn't find " + std::string(word) + " in the atom list.";
    }
  }
  for (const Group& group : groups) {
    if (group.sites.empty()) fault = "A group has no atoms.";
    if (group.kind == Group::Plane && group.sites.size() < 3) fault = "A plane needs three atoms or more.";
  }
  return groups;
}

std::string FaultOf(const std::vector<Group>& groups) {
  const auto planes = std::ranges::count(groups, Group::Plane, &Group::kind);
  const bool alone = groups.size() == 1 && groups[0].kind != Group::Place;
  if (alone || (groups.size() >= 2 && groups.size() <= (planes > 0 ? 2 : 4))) return {};
  return "Two planes, a plane and a place, two to four places, or a plane alone are measured.";
}

struct GroupValue {
  const char* what;
  int decimals;
  const char* unit;
  GeometryUncertainty::Quantity quantity;
};
// Of groups without a fault; the quantities take the places of `values`, which has to stay.
std::vector<GroupValue> ValuesBetween(const std::vector<Group>& groups, const GroupValues& values) {
  using Places = std::span<const Cartesian>;
  const auto centre = [&values](Places p, size_t i) { return CentreOf(values.Of(p, i)); };
  const auto normal = [&values](Places p, size_t i) { return NormalOf(values.Of(p, i)); };
  const auto distance = [centre](Places p) { return Length(centre(p, 1) - centre(p, 0)); };
  const auto planes = std::ranges::count(groups, Group::Plane, &Group::kind);
  const size_t count = groups.size();
  if (planes == 0) {
    if (count == 1) return {};
    const auto quantity = [centre, count](Places p) {
      std::vector<Cartesian> points;
      for (size_t i = 0; i < count; ++i) points.push_back(centre(p, i));
      return GeometryOf(points).value_or(0.0);
    };
    constexpr const char* kNames[] = {"", "", "Distance", "Angle", "Torsion angle"};
    return {{kNames[count], count == 2 ? 4 : 2, count == 2 ? "Å" : "°", quantity}};
  }
  if (count == 1) {
    const auto flatness = [centre, normal](Places p) {
      double sum = 0.0;
      for (const Cartesian& place : p) sum += std::pow(Dot(normal(p, 0), place - centre(p, 0)), 2);
      return std::sqrt(sum / static_cast<double>(p.size()));
    };
    return {{"Root mean square deviation from the plane", 4, "Å", flatness}};
  }
  const size_t first = groups[0].kind == Group::Plane ? 0 : 1;
  const auto height = [centre, normal, first](Places p) {
    return std::fabs(Dot(normal(p, first), centre(p, 1 - first) - centre(p, first)));
  };
  if (planes == 1) return {{"Distance from the plane", 4, "Å", height}};
  const auto angle = [normal](Places p) {
    return std::acos(std::min(1.0, std::fabs(Dot(normal(p, 0), normal(p, 1))))) * kDegreesPerRadian;
  };
  const auto slip = [distance, height](Places p) {
    return std::sqrt(std::max(0.0, std::pow(distance(p), 2) - std::pow(height(p), 2)));
  };
  return {{"Angle between the planes", 2, "°", angle},
          {"Distance of the centroids", 4, "Å", distance},
          {"Second centroid from the first plane", 4, "Å", height},
          {"Shift along the first plane", 4, "Å", slip}};
}

// Of a place on a plane, where these two are measured.
std::optional<Cartesian> FootOf(const std::vector<Group>& groups, const GroupValues& values) {
  if (groups.size() != 2 || std::ranges::count(groups, Group::Plane, &Group::kind) != 1) return {};
  const size_t plane = groups[0].kind == Group::Plane ? 0 : 1;
  const auto of = [&](size_t group) { return values.Of(values.Places(), group); };
  const Cartesian place = CentreOf(of(1 - plane)), normal = NormalOf(of(plane));
  return place - normal * Dot(normal, place - CentreOf(of(plane)));
}

}  // namespace

std::string Measure::Text() const {
  return WithUncertainty(value, su, sites.size() == 2 ? 4 : 2) + (sites.size() == 2 ? " Å" : "°");
}

bool KeepsMeasures(const Document& document) {
  return Keeps(document, InstructionKeyword::kRtab);
}

bool KeepsPlanes(const Document& document) {
  return Keeps(document, InstructionKeyword::kMpla);
}

std::vector<Measure> MeasuresOf(const Workbench& bench) {
  const Document& document = bench.document;
  std::vector<Measure> measures;
  if (!KeepsMeasures(document)) return measures;
  const LineSites sites(document);
  const auto source = FindUncertainties(document, bench.reports.uncertainties);
  const GeometryUncertainty uncertainty(document, source.get());
  for (const Instruction& line : sites.Lines()) {
    if (line.keyword != InstructionKeyword::kRtab || line.all.size() < 3 || line.all.size() > 5) continue;
    const std::vector<std::string> words(line.all.begin() + 1, line.all.end());
    Measure measure{line.all[0], sites.Of(line, words), {}, 0.0, {}};
    std::vector<Cartesian> places;
    for (const GeometrySite& site : measure.sites) places.push_back(document.matrix * site.fract);
    const auto value = measure.sites.size() == words.size() ? GeometryOf(places) : std::nullopt;
    if (!value) continue;
    for (const std::string& word : words) measure.names += (measure.names.empty() ? "" : "–") + word;
    measure.value = *value;
    measure.su = uncertainty.OfGeometry(measure.sites);
    measures.push_back(std::move(measure));
  }
  return measures;
}

std::string AddMeasure(Document& document, const std::vector<const AtomRecord*>& atoms) {
  if (atoms.size() < 2 || atoms.size() > 4)
    return "Choose two atoms for a distance, three for an angle, four for a torsion angle.";
  std::vector<Cartesian> places;
  for (const AtomRecord* atom : atoms) {
    if (atom->IsPeak()) return atom->name + " is a peak: only atoms are measured for keeps.";
    places.push_back(atom->position);
  }
  if (!GeometryOf(places)) return "There is nothing to be measured: atoms at one place, or in line.";
  std::string line = std::string("RTAB ") + kLabels[atoms.size()];
  for (const AtomRecord* atom : atoms) {
    const std::string name = QualifiedName(document, *atom);
    line += " " + name;
    const auto operation = IsGrownAtom(*atom) ? OperatorOf(document, *atom) : std::nullopt;
    if (operation) line += (name.find('_') == name.npos ? "_" : "") + EquivalentOf(document, *operation);
  }
  for (const KeptLine& kept : document.instructions.kept)
    if (kept.text == line) return "This is measured already: " + line;
  document.instructions.kept.push_back({KeptPlace::Body, line, -1});
  return {};
}

bool RemoveMeasures(Document& document, std::optional<size_t> at) {
  size_t count = 0;
  return std::erase_if(document.instructions.kept, [&](const KeptLine& line) {
           if (HeadOf(line.text).keyword != InstructionKeyword::kRtab) return false;
           return !at || count++ == *at;
         }) > 0;
}

size_t AddHydrogenBondLines(Document& document) {
  const GeometryUncertainty none(document, nullptr);
  struct Line {
    const AtomRecord* donor;
    const AtomRecord* acceptor;
    int code;
    auto operator<=>(const Line&) const = default;
  };
  std::vector<Line> lines;
  const EnvironmentSearch search(document, kDefaultEnvironment, none);
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!atom->IsHydrogen() || IsGrownAtom(*atom)) continue;
    for (const HydrogenBond& bond : search.About(*atom, kDefaultEnvironment).hydrogenBonds) {
      const Line line{bond.donor.atom, bond.acceptor.atom, bond.acceptor.symmetryCode};
      const bool own = bond.hydrogen.atom == atom && bond.donor.symmetryCode == GeometrySite::kIdentityCode &&
                       !IsGrownAtom(*line.donor) && !IsGrownAtom(*line.acceptor);
      if (own && std::ranges::find(lines, line) == lines.end()) lines.push_back(line);
    }
  }
  std::set<std::string> known;
  for (const Instruction& line : InstructionsOf(document)) known.insert(UpperCase(line.text));
  size_t added = 0;
  for (const Line& line : lines) {
    const auto operation = OperatorOfCode(document.symmetry, line.code);
    if (!operation) continue;
    std::string text = "HTAB " + QualifiedName(document, *line.donor) + " " + QualifiedName(document, *line.acceptor);
    const bool isImage = *operation != SymmetryOperator{};
    if (isImage)
      text += (QualifiedName(document, *line.acceptor).find('_') == text.npos ? "_" : "") +
              EquivalentOf(document, *operation);
    if (!known.insert(UpperCase(text)).second) continue;
    document.instructions.kept.push_back({KeptPlace::Body, text, -1});
    ++added;
  }
  return added;
}

std::string MeasureGroups(const Workbench& bench, const std::string& text, std::string& fault) {
  const std::vector<Group> groups = ParseGroups(bench.document, text, fault);
  if (fault.empty()) fault = FaultOf(groups);
  if (!fault.empty()) return {};
  const GroupValues values(bench, groups);
  std::string lines;
  for (const GroupValue& value : ValuesBetween(groups, values))
    AppendPrintf(lines, "%-40s %s %s\n", value.what, values.Text(value.decimals, value.quantity).c_str(), value.unit);
  return lines.empty() ? Printf("The centroid of %d atoms\n", static_cast<int>(groups[0].sites.size())) : lines;
}

std::vector<GroupMeasure> GroupMeasuresOf(const Workbench& bench) {
  std::vector<GroupMeasure> measures;
  const auto add = [&](const std::vector<Group>& groups) {
    const GroupValues values(bench, groups);
    measures.push_back({groups, {}, FootOf(groups, values)});
    if (groups.size() < 2) return;
    std::string& text = measures.back().text;
    const auto between = ValuesBetween(groups, values);
    // Of two planes the distance of the centroids stands first, their angle behind it.
    const bool planes = groups[0].kind == Group::Plane && groups[1].kind == Group::Plane;
    for (const size_t i : planes ? std::vector<size_t>{1, 0} : std::vector<size_t>{0}) {
      const bool angle = between[i].unit != std::string_view("Å");
      text += (text.empty() ? "" : ", ") + values.Text(between[i].decimals, between[i].quantity) + (angle ? "" : " ") +
              between[i].unit;
    }
  };
  if (KeepsPlanes(bench.document)) {
    const LineSites sites(bench.document);
    std::vector<Group> planes;
    for (const Instruction& line : sites.Lines()) {
      if (line.keyword != InstructionKeyword::kMpla) continue;
      Group plane{Group::Plane, sites.Of(line, line.words)};
      const double wanted = line.numbers.empty() ? 1e6 : std::max(line.numbers[0], 0.0);
      plane.sites.resize(std::min(plane.sites.size(), static_cast<size_t>(std::min(wanted, 1e6))));
      if (plane.sites.size() >= 3) planes.push_back(std::move(plane));
    }
    if (planes.size() == 1) add(planes);
    for (size_t i = 1; i < planes.size(); ++i) add({planes[i - 1], planes[i]});
  }
  for (const std::string& text : bench.measuredGroups) {
    std::string fault;
    const std::vector<Group> groups = ParseGroups(bench.document, text, fault);
    if (fault.empty() && FaultOf(groups).empty()) add(groups);
  }
  return measures;
}

}  // namespace marvik
