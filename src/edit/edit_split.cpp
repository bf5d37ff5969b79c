#include "edit/edit_split.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "base/numbers.h"
#include "chem/geometry/atom_geometry.h"
#include "chem/hydrogens/hfix.h"
#include "edit/edit_elements.h"
#include "edit/edit_label.h"
#include "edit/edit_names.h"
#include "edit/edit_part.h"
#include "edit/edit_paste.h"
#include "edit/edit_riding.h"
#include "edit/split_places.h"
#include "language/composed_line.h"
#include "language/instruction.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr double kNearOtherDisorder = 3.5;  // Å
constexpr int kRigidLeast = 5;              // AFIX codes that end so, 5, 6 and 9, are of rigid groups

// What a split takes with it, in list order: the atoms, and the hydrogens of each.
struct Group {
  std::vector<AtomRecord*> atoms;
  std::vector<std::vector<AtomRecord*>> hydrogens;
};

// Whether a hydrogen goes where an atom goes: it rides on that, or is bonded to it and to nothing nearer.
bool Follows(const Document& document, const AtomRecord& hydrogen, const AtomRecord& carrier) {
  if (hydrogen.parent) return hydrogen.parent == &carrier;
  const AtomRecord* nearest = nullptr;
  for (const AtomRecord* bonded : BondedAtoms(document, hydrogen)) {
    if (bonded->IsHydrogen() || bonded->IsPeak()) continue;
    const auto distance = [&](const AtomRecord* atom) { return Distance(atom->position, hydrogen.position); };
    if (!nearest || distance(bonded) < distance(nearest)) nearest = bonded;
  }
  return nearest == &carrier;
}

std::string Refusal(const Document& document, const AtomRecord& atom) {
  if (atom.IsPeak()) return atom.name + " is a peak: make an atom of it first.";
  if (IsGrownAtom(atom)) return atom.name + " was made by GROW or PACK; split the atom that it is an image of.";
  if (atom.IsHydrogen())
    return atom.name + (atom.IsRiding() ? " rides on its carrier and follows when that is split."
                                        : " is a hydrogen; it follows when its carrier is split.");
  const int code = static_cast<int16_t>(atom.afix);
  if (code >= kRigidLeast && !IsRidingCode(code))
    return Printf("%s is in a rigid group (AFIX %d), which cannot come apart.", atom.name.c_str(), code);
  if (atom.part != 0) return Printf("%s is split already: it is in PART %d.", atom.name.c_str(), atom.part);
  const int variable = SplitCodedValue(atom.occupancy).variable;
  if (variable > 1)
    return Printf("%s is split already: free variable %d gives its occupancy.", atom.name.c_str(), variable);
  if (!(DecodedOccupancy(atom, document.instructions) > 0.0)) return atom.name + " has no occupancy to be shared.";
  return {};
}

class Splitter {
 public:
  Splitter(Document& document, const SplitRequest& request, UserMessages& messages)
      : document_(document), request_(request), messages_(messages) {}

  std::string Split(const std::vector<AtomRecord*>& chosen) {
    if (std::string fault = Gather(chosen); !fault.empty()) return fault;
    std::string fault;
    std::vector<AtomRecord*> used;
    places_ = PlaceParts(document_, group_.atoms, request_, used, fault);
    if (!fault.empty()) return fault;
    if (request_.way == SplitWay::Symmetry) return LeaveToSymmetry();
    if (fault = TakeVariables(); !fault.empty()) return fault;
    ChooseParts();
    copies_.resize(static_cast<size_t>(request_.parts));
    bonds_ = BondsNow();
    if (!Copy()) return "There is no memory for the new atoms.";
    MoveFirst();
    CarryLines();
    Restrain();
    document_.atoms.KillAtoms(used);
    document_.RecomputePositions();
    return {};
  }

 private:
  using Bonds = std::unordered_map<const AtomRecord*, std::vector<const AtomRecord*>>;
  size_t Count() const { return copies_.size(); }

  std::string Gather(const std::vector<AtomRecord*>& chosen) {
    const std::unordered_set<const AtomRecord*> wanted(chosen.begin(), chosen.end());
    for (AtomRecord* atom : Atoms(document_.atoms)) {
      if (!wanted.contains(atom) || std::ranges::find(request_.peaks, atom) != request_.peaks.end()) continue;
      // A hydrogen that comes with its carrier need not be left out by hand.
      const auto carries = [&](const AtomRecord* other) { return Follows(document_, *atom, *other); };
      if (atom->IsHydrogen() && std::ranges::any_of(chosen, carries)) continue;
      if (std::string fault = Refusal(document_, *atom); !fault.empty()) return fault;
      group_.atoms.push_back(atom);
    }
    if (group_.atoms.empty()) return "There is no atom to split.";
    for (const AtomRecord* atom : group_.atoms) {
      group_.hydrogens.emplace_back();
      for (AtomRecord* other : Atoms(document_.atoms))
        if (other->IsHydrogen() && !IsGrownAtom(*other) && Follows(document_, *other, *atom))
          group_.hydrogens.back().push_back(other);
    }
    return {};
  }

  std::string TakeVariables() {
    auto& variables = document_.instructions.freeVariables;
    first_ = static_cast<int>(variables.size()) + 2;
    if (request_.fvar && request_.parts == 3) return "Three parts have free variables of their own.";
    if (request_.fvar && *request_.fvar < first_) {
      first_ = *request_.fvar;
      return {};
    }
    if (request_.fvar && *request_.fvar > first_)
      return Printf("Free variable %d is not there; the next new one is number %d.", *request_.fvar, first_);
    if (request_.parts == 2) {
      variables.push_back(static_cast<float>(request_.value));
      return {};
    }
    variables.insert(variables.end(), 3, 1.0f / 3.0f);
    Keep(Printf("SUMP 1 0.001 1 %d 1 %d 1 %d", first_, first_ + 1, first_ + 2));
    return {};
  }
  double OccupancyIn(const AtomRecord& atom, size_t part) const {
    const double p = std::fabs(atom.occupancy) - 10.0 * SplitCodedValue(atom.occupancy).variable;
    if (request_.parts == 3) return CodedOccupancy(first_ + static_cast<int>(part), p);
    return CodedOccupancy(part == 0 ? first_ : -first_, p);
  }

  // What lies on a special position has its share of the occupancy already.
  std::string LeaveToSymmetry() {
    const Metric metric = MakeMetric(document_.cell);
    std::vector<size_t> orders;
    for (const AtomRecord* atom : group_.atoms)
      orders.push_back(SiteOperationsOf(document_, metric, atom->fract).size());
    const size_t order = std::ranges::max(orders);
    if (order < 2) return "None of the chosen atoms lies on a special position.";
    ChooseParts();
    for (size_t i = 0; i < group_.atoms.size(); ++i) {
      AtomRecord& atom = *group_.atoms[i];
      const Fractional shift = places_[i][0].fract - atom.fract;
      PutAt(atom, places_[i][0].fract);
      if (atom.u != places_[i][0].u) std::fill(atom.codedValues.begin() + kCodedU, atom.codedValues.end(), 0.0);
      atom.u = places_[i][0].u;
      Share(atom, static_cast<double>(order / orders[i]));
      for (AtomRecord* hydrogen : group_.hydrogens[i]) {
        PutAt(*hydrogen, hydrogen->fract + shift);
        Share(*hydrogen, static_cast<double>(order / orders[i]));
      }
    }
    document_.RecomputePositions();
    return {};
  }
  void Share(AtomRecord& atom, double among) const {
    atom.part = static_cast<int16_t>(-part_);
    const double code = 10.0 * SplitCodedValue(atom.occupancy).variable;
    atom.occupancy = std::copysign(code + (std::fabs(atom.occupancy) - code) / among, atom.occupancy);
    atom.codedValues[kCodedOccupancy] = 0.0;
  }

  // Those of the free variable where it has some, else the lowest that no other disorder near by has.
  void ChooseParts() {
    part_ = 1;
    std::set<int> near;
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      if (atom->part == 0) continue;
      if (request_.fvar && SplitCodedValue(atom->occupancy).variable == first_) {
        part_ = std::abs(atom->part) - (atom->occupancy < 0.0 ? 1 : 0);
        part_ = std::max(part_, 1);
        return;
      }
      for (const AtomRecord* other : group_.atoms)
        if (Distance(atom->position, other->position) < kNearOtherDisorder) near.insert(std::abs(atom->part));
    }
    const auto isNear = [&](int part) { return part >= part_ && part < part_ + request_.parts; };
    while (std::ranges::any_of(near, isNear)) ++part_;
  }

  Bonds BondsNow() const {
    Bonds bonds;
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord*) {
        if (atom->IsPeak() || partner->IsPeak() || IsGrownAtom(*atom) || IsGrownAtom(*partner)) return;
        bonds[atom].push_back(partner);
        bonds[partner].push_back(atom);
      });
    }
    return bonds;
  }

  void PutAt(AtomRecord& atom, const Fractional& fract) const {
    for (int i = 0; i < 3; ++i)
      if (std::fabs(fract[i] - atom.fract[i]) > 1e-7) atom.codedValues[static_cast<size_t>(i)] = 0.0;
    atom.fract = fract;
  }
  void PutPart(AtomRecord& atom, const PartPlace& place, size_t part) const {
    PutAt(atom, place.fract);
    if (atom.u != place.u) std::fill(atom.codedValues.begin() + kCodedU, atom.codedValues.end(), 0.0);
    atom.u = place.u;
    Enter(atom, part);
  }
  void Enter(AtomRecord& atom, size_t part) const {
    atom.part = static_cast<int16_t>(part_ + static_cast<int>(part));
    atom.occupancy = OccupancyIn(atom, part);
    atom.codedValues[kCodedOccupancy] = 0.0;
  }

  // The parts stand behind the last atom, each in one piece.
  bool Copy() {
    AtomRecord* place = group_.atoms.back();
    while (place->next && place->next->parent == group_.atoms.back()) place = place->next;
    for (const AtomRecord* atom : Atoms(document_.atoms))
      if (atom->generated == 0 && !atom->Has(kFromGrownSection)) taken_.insert({atom->residue, UpperCase(atom->name)});
    int32_t nextAfixGroup = NextAfixGroup(document_);
    for (size_t part = 1; part < Count(); ++part) {
      std::map<int32_t, int32_t> afixGroups;
      NameCopies(part);
      for (size_t i = 0; i < group_.atoms.size(); ++i) {
        const AtomRecord& source = *group_.atoms[i];
        AtomRecord* atom = CopyOfAtom(document_, source, messages_);
        if (!atom) return false;
        atom->name = names_.at(&source);
        PutPart(*atom, places_[i][part], part);
        document_.atoms.LinkBehind(atom, place);
        place = atom;
        copies_[part].emplace(&source, atom);
        for (AtomRecord* hydrogen : group_.hydrogens[i]) {
          AtomRecord* rider = CopyOfAtom(document_, *hydrogen, messages_);
          if (!rider) return false;
          rider->name = names_.at(hydrogen);
          rider->parent = hydrogen->parent ? atom : nullptr;
          PutAt(*rider, hydrogen->fract + (atom->fract - source.fract));
          Enter(*rider, part);
          if (rider->afixGroup) {
            const auto [group, isNew] = afixGroups.try_emplace(rider->afixGroup, 0);
            if (isNew) group->second = nextAfixGroup++;
            rider->afixGroup = group->second;
          }
          document_.atoms.LinkBehind(rider, place);
          place = rider;
          copies_[part].emplace(hydrogen, rider);
        }
      }
    }
    return true;
  }

  // One letter for all where there is room, else the next free number.
  void NameCopies(size_t part) {
    const auto isFree = [&](char letter) {
      return std::ranges::all_of(
          group_.atoms, [&](const AtomRecord* atom) { return IsNameFree(atom->name + letter, atom->residue); });
    };
    char letter = static_cast<char>('A' + part - 1);
    while (letter <= 'Z' && !isFree(letter)) ++letter;
    names_.clear();
    for (size_t i = 0; i < group_.atoms.size(); ++i) {
      const AtomRecord& atom = *group_.atoms[i];
      Give(atom, letter <= 'Z' ? std::vector{atom.name + letter} : std::vector<std::string>{});
      const std::string stem = "H" + LabelDigits(names_.at(&atom));
      for (const AtomRecord* hydrogen : group_.hydrogens[i]) {
        std::vector<std::string> candidates;
        if (group_.hydrogens[i].size() == 1) candidates.push_back(stem);
        for (char c = 'A'; c <= 'Z'; ++c) candidates.push_back(stem + c);
        for (char c = 'A'; c <= 'Z'; ++c) candidates.push_back("H" + LabelDigits(atom.name) + c);
        Give(*hydrogen, candidates);
      }
    }
  }
  bool IsNameFree(const std::string& name, int residue) const {
    return name.size() <= 4 && !CheckAtomName(name) && !taken_.contains({residue, UpperCase(name)});
  }
  static std::string LabelDigits(const std::string& name) { return LabelNumber(name) + LabelSuffix(name); }
  void Give(const AtomRecord& atom, const std::vector<std::string>& candidates) {
    const auto isFree = [&](const std::string& name) { return IsNameFree(name, atom.residue); };
    const auto found = std::ranges::find_if(candidates, isFree);
    std::string name = found == candidates.end() ? std::string() : *found;
    const std::string symbol(atom.element->Symbol());
    for (int number = 1; name.empty() && number < 1000; ++number)
      if (const std::string next = symbol + std::to_string(number); isFree(next)) name = next;
    if (name.empty()) name = atom.name;
    taken_.insert({atom.residue, UpperCase(name)});
    names_[&atom] = name;
  }

  void MoveFirst() {
    for (size_t i = 0; i < group_.atoms.size(); ++i) {
      AtomRecord& atom = *group_.atoms[i];
      const Fractional shift = places_[i][0].fract - atom.fract;
      PutPart(atom, places_[i][0], 0);
      copies_[0].emplace(&atom, &atom);
      for (AtomRecord* hydrogen : group_.hydrogens[i]) {
        PutAt(*hydrogen, hydrogen->fract + shift);
        Enter(*hydrogen, 0);
        copies_[0].emplace(hydrogen, hydrogen);
      }
    }
  }

  AtomRecord* InPart(const AtomRecord* atom, size_t part) const {
    const auto at = copies_[part].find(atom);
    return at == copies_[part].end() ? const_cast<AtomRecord*>(atom) : at->second;
  }

  // BIND, FREE and HFIX of the copies.
  void CarryLines() {
    for (PairList* list : {&document_.atoms.bindPairs, &document_.atoms.freePairs}) {
      const std::vector<PairList::Pair> before = list->pairs;
      for (const PairList::Pair& pair : before) {
        if (!copies_[0].contains(pair.first) && !copies_[0].contains(pair.second)) continue;
        for (size_t part = 1; part < Count(); ++part) list->Append(InPart(pair.first, part), InPart(pair.second, part));
      }
    }
    const std::vector<HfixEntry> before = document_.atoms.hfix;
    for (const AtomRecord* atom : group_.atoms) {
      for (const HfixEntry& entry : before) {
        const Instruction hfix = ParseInstruction(entry.text);
        const auto isName = [&](const std::string& word) { return UpperCase(word) == UpperCase(atom->name); };
        const bool named = !entry.carrier && std::ranges::any_of(hfix.words, isName);
        if ((entry.carrier != atom && !named) || hfix.numbers.empty()) continue;
        for (size_t part = 1; part < Count(); ++part)
          SetHfixEntry(document_, InPart(atom, part), WholeNumber(hfix.numbers[0]));
        break;
      }
    }
  }

  void Keep(const std::string& text) { document_.instructions.kept.push_back({KeptPlace::Body, text, -1}); }
  std::string NameOf(const AtomRecord* atom) const { return QualifiedName(document_, *atom); }

  // "SADI A B A' B'" for two atoms of which one has parts.
  void Alike(const char* head, const AtomRecord* a, const AtomRecord* b) {
    ComposedLine line(head);
    for (size_t part = 0; part < Count(); ++part)
      line.Add(" " + NameOf(InPart(a, part)) + " " + NameOf(InPart(b, part)));
    Keep(line.Text());
  }
  bool IsSplit(const AtomRecord* atom) const { return copies_[0].contains(atom); }
  bool Counts(const AtomRecord* atom) const { return !atom->IsRiding() && (atom->part == 0 || IsSplit(atom)); }

  void Restrain() {
    if (request_.distances == SplitDistances::Same) AddSame();
    if (request_.distances != SplitDistances::None) AddSadi();
    AddDisplacements();
  }

  void AddSame() {
    for (size_t part = 1; part < Count(); ++part) {
      ComposedLine same("SAME");
      for (const AtomRecord* atom : group_.atoms) same.Add(" " + NameOf(atom));
      InPart(group_.atoms.front(), part)
          ->MutableExtras()
          .linesBefore.push_back({KeptPlace::BeforeAtom, same.Text(), -1});
    }
  }

  // Bonds, and distances between two neighbours of one atom; SAME has those within the parts.
  void AddSadi() {
    std::vector<const AtomRecord*> order;
    std::unordered_map<const AtomRecord*, size_t> place;
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      place[atom] = order.size();
      order.push_back(atom);
    }
    std::set<std::pair<size_t, size_t>> bonds, angles;
    const auto note = [&](std::set<std::pair<size_t, size_t>>& into, const AtomRecord* a, const AtomRecord* b) {
      const bool within = IsSplit(a) && IsSplit(b) && !a->IsHydrogen() && !b->IsHydrogen();
      const bool same = request_.distances == SplitDistances::Same && within;
      if (a != b && Counts(a) && Counts(b) && (IsSplit(a) || IsSplit(b)) && !same)
        into.insert(std::minmax(place.at(a), place.at(b)));
    };
    for (const auto& [atom, neighbours] : bonds_) {
      for (const AtomRecord* a : neighbours) {
        note(bonds, atom, a);
        for (const AtomRecord* b : neighbours) note(angles, a, b);
      }
    }
    for (const auto& [a, b] : bonds) Alike("SADI", order[a], order[b]);
    for (const auto& [a, b] : angles)
      if (!bonds.contains({a, b})) Alike("SADI 0.04", order[a], order[b]);
  }

  void AddDisplacements() {
    const SplitDisplacements kind = request_.displacements;
    ComposedLine simu("SIMU"), rigu("RIGU");
    std::set<const AtomRecord*> neighbours;
    for (const AtomRecord* atom : group_.atoms) {
      ComposedLine equal("EADP");
      for (size_t part = 0; part < Count(); ++part) {
        const std::string name = " " + NameOf(InPart(atom, part));
        simu.Add(name);
        rigu.Add(name);
        equal.Add(name);
      }
      if (kind == SplitDisplacements::Equal) Keep(equal.Text());
      for (const AtomRecord* neighbour : bonds_[atom])
        if (!neighbour->IsHydrogen() && !IsSplit(neighbour) && neighbours.insert(neighbour).second)
          rigu.Add(" " + NameOf(neighbour));
    }
    if (kind == SplitDisplacements::Rigu || kind == SplitDisplacements::Both) Keep(rigu.Text());
    if (kind == SplitDisplacements::Simu || kind == SplitDisplacements::Both) Keep(simu.Text());
  }

  Document& document_;
  const SplitRequest& request_;
  UserMessages& messages_;
  Group group_;
  std::vector<AtomParts> places_;
  Bonds bonds_;
  int first_ = 2;                                                           // free variable of the first part
  int part_ = 1;                                                            // PART of the first part
  std::vector<std::unordered_map<const AtomRecord*, AtomRecord*>> copies_;  // by part, from the first
  std::unordered_map<const AtomRecord*, std::string> names_;                // of the part that is being made
  std::set<std::pair<int, std::string>> taken_;                             // residue and name in capitals
};

}  // namespace

std::string SplitAtoms(Document& document, const std::vector<AtomRecord*>& chosen, const SplitRequest& request,
                       UserMessages& messages) {
  return Splitter(document, request, messages).Split(chosen);
}

}  // namespace marvik
