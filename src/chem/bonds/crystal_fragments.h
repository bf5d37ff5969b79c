#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "base/user_messages.h"
#include "chem/bonds/bond_rules.h"
#include "crystal/displacement.h"
#include "crystal/image_search.h"
#include "model/document.h"

namespace marvik {

// Made by GROW or PACK, now or before the file was written.
inline bool IsGenerated(const AtomRecord& atom) {
  return atom.generated != 0 || atom.Has(kFromGrownSection);
}

// An operator of the document's list and a lattice translation behind it.
struct ImageId {
  uint32_t op = 0;
  std::array<int32_t, 3> t{};
  friend auto operator<=>(const ImageId&, const ImageId&) = default;
};

// That the image of fragment `to` bonds to fragment `from` as it stands.
struct FragmentEdge {
  uint32_t from = 0;
  uint32_t to = 0;
  ImageId image;
  double distance = 0.0;  // Å, of the shortest such bond
};

// The fragments of the file atoms (neither peaks nor generated), by their bonds, and how they join through symmetry.
class CrystalFragments {
 public:
  explicit CrystalFragments(const Document& document);

  const std::vector<AtomRecord*>& FileAtoms() const { return atoms_; }
  uint32_t FragmentOf(uint32_t fileAtom) const { return fragmentOf_[fileAtom]; }
  const std::vector<std::vector<uint32_t>>& Members() const { return members_; }
  // The atom that a hydrogen rides on or is bonded to, null for any other atom or without one.
  const AtomRecord* CarrierOf(uint32_t fileAtom) const { return carriers_[fileAtom]; }
  // Index of a file atom by its serial, nothing for any other atom.
  std::optional<uint32_t> IndexOf(uint32_t serial) const;

  // The images of file atoms that would bond to `atom`, which may be a generated one: the distance criterion, the PART
  // rule, no FREE pair, and no negative PART on either side. False, and none is found, where more atoms are within
  // bonding distance than in any structure.
  bool FindBondingImages(const AtomRecord& atom, std::vector<AtomImage>& found) const;

  // The first file atom of which that is so, null in a structure that makes sense; there are no edges then. Says so in
  // a message and answers whether there is one.
  bool RefuseCrowded(UserMessages& messages) const;
  const AtomRecord* Crowded() const { return crowded_; }

  // Every join between fragments or of a fragment with an image of itself, the plain identity left out; one per
  // (from, to, image), in the order of the atoms.
  const std::vector<FragmentEdge>& Edges() const { return edges_; }

  // One connected whole through symmetry, built out from its first fragment.
  struct Molecule {
    bool infinite = false;                            // goes on for ever: parts holds one of each fragment
    std::vector<std::pair<uint32_t, ImageId>> parts;  // fragment and where it stands
  };
  // Each fragment belongs to exactly one.
  std::vector<Molecule> Molecules() const;

  Fractional Place(uint32_t fileAtom, const ImageId& image) const;
  // first, then second; nothing when the operator list holds no such operator.
  std::optional<ImageId> Compose(const ImageId& second, const ImageId& first) const;

 private:
  void NumberFragments();
  void FindCarriers();
  void FindEdges();

  BondRules rules_;
  const SymmetryList* operators_;
  std::vector<AtomRecord*> atoms_;
  std::vector<uint32_t> fragmentOf_;
  std::vector<std::vector<uint32_t>> members_;
  std::vector<const AtomRecord*> carriers_;
  std::unordered_map<uint32_t, uint32_t> bySerial_;
  double largestRadius_ = 0.0;
  ImageSearch images_;
  std::vector<FragmentEdge> edges_;
  const AtomRecord* crowded_ = nullptr;
};

// Appends the images of a fragment's atoms that are not yet there, each with its source, symmetry code and rotated
// tensor, hydrogens with their parents.
class ImageMaker {
 public:
  ImageMaker(Document& document, const CrystalFragments& fragments, UserMessages& messages);

  // Whether any atom stands within 0.1 Å.
  bool IsTaken(const Cartesian& place) const { return Taken(place, kAnyAtom); }
  // The new atoms are appended to `added`. False without memory.
  bool AddFragment(uint32_t fragment, const ImageId& image, std::vector<AtomRecord*>& added);
  bool AddAtom(uint32_t fileAtom, const ImageId& image, std::vector<AtomRecord*>& added);

 private:
  static constexpr uint32_t kAnyAtom = 0xffffffff;
  static constexpr uint32_t kAnyHydrogen = kAnyAtom - 1;
  struct Standing {
    Cartesian place;
    uint32_t kind;
  };
  // Atoms of one kind do not stand in one place: the serial of the file atom, kAnyAtom when unknown. Hydrogens are all
  // alike, since an axis moves those of a methyl group onto each other.
  static uint32_t KindOf(const AtomRecord& atom);
  static uint64_t KeyOf(int64_t x, int64_t y, int64_t z);
  bool Taken(const Cartesian& place, uint32_t kind) const;
  void Note(const Cartesian& place, uint32_t kind);

  Document& document_;
  const CrystalFragments& fragments_;
  UserMessages& messages_;
  std::array<double, 3> reciprocal_;
  std::unordered_map<uint64_t, std::vector<Standing>> standing_;
};

}  // namespace marvik
