#include <algorithm>
#include <cmath>
#include <numeric>

#include "chem/bonds/connectivity.h"
#include "chem/bonds/crystal_fragments.h"
#include "edit/symmetry_commands.h"
#include "model/placement.h"

namespace marvik {

namespace {

// Fixed at its value: the coding 10 + p.
bool IsFixed(double coded) {
  return std::fabs(coded) >= 5.0 && std::lround(std::fabs(coded) / 10.0) == 1;
}

struct MovedAtom {
  Fractional fract;
  std::array<double, 6> u{};
  std::array<double, 10> coded{};
};

// The atom at an image, its codes worked out again; nothing when a code says something that the image cannot say.
std::optional<MovedAtom> AtImage(const AtomRecord& atom, const SymmetryOperator& op, const std::array<int32_t, 3>& t,
                                 const std::array<double, 3>& reciprocal) {
  MovedAtom moved{op.Apply(atom.fract), atom.u, atom.codedValues};
  moved.fract += {static_cast<double>(t[0]), static_cast<double>(t[1]), static_cast<double>(t[2])};
  for (int i = 0; i < 3; ++i) {
    const auto k = static_cast<size_t>(i);
    int coded = 0, plain = 0;
    for (size_t j = 0; j < 3; ++j) {
      if (op.r[k][j] == 0) continue;
      const double code = atom.codedValues[kCodedX + j];
      if (code != 0.0 && !IsFixed(code)) return std::nullopt;
      (code != 0.0 ? coded : plain) += 1;
    }
    if (coded && plain) return std::nullopt;
    // Beyond these limits 10 + p would be read as something else.
    if (coded && !(std::fabs(moved.fract[i]) < 4.9)) return std::nullopt;
    moved.coded[kCodedX + k] = coded ? 10.0 + moved.fract[i] : 0.0;
  }
  if (!atom.IsAnisotropic()) return moved;
  moved.u = RotatedTensor(atom.u, op, reciprocal);
  for (size_t i = 0; i < 6; ++i) {
    double& code = moved.coded[kCodedU + i];
    if (std::fabs(moved.u[i] - atom.u[i]) < 1e-9) {
      moved.u[i] = atom.u[i];
      continue;
    }
    if (code == 0.0) continue;
    if (!IsFixed(code)) return std::nullopt;
    code = 10.0 + moved.u[i];
  }
  return moved;
}

// Moves a fragment; false, with nothing changed, when one of its atoms cannot be moved.
bool MoveFragment(Document& document, const std::vector<AtomRecord*>& atoms, const ImageId& image) {
  const auto reciprocal = MakeMetric(document.cell).reciprocalEdges;
  std::vector<MovedAtom> moved;
  for (const AtomRecord* atom : atoms) {
    const auto at = AtImage(*atom, document.symmetry[image.op], image.t, reciprocal);
    if (!at) return false;
    moved.push_back(*at);
  }
  for (size_t i = 0; i < atoms.size(); ++i) {
    atoms[i]->fract = moved[i].fract;
    atoms[i]->u = moved[i].u;
    atoms[i]->codedValues = moved[i].coded;
    FractionalToCartesian(document.matrix, *atoms[i]);
  }
  return true;
}

// One round: the largest fragment first, everything that bonds to it through symmetry comes to it. Gives the atoms that
// moved.
size_t GatherOnce(Document& document, const CrystalFragments& fragments) {
  const size_t count = fragments.Members().size();
  std::vector<uint32_t> bySize(count);
  std::iota(bySize.begin(), bySize.end(), 0u);
  std::stable_sort(bySize.begin(), bySize.end(), [&](uint32_t a, uint32_t b) {
    return fragments.Members()[a].size() > fragments.Members()[b].size();
  });
  std::vector<std::vector<const FragmentEdge*>> from(count);
  for (const FragmentEdge& edge : fragments.Edges()) from[edge.from].push_back(&edge);
  std::vector<bool> settled(count);
  size_t movedAtoms = 0;
  for (const uint32_t seed : bySize) {
    if (settled[seed]) continue;
    settled[seed] = true;
    std::vector<std::pair<uint32_t, ImageId>> gathered{{seed, {}}};
    for (size_t i = 0; i < gathered.size(); ++i) {
      const auto [fragment, place] = gathered[i];
      for (const FragmentEdge* edge : from[fragment]) {
        if (settled[edge->to]) continue;
        const auto image = fragments.Compose(place, edge->image);
        if (!image) continue;
        std::vector<AtomRecord*> atoms;
        for (const uint32_t member : fragments.Members()[edge->to]) atoms.push_back(fragments.FileAtoms()[member]);
        if (*image != ImageId{} && !MoveFragment(document, atoms, *image)) continue;
        settled[edge->to] = true;
        if (*image != ImageId{}) movedAtoms += atoms.size();
        gathered.push_back({edge->to, *image});
      }
    }
  }
  return movedAtoms;
}

}  // namespace

size_t FormMolecules(Document& document, bool dropGenerated, UserMessages& messages) {
  std::vector<AtomRecord*> generated;
  for (AtomRecord* atom : Atoms(document.atoms))
    if (IsGenerated(*atom)) generated.push_back(atom);
  if (!generated.empty()) {
    if (!dropGenerated) return 0;
    document.atoms.DestroyAtoms(generated);
    Connect(document, messages);
  }
  if (document.symmetry.empty()) return 0;
  const CrystalFragments fragments(document);
  // Only who asked for it is told.
  if (fragments.Crowded() && (!dropGenerated || fragments.RefuseCrowded(messages))) return 0;
  const size_t moved = GatherOnce(document, fragments);
  if (moved) Connect(document, messages);
  return moved;
}

size_t MoveNear(Document& document, const std::vector<AtomRecord*>& atoms, const AtomRecord& reference,
                UserMessages& messages) {
  const auto reciprocal = MakeMetric(document.cell).reciprocalEdges;
  size_t moved = 0;
  for (AtomRecord* atom : atoms) {
    if (atom == &reference) continue;
    double best = Distance(*atom, reference);
    const SymmetryOperator* winner = nullptr;
    Fractional shift;
    for (const ListedOperator& op : document.symmetry) {
      if (op.Determinant() == 0) continue;
      for (double x = -3.0; x < 3.5; x += 1.0)
        for (double y = -3.0; y < 3.5; y += 1.0)
          for (double z = -3.0; z < 3.5; z += 1.0) {
            const Fractional image = op.Apply(atom->fract) + Fractional{x, y, z};
            const double d = Distance(document.matrix * image, reference.position);
            if (d < best) {
              best = d;
              winner = &op;
              shift = {x, y, z};
            }
          }
    }
    std::vector<AtomRecord*> riders;
    for (AtomRecord* rider : Atoms(document.atoms))
      if (rider->parent == atom) riders.push_back(rider);
    riders.insert(riders.begin(), atom);
    for (AtomRecord* each : riders) {
      if (winner) {
        each->fract = winner->Apply(each->fract) + shift;
        if (each->IsAnisotropic()) each->u = RotatedTensor(each->u, *winner, reciprocal);
        std::fill_n(each->codedValues.begin(), 3, 0.0);
        if (each->IsAnisotropic()) std::fill(each->codedValues.begin() + kCodedU, each->codedValues.end(), 0.0);
        FractionalToCartesian(document.matrix, *each);
        ++moved;
      }
      document.atoms.Unlink(each);
      document.atoms.LinkAtTail(each);
    }
  }
  Connect(document, messages);
  return moved;
}

}  // namespace marvik
