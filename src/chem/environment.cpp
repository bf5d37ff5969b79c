#include "chem/environment.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/hybridization.h"
#include "chem/bonds/van_der_waals.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr double kSmallestHydrogenBondAngle = 110.0;
// Bonds between two atoms of one molecule whose distance the bonds themselves set.
constexpr int kBondsApart = 3;
// Å beyond the wanted radius, so that donors and paths at its edge are known too.
constexpr double kMargin = 2.0;
constexpr double kOverlap = 1.0;  // Å, between atoms of two images of a negative PART that take turns

bool TakesPart(const AtomRecord& atom) {
  constexpr int kNumbers[] = {7, 8, 9, 16, 17, 34, 35, 53};
  return std::find(std::begin(kNumbers), std::end(kNumbers), atom.element->atomicNumber) != std::end(kNumbers);
}

double SumOfRadii(const AtomRecord& a, const AtomRecord& b) {
  const double ra = VanDerWaalsRadius(ChemicalNumber(a));
  const double rb = VanDerWaalsRadius(ChemicalNumber(b));
  return ra > 0.0 && rb > 0.0 ? ra + rb : 0.0;
}

// The images about one atom, that atom first, and how they are bonded.
class Surroundings {
 public:
  Surroundings(const NeighbourSearch& search, const AtomRecord& atom, double radius) : rules_(search.Rules()) {
    images_ = search.FindWithin(atom, radius + kMargin);
    NeighbourImage self{const_cast<AtomRecord*>(&atom), 0, 1555, atom.fract, atom.position, 0.0};
    images_.insert(images_.begin(), self);
    for (size_t i = 0; i < images_.size(); ++i)
      for (size_t j = 0; images_[i].atom->part < 0 && j < i; ++j)
        if (images_[i].atom->part == images_[j].atom->part && !InOneImage(i, j) &&
            Distance(images_[i].position, images_[j].position) < kOverlap)
          overlaps_.insert(std::minmax(images_[i].symmetryCode, images_[j].symmetryCode));
  }

  const std::vector<NeighbourImage>& Images() const { return images_; }

  bool Bonded(size_t a, size_t b) const {
    const AtomRecord& first = *images_[a].atom;
    const AtomRecord& second = *images_[b].atom;
    // Two hydrogens are never bonded, however near they stand.
    return a != b && !(first.IsHydrogen() && second.IsHydrogen()) && !rules_.AreAlternatives(first, second) &&
           rules_.Bonds(first, second, Distance(images_[a].position, images_[b].position), InOneImage(a, b));
  }

  // Never there together: alternatives, or images of one negative PART that lie on each other.
  bool ExcludeEachOther(size_t a, size_t b) const {
    const AtomRecord& first = *images_[a].atom;
    const AtomRecord& second = *images_[b].atom;
    return rules_.AreAlternatives(first, second) ||
           (first.part < 0 && first.part == second.part &&
            overlaps_.contains(std::minmax(images_[a].symmetryCode, images_[b].symmetryCode)));
  }

  // Bonds between the atom itself and each image, kBondsApart + 1 for more.
  std::vector<int> BondsFromFirst() const {
    std::vector<int> bonds(images_.size(), kBondsApart + 1);
    std::vector<size_t> front{0};
    bonds[0] = 0;
    for (int step = 1; step <= kBondsApart; ++step) {
      std::vector<size_t> next;
      for (const size_t from : front)
        for (size_t to = 1; to < images_.size(); ++to)
          if (bonds[to] > step && Bonded(from, to)) {
            bonds[to] = step;
            next.push_back(to);
          }
      front = std::move(next);
    }
    return bonds;
  }

  // The atom other than hydrogen nearest to a hydrogen and bonded to it; 0 is a place as any other, so nothing is the
  // number of images.
  size_t DonorOf(size_t hydrogen) const {
    size_t donor = images_.size();
    double shortest = 0.0;
    for (size_t i = 0; i < images_.size(); ++i) {
      if (images_[i].atom->IsHydrogen() || !Bonded(hydrogen, i)) continue;
      const double distance = Distance(images_[hydrogen].position, images_[i].position);
      if (donor < images_.size() && distance >= shortest) continue;
      donor = i;
      shortest = distance;
    }
    return donor;
  }

  std::optional<HydrogenBond> BondBetween(size_t donor, size_t hydrogen, size_t acceptor) const {
    const NeighbourImage& d = images_[donor];
    const NeighbourImage& h = images_[hydrogen];
    const NeighbourImage& a = images_[acceptor];
    if (acceptor == donor || !TakesPart(*d.atom) || !TakesPart(*a.atom) || Bonded(hydrogen, acceptor) ||
        Bonded(donor, acceptor) || ExcludeEachOther(donor, acceptor) || ExcludeEachOther(hydrogen, acceptor))
      return std::nullopt;
    HydrogenBond bond{d,
                      h,
                      a,
                      {{}, Distance(d.position, h.position), {}},
                      {{}, Distance(h.position, a.position), {}},
                      {{}, Distance(d.position, a.position), {}},
                      {{}, Angle(h.position, d.position, a.position), {}}};
    if (bond.hydrogenAcceptor.value >= SumOfRadii(*h.atom, *a.atom) || bond.angle.value < kSmallestHydrogenBondAngle)
      return std::nullopt;
    return bond;
  }

 private:
  bool InOneImage(size_t a, size_t b) const { return images_[a].symmetryCode == images_[b].symmetryCode; }

  const BondRules& rules_;
  std::vector<NeighbourImage> images_;
  std::set<std::pair<int32_t, int32_t>> overlaps_;  // symmetry codes, the smaller first
};

// Those in which the first image is donor, hydrogen or acceptor; the images that are its partners get their mark.
std::vector<HydrogenBond> HydrogenBondsOfFirst(const Surroundings& around, std::vector<ContactKind>& kinds) {
  std::vector<HydrogenBond> bonds;
  const auto& images = around.Images();
  const bool isHydrogen = images[0].atom->IsHydrogen();
  if (!isHydrogen && !TakesPart(*images[0].atom)) return bonds;
  for (size_t h = 0; h < images.size(); ++h) {
    if (!images[h].atom->IsHydrogen() || (isHydrogen && h != 0)) continue;
    const size_t donor = around.DonorOf(h);
    if (donor == images.size()) continue;
    for (size_t a = 0; a < images.size(); ++a) {
      if (donor != 0 && h != 0 && a != 0) continue;
      const auto bond = around.BondBetween(donor, h, a);
      if (!bond) continue;
      bonds.push_back(*bond);
      for (const size_t partner : {donor, h, a})
        if (!around.Bonded(0, partner)) kinds[partner] = ContactKind::HydrogenBond;
    }
  }
  std::stable_sort(bonds.begin(), bonds.end(), [](const HydrogenBond& x, const HydrogenBond& y) {
    return x.donorAcceptor.value < y.donorAcceptor.value;
  });
  return bonds;
}

}  // namespace

const char* ContactWord(ContactKind kind) {
  constexpr const char* kWords[] = {"", "bond", "hydrogen bond", "short contact"};
  return kWords[static_cast<size_t>(kind)];
}

EnvironmentSearch::EnvironmentSearch(const Document& document, double radius, const GeometryUncertainty& uncertainty)
    : radius_(std::isnan(radius) ? 0.0 : std::clamp(radius, 0.0, kLargestEnvironment)),
      uncertainty_(uncertainty),
      search_(document, radius_ + kMargin) {}

Environment EnvironmentSearch::About(const AtomRecord& atom, double radius) const {
  Environment environment;
  if (!IsFinite(atom.position) || std::isnan(radius)) return environment;
  radius = std::clamp(radius, 0.0, radius_);
  const Surroundings around(search_, atom, radius);
  const auto& images = around.Images();
  const std::vector<int> bonds = around.BondsFromFirst();
  std::vector<ContactKind> kinds(images.size(), ContactKind::Plain);
  for (size_t i = 1; i < images.size(); ++i) {
    const bool isFar = bonds[i] > kBondsApart && !around.ExcludeEachOther(0, i);
    if (bonds[i] == 1) {
      kinds[i] = ContactKind::Bond;
    } else if (isFar && images[i].distance < SumOfRadii(atom, *images[i].atom)) {
      kinds[i] = ContactKind::Short;
    }
  }
  environment.hydrogenBonds = HydrogenBondsOfFirst(around, kinds);
  const auto measure = [this](GeometryValue& value, std::initializer_list<const NeighbourImage*> of) {
    for (const NeighbourImage* image : of)
      value.sites.push_back({image->atom, image->op, image->fract, image->symmetryCode});
    value.su = uncertainty_.OfGeometry(value.sites);
  };
  for (HydrogenBond& bond : environment.hydrogenBonds) {
    measure(bond.donorHydrogen, {&bond.donor, &bond.hydrogen});
    measure(bond.hydrogenAcceptor, {&bond.hydrogen, &bond.acceptor});
    measure(bond.donorAcceptor, {&bond.donor, &bond.acceptor});
    measure(bond.angle, {&bond.donor, &bond.hydrogen, &bond.acceptor});
  }
  for (size_t i = 1; i < images.size(); ++i) {
    if (images[i].distance > radius) continue;
    GeometryValue distance;
    measure(distance, {&images[0], &images[i]});
    environment.contacts.push_back({images[i], kinds[i], SumOfRadii(atom, *images[i].atom), distance.su});
  }
  std::stable_sort(
      environment.contacts.begin(), environment.contacts.end(),
      [](const EnvironmentContact& a, const EnvironmentContact& b) { return a.image.distance < b.image.distance; });
  return environment;
}

}  // namespace marvik
