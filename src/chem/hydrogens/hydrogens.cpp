#include "chem/hydrogens/hydrogens.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/numbers.h"
#include "chem/bonds/connectivity.h"
#include "chem/bonds/hybridization.h"
#include "chem/hydrogens/hfix.h"
#include "language/instruction.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr size_t kLabelLength = 4;
constexpr std::string_view kLabelSigns = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// Donor to acceptor, Å. The hydrogen has to point within this many degrees of the acceptor.
constexpr double kAcceptorReach = 3.4;
constexpr double kAcceptorCone = 45.0;
constexpr double kTetrahedralAngle = 109.47122;
// Å: a hydrogen this near to the carrier, on an atom no farther from it than a bond, is given to the carrier.
constexpr double kGivenHydrogen = 2.3;
constexpr double kLongestHydrogenBondLength = 1.25;
constexpr int kHeaviestNeighbour = 47;
// Bonds of nitrogen against the sum of the radii, Å: below the first two (to carbon and others, to nitrogen) one is
// double, from the third on it is single, which leaves a valence for a hydrogen.
constexpr double kDoubleBond = -0.17;
constexpr double kDoubleNitrogen = -0.13;
constexpr double kSingleBond = -0.125;
// Degrees at nitrogen: in a ring of five it is narrower without a hydrogen than the first, in one of six and in chains
// narrower than the second.
constexpr double kNarrowestWithHydrogen = 106.5;
constexpr double kWideWithHydrogen = 118.0;
const double kNearlyStraight = std::cos(35.0 * kRadiansPerDegree);
constexpr double kWaterAngle = 104.5;

bool IsAcceptor(const AtomRecord& atom) {
  constexpr int kAcceptors[] = {7, 8, 9, 16, 17, 34, 35, 53};
  return std::find(std::begin(kAcceptors), std::end(kAcceptors), atom.element->atomicNumber) != std::end(kAcceptors);
}

std::string KeyOf(int32_t residue, const std::string& label) {
  return std::to_string(residue).append(":").append(UpperCase(label));
}

// Hydroxyl groups have a hydrogen of their own to give.
bool MayDonate(const AtomRecord& atom) {
  return atom.element->atomicNumber == 8 && atom.Hybridization() == kHybridSp3 && atom.hydrogenCount > 0;
}

// "H12" for C12.
std::string StemOf(const AtomRecord& carrier) {
  const std::string symbol(carrier.element->Symbol());
  const bool named = UpperCase(carrier.name).starts_with(UpperCase(symbol));
  return std::string("H").append(named ? carrier.name.substr(symbol.size()) : carrier.name);
}

}  // namespace

HydrogenBuilder::HydrogenBuilder(Document& document, UserMessages& messages)
    : document_(document), messages_(messages), search_(document, kBondTolerance, kProgramHydrogen) {
  temperature_ = TemperatureOf(document).value_or(temperature_);
  for (AtomRecord* atom : Atoms(document.atoms)) {
    names_.insert(KeyOf(atom->residue, atom->name));
    nextAfixGroup_ = std::max(nextAfixGroup_, atom->afixGroup + 1);
    if ((atom->flags2 & kProgramHydrogen) && atom->parent) placed_[atom->parent].push_back(atom);
  }
}

std::vector<NeighbourImage> HydrogenBuilder::NeighboursOf(const AtomRecord& atom) const {
  return search_.FindBonded(atom);
}

std::vector<AtomRecord*> HydrogenBuilder::Placed(const AtomRecord* carrier) const {
  const auto found = placed_.find(carrier);
  return found == placed_.end() ? std::vector<AtomRecord*>{} : found->second;
}

// The neighbours that fix the directions: all of them, or those that are no hydrogens, or of these the ones that count
// for the classification, whichever has the right number.
std::optional<CarrierSurroundings> HydrogenBuilder::Survey(const HfixGroup& group, const AtomRecord& carrier) {
  std::vector<NeighbourImage> neighbours = NeighboursOf(carrier);
  CarrierSurroundings around{carrier.position, {}, {}, {}, {}};
  const auto fits = [&] { return neighbours.size() == static_cast<size_t>(group.neighbours); };
  if (!fits() || group.isTerminal) {
    for (const NeighbourImage& b : neighbours)
      if (b.atom->IsHydrogen()) around.hydrogens.push_back(b.position);
    std::erase_if(neighbours, [](const NeighbourImage& b) { return b.atom->IsHydrogen(); });
  }
  if (!fits())
    std::erase_if(neighbours, [](const NeighbourImage& b) {
      return ChemicalNumber(*b.atom) > kHeaviestNeighbour || IsMetal(b.atom->element->atomicNumber);
    });
  if (!fits()) return std::nullopt;
  for (const NeighbourImage& b : neighbours) around.neighbours.push_back(b.position);
  if (!group.isTerminal) return around;
  FindBeyond(carrier, neighbours[0], around);
  if (group.m == kHfixBondedHydroxyl / 10 || (group.m == kHfixHydroxyl / 10 && !around.beyond.empty()))
    FindAcceptor(carrier, around.neighbours[0], around);
  return around;
}

// The nearest first, hydrogens last.
void HydrogenBuilder::FindBeyond(const AtomRecord& carrier, const NeighbourImage& neighbour,
                                 CarrierSurroundings& around) const {
  std::vector<NeighbourImage> found =
      search_.FindNeighboursAt(neighbour.fract, neighbour.atom->element->bondRadius, kBondTolerance);
  std::erase_if(found, [&](const NeighbourImage& b) {
    return search_.Rules().AreAlternatives(carrier, *b.atom) ||
           search_.Rules().AreAlternatives(*neighbour.atom, *b.atom) || Distance(b.position, carrier.position) < 0.05;
  });
  std::stable_sort(found.begin(), found.end(), [](const NeighbourImage& a, const NeighbourImage& b) {
    const bool isFirst = a.atom->IsHydrogen();
    return isFirst != b.atom->IsHydrogen() ? !isFirst : a.distance < b.distance;
  });
  for (const NeighbourImage& b : found) around.beyond.push_back(b.position);
}

// Whether one of the acceptor's own hydrogens points at the place.
bool HydrogenBuilder::Donates(const NeighbourImage& acceptor, const Cartesian& place) const {
  const double radius = acceptor.atom->element->bondRadius;
  for (const NeighbourImage& b : search_.FindNeighboursAt(acceptor.fract, radius, kBondTolerance))
    if (b.atom->IsHydrogen() && b.distance < kLongestHydrogenBondLength && Distance(b.position, place) < kGivenHydrogen)
      return true;
  // Of those that the program places only the ones of this run count, so that another run finds the same.
  if (!done_.contains(acceptor.atom)) return false;
  const auto image = [&](const Fractional& f) {
    return document_.symmetry.empty() ? f : document_.symmetry[acceptor.op].Apply(f);
  };
  const Fractional shift = acceptor.fract - image(acceptor.atom->fract);
  const auto hydrogens = Placed(acceptor.atom);
  return std::any_of(hydrogens.begin(), hydrogens.end(), [&](const AtomRecord* h) {
    return Distance(document_.matrix * (image(h->fract) + shift), place) < kGivenHydrogen;
  });
}

std::vector<NeighbourImage> HydrogenBuilder::AcceptorsFor(const AtomRecord& carrier,
                                                          const std::vector<Cartesian>& neighbours) {
  if (!wideSearch_) wideSearch_.emplace(document_, kAcceptorReach, kProgramHydrogen);
  std::vector<NeighbourImage> images = wideSearch_->FindWithin(carrier, kAcceptorReach);
  std::erase_if(images, [&](const NeighbourImage& b) {
    if (!IsAcceptor(*b.atom) || search_.Rules().AreAlternatives(carrier, *b.atom)) return true;
    // What the carrier or its neighbour is bonded to is no partner of a hydrogen bond; all neighbours of a hydroxyl
    // oxygen are about as large as carbon.
    const double reach = BondReach(*b.atom->element, *carrier.element);
    return b.distance <= reach || std::any_of(neighbours.begin(), neighbours.end(), [&](const Cartesian& place) {
             return Distance(b.position, place) <= reach;
           });
  });
  return images;
}

void HydrogenBuilder::FindAcceptor(const AtomRecord& carrier, const Cartesian& neighbour, CarrierSurroundings& around) {
  const NeighbourImage* nearest = nullptr;
  const auto images = AcceptorsFor(carrier, {neighbour});
  for (const NeighbourImage& b : images) {
    if (std::fabs(Angle(carrier.position, neighbour, b.position) - kTetrahedralAngle) > kAcceptorCone) continue;
    if (nearest && b.distance >= nearest->distance) continue;
    if (!Donates(b, carrier.position)) nearest = &b;
  }
  if (nearest) around.acceptor = nearest->position;
}

bool HydrogenBuilder::IsAmide(const NeighbourImage& besideNitrogen) const {
  const int z = besideNitrogen.atom->element->atomicNumber;
  const double radius = besideNitrogen.atom->element->bondRadius;
  const auto found = search_.FindNeighboursAt(besideNitrogen.fract, radius, kBondTolerance);
  return std::any_of(found.begin(), found.end(), [&](const NeighbourImage& b) {
    const int other = b.atom->element->atomicNumber;
    const double excess = b.distance - radius - b.atom->element->bondRadius;
    return (other == 8 || other == 16) && ((z == 6 && excess < -0.14) || z == 15 || z == 16);
  });
}

bool HydrogenBuilder::LacksHydrogen(const AtomRecord& nitrogen) {
  const std::vector<NeighbourImage> neighbours = NeighboursOf(nitrogen);
  if (neighbours.size() != 2) return false;
  std::vector<Cartesian> places;
  bool isAmide = false;
  bool isSingle = true;
  for (const NeighbourImage& b : neighbours) {
    const double excess = b.distance - nitrogen.element->bondRadius - b.atom->element->bondRadius;
    const bool isDouble = excess < (b.atom->element->atomicNumber == 7 ? kDoubleNitrogen : kDoubleBond);
    if (b.atom->IsHydrogen() || IsMetal(b.atom->element->atomicNumber) || isDouble) return false;
    places.push_back(b.position);
    isAmide = isAmide || IsAmide(b);
    isSingle = isSingle && excess >= kSingleBond;
  }
  const auto away = FixedDirections(kHfixAromatic / 10, nitrogen.position, places);
  if (!away) return false;
  const double angle = Angle(nitrogen.position, places[0], places[1]);
  if (isSingle) return angle > kNarrowestWithHydrogen;
  if (angle < kWideWithHydrogen) return false;
  if (isAmide) return true;
  const auto acceptors = AcceptorsFor(nitrogen, places);
  return std::any_of(acceptors.begin(), acceptors.end(), [&](const NeighbourImage& b) {
    const double cosine = Dot(Normalised(b.position - nitrogen.position), (*away)[0]);
    return cosine > kNearlyStraight && !Donates(b, nitrogen.position) && !MayDonate(*b.atom);
  });
}

bool HydrogenBuilder::PlaceWater(AtomRecord* oxygen) {
  if (!NeighboursOf(*oxygen).empty()) return false;
  std::vector<NeighbourImage> acceptors = AcceptorsFor(*oxygen, {});
  std::erase_if(acceptors, [&](const NeighbourImage& b) { return Donates(b, oxygen->position); });
  double shortest = std::numeric_limits<double>::infinity();
  std::optional<std::vector<Cartesian>> best;
  for (size_t i = 0; i < acceptors.size(); ++i)
    for (size_t j = 0; j < i; ++j) {
      const NeighbourImage& a = acceptors[i];
      const NeighbourImage& b = acceptors[j];
      const double angle = Angle(oxygen->position, a.position, b.position);
      if (angle < kWaterAngle - 25.0 || angle > kWaterAngle + 35.0 || a.distance + b.distance >= shortest ||
          search_.Rules().AreAlternatives(*a.atom, *b.atom))
        continue;
      shortest = a.distance + b.distance;
      const Cartesian u = Normalised(a.position - oxygen->position);
      const Cartesian v = Normalised(b.position - oxygen->position);
      const double half = 0.5 * kWaterAngle * kRadiansPerDegree;
      const Cartesian along = std::cos(half) * Normalised(u + v);
      const Cartesian across = std::sin(half) * Normalised(u - v);
      best = {along + across, along - across};
    }
  if (!best) return false;
  return Put(kFixExisting, *FindHfixGroup(kHfixHydroxyl / 10), *best, oxygen);
}

bool HydrogenBuilder::IsTaken(const AtomRecord& carrier, const std::string& label) const {
  return names_.contains(KeyOf(carrier.residue, label));
}

// The stem, shortened as far as it has to be, with signs behind it.
std::string HydrogenBuilder::FreeLabel(const AtomRecord& carrier, const std::string& stem) {
  for (size_t kept = std::min(stem.size(), kLabelLength - 1); kept > 0; --kept) {
    const size_t signs = stem.size() < kLabelLength && kept == stem.size() ? 1 : kLabelLength - kept;
    size_t tries = 1;
    for (size_t i = 0; i < signs; ++i) tries *= kLabelSigns.size();
    size_t& n = nextLabel_[KeyOf(carrier.residue, stem.substr(0, kept)) + static_cast<char>('0' + signs)];
    for (; n < tries; ++n) {
      std::string label = stem.substr(0, kept);
      for (size_t i = signs, rest = n; i > 0; --i, rest /= kLabelSigns.size())
        label.insert(kept, 1, kLabelSigns[rest % kLabelSigns.size()]);
      if (!IsTaken(carrier, label)) return label;
    }
  }
  // Every label of four characters is in use.
  for (size_t& n = nextLabel_[KeyOf(carrier.residue, "")];; ++n)
    if (const std::string label = std::string("H").append(std::to_string(n)); !IsTaken(carrier, label)) return label;
}

// C12 gives H12, a group H12A, H12B, ...
std::vector<std::string> HydrogenBuilder::LabelsFor(const AtomRecord& carrier, size_t count) {
  const std::string stem = StemOf(carrier);
  std::vector<std::string> labels;
  if (count == 1 && stem.size() <= kLabelLength && stem.size() > 1 && !IsTaken(carrier, stem)) labels.push_back(stem);
  while (labels.size() < count) {
    labels.push_back(FreeLabel(carrier, stem));
    names_.insert(KeyOf(carrier.residue, labels.back()));
  }
  names_.insert(KeyOf(carrier.residue, labels[0]));
  return labels;
}

AtomRecord* HydrogenBuilder::Make(AtomRecord* carrier, const std::string& label) {
  AtomRecord* atom = document_.atoms.CreateAtom(document_.elements, messages_);
  if (!atom) return nullptr;
  atom->name = label;
  atom->element = &document_.elements[kHydrogenRow];
  atom->flags2 = kProgramHydrogen;
  atom->parent = carrier;
  StandAs(*atom, *carrier);
  atom->SetHybridization(kHybridS);
  atom->hydrogenCount = 1;
  AtomRecord* behind = carrier;
  while (behind->next && behind->next->parent == carrier && behind->next->IsHydrogen()) behind = behind->next;
  document_.atoms.LinkBehind(atom, behind);
  document_.atoms.AddBond(carrier, atom, {}, kSingle, 0, 0.1f, kSolid, messages_);
  placed_[carrier].push_back(atom);
  ++added_;
  return atom;
}

void HydrogenBuilder::RemoveFrom(const AtomRecord* carrier) {
  const auto found = placed_.find(carrier);
  if (found == placed_.end()) return;
  for (const AtomRecord* atom : found->second) names_.erase(KeyOf(atom->residue, atom->name));
  nextLabel_.clear();
  document_.atoms.DestroyAtoms(found->second);
  placed_.erase(found);
}

bool HydrogenBuilder::Place(int code, AtomRecord* carrier) {
  const HfixGroup* group = FindHfixGroup(code / 10);
  if (!group || !carrier) return false;
  const auto around = Survey(*group, *carrier);
  const auto directions = around ? HydrogenDirections(*group, *around) : std::nullopt;
  if (!directions) return false;
  return Put(code, *group, *directions, carrier);
}

bool HydrogenBuilder::Put(int afix, const HfixGroup& group, const std::vector<Cartesian>& directions,
                          AtomRecord* carrier) {
  if (directions.size() < Placed(carrier).size() || directions.empty()) RemoveFrom(carrier);
  std::vector<AtomRecord*> atoms = Placed(carrier);
  if (atoms.size() < directions.size())
    for (const std::string& label : LabelsFor(*carrier, directions.size() - atoms.size())) {
      AtomRecord* atom = Make(carrier, label);
      if (!atom) return false;
      atoms.push_back(atom);
    }
  const double distance = HydrogenDistance(group.m, carrier->element->atomicNumber, temperature_);
  const int32_t afixGroup = nextAfixGroup_++;
  for (size_t i = 0; i < atoms.size(); ++i) {
    AtomRecord& atom = *atoms[i];
    atom.fract = CartesianToFractional(document_.matrix, carrier->position + distance * directions[i]);
    FractionalToCartesian(document_.matrix, atom);
    atom.afix = static_cast<uint16_t>(afix);
    atom.afixGroup = afixGroup;
    StandAs(atom, *carrier);  // which may have changed since the atom was made
    atom.codedValues[kCodedU] = atom.u[0] = group.uisoFactor;
  }
  done_.insert(carrier);
  return true;
}

void TellOfFailures(const std::vector<const AtomRecord*>& carriers, UserMessages& messages) {
  if (carriers.empty()) return;
  std::string labels;
  for (const AtomRecord* carrier : carriers) labels += (labels.empty() ? "" : ", ") + carrier->name;
  messages.Show(
      {MessageIcon::Information, "Unable to Calculate Some Hydrogens:",
       "Not enough information to correctly determine\nhydrogen position(s) for the following atom(s): \n" + labels});
}

namespace {

void TellOfRefinement(bool nitrogen, bool oxygen, UserMessages& messages) {
  if (!nitrogen && !oxygen) return;
  std::string text;
  if (nitrogen)
    text += "After the next refinement it may be necessary\nto delete a hydrogen from some nitrogen atoms.\n\n";
  if (oxygen)
    text += std::string(nitrogen ? "Also, after" : "After") +
            " the next refinement it may be desirable to\ndelete the hydrogen from some oxygens and replace\nit with a "
            "hydrogen-bonded hydrogen (HFIX 83).\n\n";
  messages.Show({MessageIcon::Information, "Notes Concerning Refinement:", text + "(See MARVIK Manual.)"});
}

}  // namespace

namespace {

// An oxygen atom that may be water: not one that the user said has no hydrogens.
bool IsWater(const AtomRecord& atom) {
  return atom.element->atomicNumber == 8 && !(atom.flags2 & kHydrogensAbsent);
}

}  // namespace

bool CalculateHydrogens(Document& document, UserMessages& messages) {
  if (!HybridizeAll(document, messages, ProgramHydrogens::Ignored)) return false;
  HydrogenBuilder builder(document, messages);
  AssignHfixCodes(document, builder);
  std::vector<AtomRecord*> atoms;
  for (AtomRecord* atom : Atoms(document.atoms, kVisibleOnly | kNoGenerated))
    if (!(atom->flags2 & kProgramHydrogen)) atoms.push_back(atom);
  std::vector<const AtomRecord*> failed;
  bool nitrogen = false;
  bool oxygen = false;
  for (AtomRecord* atom : atoms) {
    const int code = CodesFor(*atom, builder).placement;
    const size_t before = builder.Added();
    if (code == 0) {
      if (!IsWater(*atom) || !builder.PlaceWater(atom)) builder.RemoveFrom(atom);
    } else if (!builder.Place(code, atom)) {
      failed.push_back(atom);
      builder.RemoveFrom(atom);
      RemoveHfixEntry(document.atoms, atom);
    }
    if (builder.Added() == before) continue;
    nitrogen |= atom->element->atomicNumber == 7;
    oxygen |= atom->element->atomicNumber == 8;
  }
  TellOfFailures(failed, messages);
  TellOfRefinement(nitrogen, oxygen, messages);
  return true;
}

}  // namespace marvik
