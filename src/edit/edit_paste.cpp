#include "edit/edit_paste.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "base/words.h"
#include "crystal/cell_metric.h"
#include "edit/edit_elements.h"
#include "edit/edit_riding.h"
#include "edit/split_places.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr double kSamePlace = 0.3;  // Å
constexpr double kStepAside = 1.5;  // Å
constexpr int kMostStepsAside = 50;
constexpr size_t kProbes = 50;   // a copy that lies on its original does so with its first atoms
constexpr double kFreeU = 0.05;  // Å², of a hydrogen that rides no more

void StopRiding(AtomRecord& atom) {
  atom.afix = 0;
  atom.afixGroup = 0;
  if (atom.u[0] < 0.0) atom.u[0] = kFreeU;
  atom.codedValues[kCodedU] = 0.0;
}

class Paster {
 public:
  Paster(Document& document, const Document& from, UserMessages& messages)
      : document_(document),
        from_(from),
        messages_(messages),
        metric_(MakeMetric(document.cell)),
        fromMetric_(MakeMetric(from.cell)) {}

  std::string Paste() {
    const Fractional aside = StepAside();
    for (AtomRecord* atom : Atoms(document_.atoms)) {
      if (IsGrownAtom(*atom)) continue;
      taken_.emplace(atom->residue, LowerCase(atom->name));
      lastPeak_ = atom;
      if (!atom->IsPeak()) lastAtom_ = atom;
    }
    std::unordered_map<const AtomRecord*, AtomRecord*> copies;
    std::map<int32_t, int32_t> groups;
    int32_t nextGroup = NextAfixGroup(document_);
    for (const AtomRecord* source : Atoms(from_.atoms)) {
      AtomRecord* atom = CopyOfAtom(document_, *source, messages_);
      if (!atom) return "There is no memory for the new atoms.";
      atom->fract = PlaceOf(*source) + aside;
      if (!IsSameCell() && atom->IsAnisotropic()) atom->u = FileTensor(metric_, fromMetric_.CartesianU(atom->u));
      TakeValues(*atom);
      TakeElement(*atom, *source);
      TakeResidue(*atom, *source);
      atom->name = FreeName(*atom);
      const auto carrier = copies.find(source->parent);
      atom->parent = carrier == copies.end() ? nullptr : carrier->second;
      if (atom->afixGroup) {
        const auto [group, isNew] = groups.try_emplace(atom->afixGroup, 0);
        if (isNew) group->second = nextGroup++;
        atom->afixGroup = group->second;
      }
      if (atom->IsRiding() && !atom->parent) StopRiding(*atom);
      AtomRecord*& last = atom->IsPeak() ? lastPeak_ : lastAtom_;
      document_.atoms.LinkBehind(atom, last);
      if (lastPeak_ == last) lastPeak_ = atom;
      last = atom;
      copies.emplace(source, atom);
    }
    if (copies.empty()) return "There are no atoms to paste.";
    if (isNewElement_) RecountUnit(document_);
    document_.RecomputePositions();
    document_.atoms.selection.Clear();
    for (const AtomRecord* source : Atoms(from_.atoms)) document_.atoms.selection.Append(copies.at(source));
    return {};
  }

 private:
  bool IsSameCell() const { return document_.cell == from_.cell; }
  Fractional PlaceOf(const AtomRecord& source) const {
    return IsSameCell() ? source.fract : metric_.ToFractional(fromMetric_.ToCartesian(source.fract));
  }

  // So that a copy of what is there already can be seen and taken hold of.
  Fractional StepAside() const {
    std::vector<const AtomRecord*> probes;
    for (const AtomRecord* source : Atoms(from_.atoms))
      if (probes.size() < kProbes) probes.push_back(source);
    Fractional aside;
    const auto isTaken = [&](const AtomRecord* source) {
      const Cartesian place = metric_.ToCartesian(PlaceOf(*source) + aside);
      for (const AtomRecord* atom : Atoms(document_.atoms)) {
        const bool alike = atom->element->atomicNumber == source->element->atomicNumber;
        if (alike && Length(metric_.ToCartesian(atom->fract) - place) < kSamePlace) return true;
      }
      return false;
    };
    for (int step = 0; step < kMostStepsAside && std::ranges::any_of(probes, isTaken); ++step)
      aside.x += kStepAside / document_.cell.a;
    return aside;
  }

  // Free variables stay where they are known; a coded coordinate stays on the place that it fixes.
  void TakeValues(AtomRecord& atom) const {
    const bool isFixed = std::fabs(atom.occupancy) >= 5.0 && SplitCodedValue(atom.occupancy).variable == 1;
    const double plain = DecodedOccupancy(atom, from_.instructions);
    if (!isFixed || atom.partHasOccupancy) atom.occupancy = 10.0 + plain;
    atom.partHasOccupancy = 0;
    atom.codedValues[kCodedOccupancy] = 0.0;
    for (size_t i = 0; i < atom.codedValues.size(); ++i) {
      const bool isPlace = i < kCodedOccupancy;
      if (SplitCodedValue(atom.codedValues[i]).variable > 1 || isPlace) atom.codedValues[i] = 0.0;
    }
  }

  void TakeElement(AtomRecord& atom, const AtomRecord& source) {
    const int row = static_cast<int>(source.element - &from_.elements[0]);
    auto& sfac = document_.instructions.sfac;
    if (row > 0 && row < kUnknownRow && std::ranges::find(sfac, row) == sfac.end()) {
      AddSfacEntry(document_, row);
      isNewElement_ = true;
    }
    atom.element = &document_.elements[row];
    atom.sfacNumber = 0;
  }

  void TakeResidue(AtomRecord& atom, const AtomRecord& source) const {
    if (source.residue < 0) return;
    const Residue& wanted = from_.residues[static_cast<size_t>(source.residue)];
    auto& residues = document_.residues;
    const auto same = [&](const Residue& r) { return r.number == wanted.number && r.chain == wanted.chain; };
    auto at = std::ranges::find_if(residues, same);
    if (at == residues.end()) at = residues.insert(at, {wanted.className, wanted.number, wanted.chain, {}, {}});
    atom.residue = static_cast<int32_t>(at - residues.begin());
  }

  std::string FreeName(const AtomRecord& atom) {
    const auto take = [&](const std::string& name) { return taken_.emplace(atom.residue, LowerCase(name)).second; };
    if (take(atom.name)) return atom.name;
    const std::string symbol(atom.IsPeak() ? "Q" : atom.element->Symbol());
    for (int& number = last_[{atom.residue, symbol}]; number < 999;)
      if (const std::string name = symbol + std::to_string(++number); name.size() <= 4 && take(name)) return name;
    return atom.name;
  }

  Document& document_;
  const Document& from_;
  UserMessages& messages_;
  const Metric metric_, fromMetric_;
  bool isNewElement_ = false;
  std::set<std::pair<int32_t, std::string>> taken_;      // residue and name
  std::map<std::pair<int32_t, std::string>, int> last_;  // number given to an element in a residue
  AtomRecord* lastAtom_ = nullptr;                       // behind which atoms go
  AtomRecord* lastPeak_ = nullptr;                       // and peaks
};

}  // namespace

AtomRecord* CopyOfAtom(Document& document, const AtomRecord& source, UserMessages& messages) {
  AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
  if (!atom) return nullptr;
  const AtomRecord fresh = *atom;
  *atom = source;
  atom->next = atom->prev = nullptr;
  atom->bonds = nullptr;
  atom->slot = fresh.slot;
  atom->serial = fresh.serial;
  atom->createMark = fresh.createMark;
  atom->killMark = fresh.killMark;
  atom->Set(kSelected, false);
  atom->Set(kInSubset, fresh.Has(kInSubset));
  atom->sourceLine = -1;
  atom->sourceHash = 0;
  if (!atom->extras.empty()) atom->MutableExtras().linesBefore.clear();
  return atom;
}

Document AtomsAlone(const Document& document, const std::vector<AtomRecord*>& chosen) {
  std::unordered_set<uint32_t> wanted;
  for (const AtomRecord* atom : chosen) wanted.insert(atom->serial);
  Document alone = document;
  std::vector<AtomRecord*> others;
  for (AtomRecord* atom : Atoms(alone.atoms))
    if (!wanted.contains(atom->serial)) others.push_back(atom);
  alone.atoms.DestroyAtoms(others);
  alone.atoms.hfix.clear();
  alone.atoms.trailingLines.clear();
  alone.instructions.source.reset();
  alone.instructions.kept.clear();
  alone.instructions.droppedRemarks.clear();
  for (AtomRecord* atom : Atoms(alone.atoms)) {
    atom->sourceLine = -1;
    atom->generated = atom->symmetryCode = 0;
    atom->sourceSerial = 0;
    atom->Set(kFromGrownSection, false);
    atom->Set(kHidden, false);
    atom->afterEnd = atom->afterHklf = false;
    if (!atom->extras.empty()) atom->MutableExtras().linesBefore.clear();
    if (atom->IsRiding() && !atom->parent) StopRiding(*atom);
  }
  return alone;
}

std::string PasteAtoms(Document& document, const Document& from, UserMessages& messages) {
  return Paster(document, from, messages).Paste();
}

}  // namespace marvik
