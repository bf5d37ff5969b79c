#include "edit/edit_elements.h"

#include <algorithm>

#include "edit/edit_fields.h"
#include "edit/edit_names.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr int kUnitDecimals = 3;

std::string UnitText(const Document& document, int row) {
  return FieldText(CountInCell(document, row), kUnitDecimals);
}

// Where a peak or an atom that has changed its kind belongs: behind the last of that kind among the file atoms.
void MoveBehindItsKind(AtomList& atoms, AtomRecord* atom) {
  AtomRecord* place = nullptr;
  for (AtomRecord* other : Atoms(atoms)) {
    if (other == atom || IsGrownAtom(*other)) continue;
    if (atom->IsPeak() || !other->IsPeak()) place = other;
  }
  atoms.Unlink(atom);
  atoms.LinkBehind(atom, place);
}

}  // namespace

double CountInCell(const Document& document, int row) {
  double sum = 0.0;
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    if (!IsGrownAtom(*atom) && !atom->IsPeak() && atom->element->atomicNumber == row) {
      sum += DecodedOccupancy(*atom, document.instructions);
    }
  }
  return sum * static_cast<double>(std::max<size_t>(document.symmetry.size(), 1));
}

void AddSfacEntry(Document& document, int row) {
  Instructions& in = document.instructions;
  if (in.unit.size() == in.sfac.size()) in.unit.push_back(UnitText(document, row));
  in.sfac.push_back(row);
}

bool RecountUnit(Document& document) {
  Instructions& in = document.instructions;
  std::vector<std::string> unit;
  std::set<int> counted;
  for (const int row : in.sfac) unit.push_back(counted.insert(row).second ? UnitText(document, row) : "0");
  if (unit == in.unit) return false;
  in.unit = std::move(unit);
  return true;
}

// Atoms that are of another element only because the one of their names was not on SFAC ("H2O1" of a water oxygen)
// would be read as that element from now on: they get names of their own element.
void ElementChooser::KeepElements(int row) {
  std::string renamed;
  for (AtomRecord* atom : Atoms(document_.atoms)) {
    if (!atom->elementFromSfac || IsGrownAtom(*atom) || ElementTable::ElementFromLabel(atom->name) != row) continue;
    const std::string before = atom->name;
    const std::string symbol(atom->element->Symbol());
    std::string name;
    for (int n = 1; name.empty() && n < 1000; ++n) {
      const std::string free = symbol + std::to_string(n);
      if (!HolderOfName(document_, free, atom->residue, nullptr)) name = free;
    }
    if (name.empty() || CheckAtomName(name)) continue;
    RenameAtom(document_, atom, name, *this);
    renamed += "\n" + before + " is now " + name;
  }
  if (renamed.empty()) return;
  messages_.Show({MessageIcon::Information, "Atoms Renamed",
                  "These names would stand for " + std::string(document_.elements[row].Symbol()) +
                      " now that it is on SFAC:" + renamed});
}

bool ElementChooser::OnSfac(int row) {
  Instructions& in = document_.instructions;
  if (std::ranges::find(in.sfac, row) != in.sfac.end()) return true;
  if (row == kUnknownRow || declined_.contains(row)) return false;
  const std::string symbol(document_.elements[row].Symbol());
  if (!messages_.AskYesNo({MessageIcon::Question, "Element Not Listed in SFAC",
                           "The element " + symbol + " is new to this structure.\nAdd it to SFAC and UNIT?"})) {
    declined_.insert(row);
    return false;
  }
  AddSfacEntry(document_, row);
  added_.insert(row);
  KeepElements(row);
  return true;
}

void ElementChooser::Decide(AtomRecord& atom) {
  const int row = atom.IsPeak() ? kUnknownRow : ElementTable::ElementFromLabel(atom.name);
  const int present = atom.element->atomicNumber;
  atom.elementFromSfac = false;
  const bool keeps = !atom.IsPeak() && present != row && present != kUnknownRow && !OnSfac(row) && OnSfac(present);
  if (keeps) {
    atom.elementFromSfac = true;
    return;
  }
  if (!atom.IsPeak()) OnSfac(row);
  atom.element = &document_.elements[row];
}

void ElementChooser::Finish() {
  Instructions& in = document_.instructions;
  if (in.unit.size() != in.sfac.size()) return;
  for (size_t i = 0; i < in.sfac.size(); ++i) {
    if (added_.contains(in.sfac[i])) in.unit[i] = UnitText(document_, in.sfac[i]);
  }
}

void RenameAtom(Document& document, AtomRecord* atom, const std::string& name, ElementChooser& elements) {
  if (!HolderOfName(document, atom->name, atom->residue, atom)) {
    ReplaceNameElsewhere(document, atom->name, name, atom->residue);
  }
  SetAtomName(document, atom, name, elements);
}

void SetAtomName(Document& document, AtomRecord* atom, const std::string& name, ElementChooser& elements) {
  const bool wasPeak = atom->IsPeak();
  atom->name = name;
  elements.Decide(*atom);
  if (atom->IsPeak() != wasPeak) {
    atom->afterEnd = false;
    atom->afix = 0;
    atom->sfacNumber = 0;
    MoveBehindItsKind(document.atoms, atom);
  }
  for (AtomRecord* image : Atoms(document.atoms)) {
    if (image->generated == 0 || image->sourceSerial != atom->serial) continue;
    image->name = name;
    image->element = atom->element;
    image->elementFromSfac = atom->elementFromSfac;
  }
}

int RowOfSymbol(std::string_view symbol) {
  const std::string wanted = UpperCase(symbol);
  if (wanted.empty() || wanted.size() > 2) return 0;
  const int row = ElementTable::ElementFromLabel(wanted);
  static const ElementTable table;
  return row != kUnknownRow && UpperCase(table[row].Symbol()) == wanted ? row : 0;
}

}  // namespace marvik
