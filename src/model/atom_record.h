#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/vec3.h"
#include "model/element_table.h"
#include "model/kept_line.h"

namespace marvik {

struct AtomRecord;

// One bond, stored once, in the list of one of its two atoms.
struct BondRecord {
  BondRecord* next = nullptr;
  BondRecord* prev = nullptr;
  AtomRecord* owner = nullptr;
  AtomRecord* partner = nullptr;
  std::array<uint32_t, 2> aux{};
  float width = 0.1f;  // Å
  uint16_t bits = 0;   // bit 0 survives updates; 1-3 order; 4-5 line style; 6-15 width class
  uint32_t slot = 0;   // place in the pool

  int Order() const { return bits >> 1 & 7; }
  int Style() const { return bits >> 4 & 3; }
  int WidthClass() const { return bits >> 6; }
  void SetOrder(int order) { bits = static_cast<uint16_t>((bits & ~0x0Eu) | (static_cast<unsigned>(order) & 7u) << 1); }
  void SetStyle(int style) { bits = static_cast<uint16_t>((bits & ~0x30u) | (static_cast<unsigned>(style) & 3u) << 4); }
  void SetWidthClass(int c) { bits = static_cast<uint16_t>((bits & 0x3Fu) | (static_cast<unsigned>(c) & 1023u) << 6); }
};

// Bond order codes in the order of the menu, and line styles.
enum BondOrder { kSingle = 0, kDouble = 1, kTriple = 2, kAromatic = 3, kPi = 4 };
enum BondStyle { kSolid = 0, kDashed = 1, kDotted = 2 };

// Bits of AtomRecord::flags.
enum AtomFlag : uint8_t {
  kFromGrownSection = 1,  // came from the GROW/PACK section of the file that was read
  kSelected = 2,
  kInSubset = 4,
  kHidden = 8,
  // bits 4 to 6 hold the hybridization
  kHiddenPart = 128,  // the PART number is among the hidden ones; kept by Connect
};

// Bits of AtomRecord::flags2.
enum AtomDisplayFlag : uint8_t {
  kLabelOff = 1,         // this atom's label was switched off by hand
  kLabelPlaced = 2,      // the label offset was set by hand
  kProgramHydrogen = 4,  // placed by the program: not written while its parent carries an HFIX entry
  kHydrogensAbsent = 8,  // the user said that this atom carries no HFIXed hydrogens
};

// Index into codedValues.
enum CodedValue { kCodedX = 0, kCodedY = 1, kCodedZ = 2, kCodedOccupancy = 3, kCodedU = 4 };

// What only some atoms have; kept outside the record so that a record is cheap to copy.
struct AtomExtras {
  // Lines that act from before this atom. PART, AFIX, MOLE and RESI lines that stood among them are here too.
  std::vector<KeptLine> linesBefore;
  std::string afixWords;     // behind the AFIX code on the line that opened this atom's group
  int afixWordsCode = 0;     // that code: the words go with no other
  std::string surplusWords;  // behind the fields of an atom line that the model reads
  friend bool operator==(const AtomExtras&, const AtomExtras&) = default;
};

// Extras or none, copied with the record that has them: a record is small, and most have none.
class OptionalExtras {
 public:
  OptionalExtras() = default;
  OptionalExtras(const OptionalExtras& other)
      : held_(other.held_ ? std::make_unique<AtomExtras>(*other.held_) : nullptr) {}
  OptionalExtras(OptionalExtras&&) noexcept = default;
  OptionalExtras& operator=(OptionalExtras other) noexcept {
    held_.swap(other.held_);
    return *this;
  }
  bool empty() const { return !held_; }
  AtomExtras& front() { return *held_; }
  const AtomExtras& front() const { return *held_; }
  void Make() { held_ = std::make_unique<AtomExtras>(); }
  friend bool operator==(const OptionalExtras& a, const OptionalExtras& b) {
    return a.held_ && b.held_ ? *a.held_ == *b.held_ : !a.held_ && !b.held_;
  }

 private:
  std::unique_ptr<AtomExtras> held_;
};

// Whether an AFIX code (10·m + n) lets atoms ride on the one before them.
constexpr bool IsRidingCode(int afix) {
  const int n = afix % 10;
  return n == 3 || n == 4 || n == 7 || n == 8;
}

// One atom. Records are owned by an AtomList and keep their address while they are in one of its lists.
struct AtomRecord {
  AtomRecord* next = nullptr;
  AtomRecord* prev = nullptr;
  int32_t killMark = 0;
  int32_t generated = 0;  // non-zero: made by GROW or PACK since the file was read
  BondRecord* bonds = nullptr;
  AtomRecord* parent = nullptr;  // of a riding hydrogen
  ElementInfo* element = nullptr;
  std::string name;  // bare, no padding
  int8_t createMark = 1;
  int8_t partHasOccupancy = 0;
  int16_t part = 0;
  float partOccupancy = 0.0f;
  // As they stood in the file when coded with free variables, 0 where the plain value applies: x y z, occupancy, u[6].
  std::array<double, 10> codedValues{};
  std::array<double, 6> u{0.05, 0, 0, 0, 0, 0};  // U11 U22 U33 U23 U13 U12 in Å², or Uiso first
  Fractional fract;
  Cartesian position;      // Å, derived from fract
  double occupancy = 1.0;  // in the file's coding (11.0, -21.0)
  double peakHeight = 0.0;
  uint8_t flags = 3 << 4;
  uint8_t flags2 = 0;
  uint16_t afix = 0;
  uint16_t mole = 0;
  uint16_t uCount = 1;    // 1 or 6
  int32_t afixGroup = 0;  // counts the AFIX lines of the file, so that two groups of one code stay two

  int8_t hydrogenCount = 0;  // hydrogens still to be attached, as classified
  int8_t charge = 0;
  bool elementFromSfac = false;  // the SFAC number decided because the label's element is not on SFAC
  bool afterEnd = false;         // a peak that stood behind END; goes back there while it is a peak
  bool afterHklf = false;        // stood between HKLF and END
  int16_t sfacNumber = 0;        // as read; tells apart entries that share a row of the table. 0 when made by hand
  uint32_t serial = 0;           // stable through copies of the document; never 0 for a listed atom
  int32_t residue = -1;          // index into the document's residues, -1 before the first RESI line
  int32_t symmetryCode = 0;      // of a generated atom: operator and translation, 1000·k + 100·(tx+5) + ...
  uint32_t sourceSerial = 0;     // of a generated atom: the serial of the file atom that it is an image of
  int32_t moleculeNumber = 0;    // scratch of whoever numbers connected fragments
  int32_t scratch = 0;
  uint32_t slot = 0;        // place in the pool
  uint64_t sourceHash = 0;  // of what was written for it right after reading
  int32_t sourceLine = -1;  // of the source layout, -1 for an atom that was made since

  float labelOffsetX = 0.0f;  // view units, each within ±0.5
  float labelOffsetY = 0.0f;

  // Written by the interactive renderer each frame, read by picking until the next.
  int16_t screenX = 0;
  int16_t screenY = 0;
  ViewPoint view;

  OptionalExtras extras;

  bool Has(AtomFlag f) const { return (flags & f) != 0; }
  void Set(AtomFlag f, bool on) { flags = static_cast<uint8_t>(on ? flags | f : flags & ~f); }
  int Hybridization() const { return flags >> 4 & 7; }  // 0 s, 1 sp1, 2 sp2, 3 sp3, 4 and 5 other
  void SetHybridization(int h) { flags = static_cast<uint8_t>((flags & 0x8F) | (h & 7) << 4); }
  // Deuterium too.
  bool IsHydrogen() const { return IsHydrogenRow(element->atomicNumber); }
  // A hydrogen that moves with the atom that carries it.
  bool IsRiding() const { return IsHydrogen() && IsRidingCode(static_cast<int16_t>(afix)); }
  // An electron-density peak: told by its name, as the files do it.
  bool IsPeak() const { return !name.empty() && (name[0] == 'Q' || name[0] == 'q'); }
  bool IsAnisotropic() const { return uCount == 6; }
  const AtomExtras& Extras() const;
  AtomExtras& MutableExtras();
};

}  // namespace marvik
