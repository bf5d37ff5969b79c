#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/user_messages.h"
#include "edit/edit_fields.h"
#include "model/document.h"

namespace marvik {

// How the parts of split atoms lie.
enum class SplitWay : uint8_t {
  Axis,        // along the longest principal axis of U that the site leaves free, as far apart as U says
  Peaks,       // on chosen peaks; atoms without one near them along their axis
  Rotation,    // the second part turned about a line through two places
  Inversion,   // the second part inverted through a place
  Reflection,  // the second part reflected in the plane of three places
  Symmetry,    // the others are images of the first: a negative PART, off the special positions along the axis of U
};
enum class SplitDistances : uint8_t { Sadi, Same, None };
enum class SplitDisplacements : uint8_t { Simu, Rigu, Both, Equal, None };

// Atoms in two or three parts. As text: "parts=2 way=axis distance=0.6 to=\"Q1 Q2\" about=\"C1 C2\" angle=180 fvar=2
// value=0.5 distances=sadi displacements=simu", and the atoms; peaks among these are what `to` names. `way` may be left
// out where `to` or `about` says it: one place is a centre of inversion, two are an axis, three a plane.
struct SplitRequest {
  int parts = 2;
  SplitWay way = SplitWay::Axis;
  std::optional<double> distance;  // of the outermost parts, Å
  std::vector<AtomRecord*> peaks;
  std::vector<Fractional> about;
  double angle = 180.0;     // degrees
  std::optional<int> fvar;  // one that is there already; nothing for a new one
  double value = 0.5;       // of a new one
  SplitDistances distances = SplitDistances::Sadi;
  SplitDisplacements displacements = SplitDisplacements::Simu;
};
std::span<const FieldRange> SplitFields();
std::optional<SplitRequest> ParseSplit(const Document& document, const EditArguments& arguments, EditFault& fault);

// Splits atoms; the first part keeps the records and the names. Hydrogens that ride on them or are bonded to them alone
// follow, as do BIND and FREE pairs and HFIX lines. The parts get PART numbers and occupancies by a free variable, 21.0
// and -21.0, or three of them whose sum a SUMP holds at 1. Restraints make the distances from each part to its
// neighbours alike (SADI, or SAME for those within the parts) and their displacements similar (SIMU, RIGU, EADP). By
// symmetry there are no other parts and no free variable: occupancies are shared among the images. Peaks that parts
// stand on are killed. Positions are right afterwards, bonds are not made. A sentence, with nothing changed, for atoms
// that cannot be split: riding, in a rigid group, split already, images, and those that would leave a special position.
std::string SplitAtoms(Document& document, const std::vector<AtomRecord*>& chosen, const SplitRequest& request,
                       UserMessages& messages);

// The inverse: each chosen atom of a part and its counterparts in the other parts (the nearest of its element that the
// same free variables tie to it) become one where the occupancies have their mean, fully occupied and in PART 0. The
// one of the first part stays, with its hydrogens. Names of those that are gone leave the restraints and constraints.
// Free variables that nothing uses any more go, and those behind them move up. A sentence where there is nothing to
// join.
std::string JoinAtoms(Document& document, const std::vector<AtomRecord*>& chosen, UserMessages& messages);

}  // namespace marvik
