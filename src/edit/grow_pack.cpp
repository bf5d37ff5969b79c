#include <algorithm>
#include <cmath>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/crystal_fragments.h"
#include "chem/bonds/fragments.h"
#include "crystal/cell_metric.h"
#include "crystal/symmetry_codes.h"
#include "edit/symmetry_commands.h"

namespace marvik {

namespace {

// Atoms on the faces of the box count as inside.
constexpr double kFace = 1e-4;

// Calls visit(t) for every lattice translation that brings `f` into the box; false stops.
template <class Visit>
bool ForEachTranslation(const Fractional& f, const PackBox& box, Visit visit) {
  std::array<int32_t, 3> low{}, high{};
  for (int i = 0; i < 3; ++i) {
    const auto k = static_cast<size_t>(i);
    if (!(std::fabs(f[i]) < 1e6)) return true;
    low[k] = static_cast<int32_t>(std::ceil(box.low[k] - kFace - f[i]));
    high[k] = static_cast<int32_t>(std::floor(box.high[k] + kFace - f[i]));
  }
  for (int32_t x = low[0]; x <= high[0]; ++x)
    for (int32_t y = low[1]; y <= high[1]; ++y)
      for (int32_t z = low[2]; z <= high[2]; ++z)
        if (!visit(std::array<int32_t, 3>{x, y, z})) return false;
  return true;
}

uint32_t OperatorCount(const Document& document) {
  return std::max<uint32_t>(1, static_cast<uint32_t>(document.symmetry.size()));
}

void PackAtoms(const Document& document, const CrystalFragments& fragments, const std::vector<uint32_t>& atoms,
               const PackBox& box, ImageMaker& maker, std::vector<AtomRecord*>& added) {
  for (const uint32_t atom : atoms)
    for (uint32_t op = 0; op < OperatorCount(document); ++op)
      if (!ForEachTranslation(fragments.Place(atom, {op, {}}), box, [&](const std::array<int32_t, 3>& t) {
            return maker.AddAtom(atom, {op, t}, added);
          }))
        return;
}

void PackMolecule(const Document& document, const CrystalFragments& fragments,
                  const CrystalFragments::Molecule& molecule, const PackBox& box, ImageMaker& maker,
                  std::vector<AtomRecord*>& added) {
  Fractional centroid;
  double count = 0.0;
  for (const auto& [fragment, image] : molecule.parts)
    for (const uint32_t atom : fragments.Members()[fragment]) {
      centroid += fragments.Place(atom, image);
      count += 1.0;
    }
  centroid *= 1.0 / count;
  for (uint32_t op = 0; op < OperatorCount(document); ++op) {
    const Fractional place = document.symmetry.empty() ? centroid : document.symmetry[op].Apply(centroid);
    const bool goOn = ForEachTranslation(place, box, [&](const std::array<int32_t, 3>& t) {
      for (const auto& [fragment, image] : molecule.parts) {
        const auto whole = fragments.Compose({op, t}, image);
        if (whole && !maker.AddFragment(fragment, *whole, added)) return false;
      }
      return true;
    });
    if (!goOn) return;
  }
}

}  // namespace

size_t Grow(Document& document, UserMessages& messages, double most) {
  const CrystalFragments fragments(document);
  if (fragments.RefuseCrowded(messages)) return 0;
  std::vector<bool> infinite(fragments.Members().size());
  for (const auto& molecule : fragments.Molecules())
    for (const auto& [fragment, image] : molecule.parts) infinite[fragment] = molecule.infinite;
  ImageMaker maker(document, fragments, messages);
  std::vector<AtomRecord*> seeds;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (!atom->IsPeak() && IsFinite(atom->position)) seeds.push_back(atom);
  std::vector<AtomImage> found;
  std::vector<AtomRecord*> added;
  size_t total = 0;
  for (size_t i = 0; i < seeds.size(); ++i) {
    fragments.FindBondingImages(*seeds[i], found);
    for (const AtomImage& image : found) {
      if (maker.IsTaken(image.position)) continue;
      const uint32_t fragment = fragments.FragmentOf(image.atom);
      added.clear();
      const bool enough = !maker.AddFragment(fragment, {image.op, image.t}, added);
      total += added.size();
      if (!infinite[fragment]) seeds.insert(seeds.end(), added.begin(), added.end());
      if (enough || static_cast<double>(total) > most) {
        if (!enough) {
          messages.Show({MessageIcon::Warning, "Error: Too Many Atoms",
                         "GROW ended after " + std::to_string(total) + " atoms; there would be more."});
        }
        Connect(document, messages);
        return total;
      }
    }
  }
  Connect(document, messages);
  return total;
}

size_t GrowImage(Document& document, const AtomRecord& atom, int32_t symmetryCode, UserMessages& messages) {
  const CrystalFragments fragments(document);
  const auto index = fragments.IndexOf(atom.sourceSerial ? atom.sourceSerial : atom.serial);
  const uint32_t op = OperatorNumberOf(symmetryCode);
  if (!index || symmetryCode < 1000 || op >= OperatorCount(document) || fragments.RefuseCrowded(messages)) return 0;
  ImageMaker maker(document, fragments, messages);
  std::vector<AtomRecord*> added;
  maker.AddFragment(fragments.FragmentOf(*index), {op, TranslationOf(symmetryCode)}, added);
  Connect(document, messages);
  return added.size();
}

PackResult Pack(Document& document, const PackBox& box, UserMessages& messages) {
  PackResult result;
  const CrystalFragments fragments(document);
  result.expected = static_cast<double>(fragments.FileAtoms().size()) * OperatorCount(document);
  for (size_t i = 0; i < 3; ++i) {
    if (!(box.high[i] >= box.low[i])) result.refused = true;
    result.expected *= std::max(box.high[i] - box.low[i], 0.0);
  }
  if (!(result.expected <= kMostPackedAtoms) ||
      !std::all_of(box.low.begin(), box.low.end(), [](double v) { return std::fabs(v) < 1e5; }))
    result.refused = true;
  if (result.refused || fragments.RefuseCrowded(messages)) return result;
  ImageMaker maker(document, fragments, messages);
  std::vector<AtomRecord*> added;
  for (const auto& molecule : fragments.Molecules()) {
    if (box.wholeMolecules && !molecule.infinite) {
      PackMolecule(document, fragments, molecule, box, maker, added);
      continue;
    }
    for (const auto& [fragment, image] : molecule.parts)
      PackAtoms(document, fragments, fragments.Members()[fragment], box, maker, added);
  }
  result.added = added.size();
  Connect(document, messages);
  return result;
}

size_t Trim(Document& document, UserMessages& messages) {
  std::vector<AtomRecord*> all, selected;
  for (AtomRecord* atom : Atoms(document.atoms)) {
    if (!IsGenerated(*atom)) continue;
    all.push_back(atom);
    if (atom->Has(kSelected)) selected.push_back(atom);
  }
  const std::vector<AtomRecord*>& going = selected.empty() ? all : selected;
  if (going.empty()) return 0;
  document.atoms.DestroyAtoms(going);
  Connect(document, messages);
  return going.size();
}

std::vector<AtomRecord*> ConnectedFragments(Document& document, const std::vector<AtomRecord*>& atoms) {
  std::vector<bool> wanted(static_cast<size_t>(NumberMolecules(document)) + 1);
  for (const AtomRecord* atom : atoms) wanted[static_cast<size_t>(atom->moleculeNumber)] = true;
  std::vector<AtomRecord*> found;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (wanted[static_cast<size_t>(atom->moleculeNumber)]) found.push_back(atom);
  return found;
}

}  // namespace marvik
