#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/numbers.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "language/residues.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

// Takes numbers from the bytes; zeros behind their end.
class Dice {
 public:
  Dice(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool Left() const { return at_ < size_; }
  int Of(int count) { return (at_ < size_ ? data_[at_++] : 0) % count; }
  double Number(double low, double high) { return low + (high - low) * (256 * Of(256) + Of(256)) / 65535.0; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

std::string Written(const Document& document, FileLayout layout) {
  RecordingMessages messages;
  WriteOptions options;
  options.layout = layout;
  std::string text;
  Require(ComposeInstructionText(document, text, messages, options), "cannot be written", text);
  return text;
}

void Read(Document& document, const std::string& text) {
  RecordingMessages messages;
  Require(ReadInstructionText(document, text, messages), "cannot be read", text);
}

constexpr const char* kElements[] = {"C", "H", "N", "O", "CL"};

void ChangeAtom(Document& document, AtomRecord& atom, Dice& dice) {
  for (int i = 0; i < 3; ++i) atom.fract[i] = dice.Number(-1.0, 2.0);
  atom.codedValues = {};
  if (dice.Of(8) == 0) atom.codedValues[kCodedX] = 10.0 + std::round(1e4 * atom.fract.x) / 1e4;
  if (atom.codedValues[kCodedX] != 0.0) atom.fract.x = atom.codedValues[kCodedX] - 10.0;
  constexpr double kOccupancies[] = {11.0, 10.5, 21.0, -21.0, 1.0, 0.25};
  atom.occupancy = kOccupancies[dice.Of(6)];
  atom.uCount = dice.Of(2) ? 6 : 1;
  atom.u = {};
  for (size_t i = 0; i < atom.uCount; ++i) atom.u[i] = dice.Number(i < 3 ? 0.001 : -0.05, 0.2);
  atom.part = static_cast<int16_t>(dice.Of(5) - 1);
  atom.partHasOccupancy = atom.part != 0 && dice.Of(3) == 0;
  atom.partOccupancy = atom.partHasOccupancy ? 21.0f : 0.0f;
  constexpr int kCodes[] = {0, 0, 0, 43, 137, 66, 1};
  const int code = kCodes[dice.Of(7)];
  atom.afix = static_cast<uint16_t>(code);
  atom.afixGroup = code ? 1 + dice.Of(4) : 0;
  atom.residue = dice.Of(4) == 0 ? dice.Of(static_cast<int>(document.residues.size())) : -1;
}

void AddAtom(Document& document, Dice& dice, int number) {
  RecordingMessages messages;
  AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
  const char* label = kElements[dice.Of(5)];
  atom->name = label + std::to_string(number);
  atom->element = &document.elements[ElementTable::ElementFromLabel(label)];
  ChangeAtom(document, *atom, dice);
  AtomRecord* place = document.atoms.tail;
  for (int back = dice.Of(4); back > 0 && place && place->prev; --back) place = place->prev;
  document.atoms.LinkBehind(atom, place);
}

void Make(Document& document, Dice& dice) {
  Read(document,
       Printf("TITL random\nCELL 0.71073 %.4f %.4f %.4f 90 %.3f 90\nZERR 4 0 0 0 0 0 0\nLATT %d\n"
              "SFAC C H N O CL\nUNIT 4 4 4 4 4\nFVAR 1 0.6\nHKLF 4\nEND\n",
              dice.Number(5, 30), dice.Number(5, 30), dice.Number(5, 30), dice.Number(90, 110), dice.Of(2) ? 1 : -1));
  document.instructions.source.reset();
  for (const char* residue : {"1 ALA", "2 ALA", "A:3 CCF3"}) document.residues.push_back(ParseResidue(residue));
  constexpr const char* kKept[] = {"SADI 0.02 C0 C1", "DELU C0 > C4", "EADP C1 C2", "SIMU_ALA C0 C1 C2", "CONF"};
  for (const char* line : kKept)
    if (dice.Of(2)) document.instructions.kept.push_back({KeptPlace::Body, line, -1});
  document.settings.Cycles = dice.Of(20);
  document.settings.PlanPeaks = dice.Of(40) - 20;
  document.settings.Acta = dice.Of(2) != 0;
}

bool Near(double a, double b) {
  return std::fabs(a - b) < 1e-5;
}

// What the two say differently, by the first atom.
std::string Difference(const Document& a, const Document& b) {
  const AtomRecord* q = b.atoms.head;
  for (const AtomRecord* p = a.atoms.head; p; p = p->next, q = q->next) {
    if (!q) return "fewer atoms";
    bool same = p->name == q->name && p->element->atomicNumber == q->element->atomicNumber && p->part == q->part &&
                p->partHasOccupancy == q->partHasOccupancy && p->afix == q->afix && p->uCount == q->uCount &&
                QualifiedName(a, *p) == QualifiedName(b, *q) && Near(p->occupancy, q->occupancy) &&
                Near(p->partOccupancy, q->partOccupancy);
    for (int i = 0; i < 3; ++i) same = same && Near(p->fract[i], q->fract[i]);
    for (size_t i = 0; i < p->uCount; ++i) same = same && Near(p->u[i], q->u[i]);
    for (size_t i = 0; i < 10; ++i) same = same && Near(p->codedValues[i], q->codedValues[i]);
    if (!same) return "atom " + p->name;
    // Two groups of one code stay two.
    if (p->afix != 0 && p->next && q->next && p->afix == p->next->afix && p->part == p->next->part &&
        p->residue == p->next->residue && (p->afixGroup == p->next->afixGroup) != (q->afixGroup == q->next->afixGroup))
      return "the group of " + p->name;
  }
  if (q) return "more atoms";
  return a.settings == b.settings ? "" : "settings";
}

// Written, read, and written again: one model, and the same bytes.
void RequireSame(const Document& document, FileLayout layout, Document& again) {
  const std::string text = Written(document, layout);
  Read(again, text);
  const std::string difference = Difference(document, again);
  Require(difference.empty(), difference.c_str(), text);
  Require(Written(again, layout) == text, "written twice in one layout", text);
  Require(Written(again, FileLayout::AsRead) == text, "saved without an edit", text);
}

}  // namespace

// A random document written both ways, read back, changed at random and written again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Dice dice(data, size);
  Document made;
  Make(made, dice);
  int number = 0;
  while (dice.Left() && number < 40) AddAtom(made, dice, number++);
  // Reading gives the settings that no file holds their usual values.
  Document document;
  Read(document, Written(made, FileLayout::Standard));
  for (int round = 0; round < 3; ++round) {
    Document again;
    RequireSame(document, FileLayout::Standard, again);
    Document same;
    RequireSame(document, FileLayout::AsRead, same);
    for (AtomRecord* atom = document.atoms.head; atom;) {
      AtomRecord* next = atom->next;
      const int what = dice.Of(8);
      if (what == 0) document.atoms.KillAtom(atom);
      if (what == 1) ChangeAtom(document, *atom, dice);
      if (what == 2) atom->name = "C" + std::to_string(100 + number++);
      atom = next;
    }
    if (dice.Of(2)) AddAtom(document, dice, 50 + number++);
  }
  return 0;
}
