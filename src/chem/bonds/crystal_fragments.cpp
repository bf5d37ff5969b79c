#include "chem/bonds/crystal_fragments.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numeric>
#include <set>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/crowding.h"
#include "model/coded_values.h"
#include "model/placement.h"

namespace marvik {

namespace {

constexpr double kSamePlace = 0.1;  // Å
constexpr double kPlaceCell = 0.5;  // Å
constexpr ImageId kIdentity{};
constexpr int64_t kFarthestCell = 1000000;

std::vector<AtomRecord*> FileAtomsOf(const Document& document) {
  std::vector<AtomRecord*> atoms;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (!IsGenerated(*atom) && !atom->IsPeak()) atoms.push_back(atom);
  return atoms;
}

double LargestRadius(const std::vector<AtomRecord*>& atoms) {
  double largest = 0.0;
  for (const AtomRecord* atom : atoms) largest = std::max(largest, atom->element->bondRadius);
  return largest;
}

ImageSearch SearchOf(const Document& document, const std::vector<AtomRecord*>& atoms) {
  std::vector<Fractional> places(atoms.size());
  std::transform(atoms.begin(), atoms.end(), places.begin(), [](const AtomRecord* atom) { return atom->fract; });
  return {places, document.symmetry, document.cell, 2.0 * LargestRadius(atoms) + kBondTolerance};
}

}  // namespace

CrystalFragments::CrystalFragments(const Document& document)
    : rules_(document),
      operators_(&document.symmetry),
      atoms_(FileAtomsOf(document)),
      largestRadius_(LargestRadius(atoms_)),
      images_(SearchOf(document, atoms_)) {
  for (uint32_t i = 0; i < atoms_.size(); ++i) bySerial_[atoms_[i]->serial] = i;
  NumberFragments();
  FindCarriers();
  FindEdges();
}

void CrystalFragments::FindCarriers() {
  carriers_.resize(atoms_.size());
  for (uint32_t i = 0; i < atoms_.size(); ++i)
    if (atoms_[i]->IsHydrogen() && atoms_[i]->parent) carriers_[i] = atoms_[i]->parent;
  const auto carry = [&](const AtomRecord* hydrogen, const AtomRecord* carrier) {
    const auto i = IndexOf(hydrogen->serial);
    if (i && hydrogen->IsHydrogen() && !carriers_[*i]) carriers_[*i] = carrier;
  };
  for (const AtomRecord* atom : atoms_)
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord*) {
      carry(atom, partner);
      carry(partner, atom);
    });
}

void CrystalFragments::NumberFragments() {
  std::vector<uint32_t> root(atoms_.size());
  std::iota(root.begin(), root.end(), 0u);
  const auto find = [&](uint32_t i) {
    while (root[i] != i) i = root[i] = root[root[i]];
    return i;
  };
  for (uint32_t i = 0; i < atoms_.size(); ++i)
    ForEachOwnBond(atoms_[i], [&](const AtomRecord* partner, const BondRecord*) {
      if (const auto j = IndexOf(partner->serial)) {
        const uint32_t a = find(i), b = find(*j);
        root[std::max(a, b)] = std::min(a, b);
      }
    });
  fragmentOf_.resize(atoms_.size());
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    const uint32_t r = find(i);
    if (r == i) {
      fragmentOf_[i] = static_cast<uint32_t>(members_.size());
      members_.emplace_back();
    } else {
      fragmentOf_[i] = fragmentOf_[r];
    }
    members_[fragmentOf_[i]].push_back(i);
  }
}

std::optional<uint32_t> CrystalFragments::IndexOf(uint32_t serial) const {
  const auto found = bySerial_.find(serial);
  if (found == bySerial_.end()) return std::nullopt;
  return found->second;
}

bool CrystalFragments::FindBondingImages(const AtomRecord& atom, std::vector<AtomImage>& found) const {
  const double reach = atom.element->bondRadius + largestRadius_ + kBondTolerance;
  if (!images_.FindNear(atom.fract, reach, found, kMostBondingImages)) return false;
  const auto own = IndexOf(atom.generated ? atom.sourceSerial : atom.serial);
  std::erase_if(found, [&](const AtomImage& image) {
    const AtomRecord& b = *atoms_[image.atom];
    return image.distance < kSamePlace || !rules_.Bonds(atom, b, image.distance, false) ||
           (own && rules_.IsFreed(*atoms_[*own], b));
  });
  return true;
}

bool CrystalFragments::RefuseCrowded(UserMessages& messages) const {
  if (!crowded_) return false;
  messages.Show(
      {MessageIcon::Warning, "Error: Atoms Too Close", CrowdedText(*crowded_) + "symmetry cannot be worked out."});
  return true;
}

void CrystalFragments::FindEdges() {
  std::map<std::tuple<uint32_t, uint32_t, ImageId>, size_t> known;
  std::vector<AtomImage> found;
  for (uint32_t i = 0; i < atoms_.size(); ++i) {
    if (!FindBondingImages(*atoms_[i], found)) {
      crowded_ = atoms_[i];
      edges_.clear();
      return;
    }
    for (const AtomImage& image : found) {
      const ImageId id{image.op, image.t};
      if (id == kIdentity) continue;
      const uint32_t from = fragmentOf_[i], to = fragmentOf_[image.atom];
      const auto [at, fresh] = known.try_emplace({from, to, id}, edges_.size());
      if (fresh) {
        edges_.push_back({from, to, id, image.distance});
      } else {
        edges_[at->second].distance = std::min(edges_[at->second].distance, image.distance);
      }
    }
  }
}

Fractional CrystalFragments::Place(uint32_t fileAtom, const ImageId& image) const {
  Fractional f = atoms_[fileAtom]->fract;
  if (!operators_->empty()) f = (*operators_)[image.op].Apply(f);
  return {f.x + image.t[0], f.y + image.t[1], f.z + image.t[2]};
}

std::optional<ImageId> CrystalFragments::Compose(const ImageId& second, const ImageId& first) const {
  if (operators_->empty())
    return ImageId{0, {first.t[0] + second.t[0], first.t[1] + second.t[1], first.t[2] + second.t[2]}};
  const SymmetryOperator& after = (*operators_)[second.op];
  const SymmetryOperator whole = after * (*operators_)[first.op];
  std::array<int64_t, 3> cells{};
  for (size_t i = 0; i < 3; ++i) {
    cells[i] = second.t[i];
    for (size_t j = 0; j < 3; ++j) cells[i] += int64_t{after.r[i][j]} * first.t[j];
    if (std::abs(cells[i]) > kFarthestCell) return std::nullopt;
  }
  for (uint32_t op = 0; op < operators_->size(); ++op) {
    const ListedOperator& known = (*operators_)[op];
    ImageId id{op, {}};
    bool same = known.r == whole.r;
    for (size_t i = 0; same && i < 3; ++i) {
      same = (whole.t[i] - known.t[i]) % kTranslationParts == 0;
      id.t[i] = static_cast<int32_t>(cells[i]) + (whole.t[i] - known.t[i]) / kTranslationParts;
    }
    if (same) return id;
  }
  return std::nullopt;
}

std::vector<CrystalFragments::Molecule> CrystalFragments::Molecules() const {
  std::vector<std::vector<const FragmentEdge*>> from(members_.size());
  for (const FragmentEdge& edge : edges_) from[edge.from].push_back(&edge);
  std::vector<Molecule> molecules;
  std::vector<bool> done(members_.size());
  for (uint32_t f = 0; f < members_.size(); ++f) {
    if (done[f]) continue;
    Molecule molecule;
    // Where each (fragment, operator) was met: a second place that differs by a translation alone means a chain.
    std::map<std::pair<uint32_t, uint32_t>, std::array<int32_t, 3>> met{{{f, 0}, {}}};
    std::vector<std::pair<uint32_t, ImageId>> first{{f, kIdentity}};
    std::set<uint32_t> fragments{f};
    molecule.parts.push_back({f, kIdentity});
    for (size_t i = 0; i < molecule.parts.size(); ++i) {
      const auto [fragment, id] = molecule.parts[i];
      for (const FragmentEdge* edge : from[fragment]) {
        const auto next = Compose(id, edge->image);
        if (!next) continue;
        const auto [at, fresh] = met.try_emplace({edge->to, next->op}, next->t);
        if (!fresh && at->second != next->t) molecule.infinite = true;
        if (fresh) molecule.parts.push_back({edge->to, *next});
        if (fragments.insert(edge->to).second) first.push_back({edge->to, *next});
      }
    }
    if (molecule.infinite) molecule.parts = std::move(first);
    for (const uint32_t g : fragments) done[g] = true;
    molecules.push_back(std::move(molecule));
  }
  return molecules;
}

ImageMaker::ImageMaker(Document& document, const CrystalFragments& fragments, UserMessages& messages)
    : document_(document),
      fragments_(fragments),
      messages_(messages),
      reciprocal_(MakeMetric(document.cell).reciprocalEdges) {
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (atom->IsPeak() || !IsFinite(atom->position)) continue;
    Note(atom->position, KindOf(*atom));
  }
}

uint32_t ImageMaker::KindOf(const AtomRecord& atom) {
  if (atom.IsHydrogen()) return kAnyHydrogen;
  if (!IsGenerated(atom)) return atom.serial;
  return atom.sourceSerial ? atom.sourceSerial : kAnyAtom;
}

uint64_t ImageMaker::KeyOf(int64_t x, int64_t y, int64_t z) {
  constexpr uint64_t kMask = (uint64_t{1} << 21) - 1;
  return (static_cast<uint64_t>(x) & kMask) | (static_cast<uint64_t>(y) & kMask) << 21 |
         (static_cast<uint64_t>(z) & kMask) << 42;
}

bool ImageMaker::Taken(const Cartesian& place, uint32_t kind) const {
  const auto cell = [](double v) { return static_cast<int64_t>(std::floor(std::clamp(v, -1e6, 1e6) / kPlaceCell)); };
  const auto low = [&](double v) { return cell(v - kSamePlace); };
  const auto high = [&](double v) { return cell(v + kSamePlace); };
  for (int64_t x = low(place.x); x <= high(place.x); ++x)
    for (int64_t y = low(place.y); y <= high(place.y); ++y)
      for (int64_t z = low(place.z); z <= high(place.z); ++z) {
        const auto found = standing_.find(KeyOf(x, y, z));
        if (found == standing_.end()) continue;
        for (const Standing& s : found->second)
          if ((kind == kAnyAtom || s.kind == kAnyAtom || s.kind == kind) && Distance(s.place, place) <= kSamePlace)
            return true;
      }
  return false;
}

void ImageMaker::Note(const Cartesian& place, uint32_t kind) {
  const auto cell = [](double v) { return static_cast<int64_t>(std::floor(std::clamp(v, -1e6, 1e6) / kPlaceCell)); };
  standing_[KeyOf(cell(place.x), cell(place.y), cell(place.z))].push_back({place, kind});
}

bool ImageMaker::AddAtom(uint32_t fileAtom, const ImageId& image, std::vector<AtomRecord*>& added) {
  const AtomRecord& source = *fragments_.FileAtoms()[fileAtom];
  const Fractional fract = fragments_.Place(fileAtom, image);
  const Cartesian place = document_.matrix * fract;
  if (!IsFinite(place) || Taken(place, KindOf(source))) return true;
  AtomRecord* atom = document_.atoms.CreateAtom(document_.elements, messages_);
  if (!atom) return false;
  atom->name = source.name;
  atom->element = source.element;
  StandAs(*atom, source);
  atom->u = source.u;
  atom->uCount = source.uCount;
  if (source.IsAnisotropic() && !document_.symmetry.empty())
    atom->u = RotatedTensor(source.u, document_.symmetry[image.op], reciprocal_);
  // A riding Uiso has no plain value to stand for it.
  if (!source.IsAnisotropic()) atom->codedValues[kCodedU] = source.codedValues[kCodedU];
  atom->fract = fract;
  atom->position = place;
  atom->SetHybridization(source.Hybridization());
  atom->hydrogenCount = source.hydrogenCount;
  atom->charge = source.charge;
  atom->elementFromSfac = source.elementFromSfac;
  atom->flags2 = static_cast<uint8_t>(source.flags2 & kLabelOff);
  atom->generated = 1;
  atom->sourceSerial = source.serial;
  atom->symmetryCode = SymmetryCodeOf(image.op, image.t);
  document_.atoms.LinkAtTail(atom);
  Note(place, KindOf(source));
  added.push_back(atom);
  return true;
}

bool ImageMaker::AddFragment(uint32_t fragment, const ImageId& image, std::vector<AtomRecord*>& added) {
  const size_t before = added.size();
  for (const uint32_t member : fragments_.Members()[fragment])
    if (!AddAtom(member, image, added)) return false;
  std::unordered_map<uint32_t, AtomRecord*> bySource;
  for (size_t i = before; i < added.size(); ++i) bySource[added[i]->sourceSerial] = added[i];
  for (size_t i = before; i < added.size(); ++i) {
    const AtomRecord* carrier = fragments_.CarrierOf(*fragments_.IndexOf(added[i]->sourceSerial));
    const auto found = carrier ? bySource.find(carrier->serial) : bySource.end();
    if (found != bySource.end()) added[i]->parent = found->second;
  }
  return true;
}

}  // namespace marvik
