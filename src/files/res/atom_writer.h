#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "files/res/writer.h"
#include "model/document.h"

namespace marvik {

// What PART, AFIX, MOLE and RESI lines say of the atoms behind them.
struct AtomState {
  int part = 0;
  bool hasOccupancy = false;
  float occupancy = 0.0f;
  int afix = 0;
  int afixGroup = 0;
  int mole = 0;
  int residue = -1;

  // Puts what a line says in force.
  void Set(const LayoutState& state);
  // Whether this says of one kind what `wanted` says. Two groups of one AFIX code are two.
  bool Says(LayoutState::Kind kind, const AtomState& wanted) const;
};
AtomState StateOf(const AtomRecord& atom);
inline constexpr std::array<LayoutState::Kind, 4> kStateKinds{LayoutState::Residue, LayoutState::Part,
                                                              LayoutState::Afix, LayoutState::Mole};

bool IsGrownAtomOfFile(const AtomRecord& atom);
bool GoesBehindEnd(const AtomRecord& atom);

// Writes atoms and the lines of their state, each with its line feed.
class AtomWriter {
 public:
  AtomWriter(const Document& document, FileLayout layout);

  void Line(const AtomRecord& atom, std::string& out) const;
  // The line that puts one kind of an atom's state in force; of no atom, the one that ends it.
  void State(LayoutState::Kind kind, const AtomRecord* atom, std::string& out) const;
  // Of all that Line writes.
  uint64_t HashOf(const AtomRecord& atom) const;
  // A hydrogen that the refinement makes from its carrier's HFIX line is not written.
  bool IsLeftToHfix(const AtomRecord& atom) const;

 private:
  int SfacNumber(const AtomRecord& atom) const;
  void LongLine(const AtomRecord& atom, size_t start, std::string& out) const;

  const Document& document_;
  std::vector<int> sfacNumbers_;
  std::unordered_set<const AtomRecord*> hfixCarriers_;
};

}  // namespace marvik
