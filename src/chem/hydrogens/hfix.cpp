#include "chem/hydrogens/hfix.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "base/numbers.h"
#include "chem/bonds/hybridization.h"
#include "chem/hydrogens/hydrogens.h"
#include "crystal/cell_metric.h"

namespace marvik {
namespace {

bool CarriesHydrogens(const AtomRecord& atom) {
  const int z = atom.element->atomicNumber;
  return atom.hydrogenCount > 0 && z >= 6 && z <= 8;
}

int ChooseCode(const AtomRecord& atom, size_t n, bool forPlacement) {
  if (!CarriesHydrogens(atom)) return 0;
  const int z = atom.element->atomicNumber;
  const bool isOxygen = z == 8;
  switch (atom.Hybridization()) {
    case kHybridSp3:
      if (n == 1) return isOxygen ? kHfixHydroxyl : kHfixMethyl;
      if (isOxygen) return 0;
      return n == 2 ? kHfixSecondary : n == 3 ? kHfixTertiary : 0;
    case kHybridSp2:
      if (isOxygen) return 0;
      if (forPlacement) return n == 2 || n == 3 ? kHfixAromatic : kHfixTerminal;
      return n == 1 ? kHfixTerminal : n == 2 ? kHfixAromatic : 0;
    case kHybridSp1:
      return z == 6 && n == 1 ? kHfixAlkyne : 0;
    default:
      return 0;
  }
}

// Degrees at an atom with two neighbours from which on it is linear.
constexpr double kLinear = 150.0;
// A curved aromatic carbon: its three bonds are shorter than the sum of the radii by this in the mean (Å), and it
// stands no farther from the plane of its neighbours, Å.
constexpr double kShortBonds = -0.06;
constexpr double kCurved = 0.4;

double MeanExcess(const AtomRecord& atom, const std::vector<NeighbourImage>& neighbours) {
  double sum = 0.0;
  for (const NeighbourImage& b : neighbours) sum += b.distance - atom.element->bondRadius - b.atom->element->bondRadius;
  return sum / static_cast<double>(neighbours.size());
}

HydrogenCodes CodesForCarbon(const AtomRecord& atom, const std::vector<NeighbourImage>& neighbours) {
  std::vector<NeighbourImage> others;
  std::vector<Cartesian> places;
  for (const NeighbourImage& b : neighbours)
    if (!IsMetal(b.atom->element->atomicNumber)) {
      others.push_back(b);
      places.push_back(b.position);
    }
  const size_t onFace = static_cast<size_t>(std::count_if(neighbours.begin(), neighbours.end(), [&](const auto& b) {
    return IsMetal(b.atom->element->atomicNumber) && BindsFace(atom.position, places, b.position);
  }));
  const size_t bonds = neighbours.size() - onFace;
  if (bonds == 2 && Angle(atom.position, neighbours[0].position, neighbours[1].position) > kLinear && onFace == 0)
    return {};
  // Two short bonds in the face of a metal, however the metal bends the class.
  if (onFace > 0 && others.size() == 2 && bonds == 2 && atom.Hybridization() == kHybridSp3 &&
      MeanExcess(atom, others) < kShortBonds)
    return {kHfixAromatic, kHfixAromatic};
  if (!CarriesHydrogens(atom)) return {};
  if (atom.Hybridization() == kHybridSp2 && bonds > 2 &&
      std::none_of(neighbours.begin(), neighbours.end(), [](const auto& b) { return b.atom->IsHydrogen(); }))
    return {};
  if (atom.Hybridization() == kHybridSp3 && others.size() == 3 && MeanExcess(atom, others) < kShortBonds &&
      std::fabs(PlaneDeviation(atom.position, places[0], places[1], places[2])) < kCurved)
    return {};
  return {ChooseHfixCode(atom, neighbours.size()), ChoosePlacementCode(atom, neighbours.size())};
}

// Hydrogens whose parameters the user fixes are the file's from then on, and so are the others of their group.
void KeepInFile(Document& document, const AtomRecord* carrier) {
  RemoveHfixEntry(document.atoms, carrier);
  for (AtomRecord* atom : Atoms(document.atoms))
    if (atom->parent == carrier) atom->flags2 &= static_cast<uint8_t>(~kProgramHydrogen);
}

bool FixExisting(Document& document, UserMessages& messages) {
  const AtomArray& selection = document.atoms.selection;
  if (!std::all_of(selection.begin(), selection.end(), [](const AtomRecord* a) { return a->IsHydrogen(); })) {
    messages.Show({MessageIcon::Warning, "Error: Non-Hydrogen(s) Selected",
                   "You may only alter the AFIXs of hydrogen atoms with this option!"});
    return false;
  }
  int32_t group = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) group = std::max(group, atom->afixGroup);
  ++group;
  for (AtomRecord* atom : selection) {
    if (atom->flags2 & kProgramHydrogen) KeepInFile(document, atom->parent);
    atom->afix = kFixExisting;
    atom->afixGroup = group;
  }
  return true;
}

void MarkAbsent(Document& document, UserMessages& messages) {
  HydrogenBuilder builder(document, messages);
  for (AtomRecord* atom : document.atoms.selection) {
    atom->flags2 |= kHydrogensAbsent;
    RemoveHfixEntry(document.atoms, atom);
  }
  // Their hydrogens may be selected too.
  const std::vector<AtomRecord*> carriers(document.atoms.selection.begin(), document.atoms.selection.end());
  for (const AtomRecord* carrier : carriers)
    if (!carrier->IsHydrogen()) builder.RemoveFrom(carrier);
}

}  // namespace

int ChooseHfixCode(const AtomRecord& atom, size_t neighbours) {
  return ChooseCode(atom, neighbours, false);
}

int ChoosePlacementCode(const AtomRecord& atom, size_t neighbours) {
  return ChooseCode(atom, neighbours, true);
}

HydrogenCodes CodesFor(const AtomRecord& atom, HydrogenBuilder& builder) {
  const int z = atom.element->atomicNumber;
  if ((atom.flags2 & kHydrogensAbsent) || z < 6 || z > 8) return {};
  const std::vector<NeighbourImage> neighbours = builder.NeighboursOf(atom);
  if (z == 6) return CodesForCarbon(atom, neighbours);
  if (z == 7 && atom.hydrogenCount == 0 && atom.Hybridization() == kHybridSp2 && builder.LacksHydrogen(atom))
    return {kHfixAromatic, kHfixAromatic};
  return {ChooseHfixCode(atom, neighbours.size()), ChoosePlacementCode(atom, neighbours.size())};
}

std::string HfixLine(const Document& document, const AtomRecord& carrier, int code) {
  const bool known = carrier.residue >= 0 && static_cast<size_t>(carrier.residue) < document.residues.size();
  const int residue = known ? document.residues[static_cast<size_t>(carrier.residue)].number : 0;
  const std::string words = Printf(" %d %4.4s", code, carrier.name.c_str());
  return residue == 0 ? "HFIX" + words : Printf("HFIX_%d", residue) + words;
}

void SetHfixEntry(Document& document, AtomRecord* carrier, int code) {
  auto& entries = document.atoms.hfix;
  const std::string line = HfixLine(document, *carrier, code);
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const HfixEntry& e) { return e.carrier == carrier; });
  if (found != entries.end()) {
    found->text = line;
  } else {
    entries.insert(entries.begin(), {carrier, line, -1});
  }
}

bool RemoveHfixEntry(AtomList& atoms, const AtomRecord* carrier) {
  return carrier && std::erase_if(atoms.hfix, [&](const HfixEntry& entry) { return entry.carrier == carrier; }) > 0;
}

void AssignHfixCodes(Document& document) {
  RecordingMessages unused;  // nothing is built here
  HydrogenBuilder builder(document, unused);
  AssignHfixCodes(document, builder);
}

void AssignHfixCodes(Document& document, HydrogenBuilder& builder) {
  std::vector<HfixEntry> entries;
  for (AtomRecord* atom : Atoms(document.atoms, kVisibleOnly | kNoGenerated)) {
    const int code = CodesFor(*atom, builder).entry;
    if (code != 0) entries.push_back({atom, HfixLine(document, *atom, code), -1});
  }
  auto& all = document.atoms.hfix;
  std::erase_if(all, [](const HfixEntry& entry) { return entry.carrier != nullptr; });
  all.insert(all.begin(), entries.begin(), entries.end());
}

std::optional<int> ParseHfixOption(std::string_view text) {
  std::string word;
  for (const char c : text)
    if (!std::isspace(static_cast<unsigned char>(c)))
      word += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const bool isAfix = word.starts_with("AFIX");
  const bool isHfix = word.starts_with("HFIX");
  if (isAfix || isHfix) word.erase(0, 4);
  if (word == "NONE") return isAfix || isHfix ? std::nullopt : std::optional(kNoHydrogensHere);
  double value = 0.0;
  if (!ParseWholeNumber(word, value)) return std::nullopt;
  for (const HfixOption& option : kHfixOptions) {
    if (value != option.code) continue;
    const bool isGroup = FindHfixGroup(option.code / 10) != nullptr;
    if ((isAfix && option.code != kFixExisting) || (isHfix && !isGroup)) return std::nullopt;
    return option.code;
  }
  return std::nullopt;
}

bool ApplyHfixOption(Document& document, int option, UserMessages& messages) {
  if (document.atoms.selection.Empty()) {
    messages.Show({MessageIcon::Warning, "Error: No Atoms Selected", "You must have at least one atom selected!"});
    return false;
  }
  if (option == kFixExisting) return FixExisting(document, messages);
  if (option == kNoHydrogensHere) {
    MarkAbsent(document, messages);
    return true;
  }
  const std::vector<AtomRecord*> selected(document.atoms.selection.begin(), document.atoms.selection.end());
  HydrogenBuilder builder(document, messages);
  std::vector<const AtomRecord*> failed;
  for (AtomRecord* atom : selected) {
    SetHfixEntry(document, atom, option);
    atom->flags2 &= static_cast<uint8_t>(~kHydrogensAbsent);
    if (atom->IsHydrogen() || atom->IsPeak() || builder.Place(option, atom)) continue;
    builder.RemoveFrom(atom);
    failed.push_back(atom);
  }
  TellOfFailures(failed, messages);
  return true;
}

}  // namespace marvik
