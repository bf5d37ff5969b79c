#include "edit/edit_atom.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"
#include "edit/edit_elements.h"
#include "edit/edit_names.h"
#include "edit/edit_riding.h"
#include "language/residues.h"
#include "model/coded_values.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr double kMostCoded = 9999.0;
constexpr double kLargestPart = 999.0;
constexpr const char* kAxisKeys[] = {"x", "y", "z"};
constexpr const char* kUKeys[] = {"u11", "u22", "u33", "u23", "u13", "u12"};

constexpr FieldRange kRanges[] = {
    WordField("name", "Name", "NAME"),
    WordField("element", "Element", "SYMBOL"),
    {"x", "x", -kMostCoded, kMostCoded},
    {"y", "y", -kMostCoded, kMostCoded},
    {"z", "z", -kMostCoded, kMostCoded},
    {"occupancy", "Occupancy", -kMostCoded, kMostCoded},
    {"u", "Uiso", -kMostCoded, kMostCoded},
    {"u11", "U11", -kMostCoded, kMostCoded},
    {"u22", "U22", -kMostCoded, kMostCoded},
    {"u33", "U33", -kMostCoded, kMostCoded},
    {"u23", "U23", -kMostCoded, kMostCoded},
    {"u13", "U13", -kMostCoded, kMostCoded},
    {"u12", "U12", -kMostCoded, kMostCoded},
    {"part", "PART", -kLargestPart, kLargestPart},
    {"partoccupancy", "PART occupancy", -kMostCoded, kMostCoded, "none"},
    {"afix", "AFIX", -179.0, 999.0},
    {"mole", "MOLE", 0.0, 99.0},
    WordField("residue", "Residue", "[CHAIN:]NUMBER[/CLASS]"),
    {"height", "Peak height", -kMostCoded, kMostCoded},
};

const FieldRange& RangeOf(std::string_view key) {
  return *FindField(kRanges, key);
}

// A number that may be tied to a free variable which has to exist.
class FieldReader {
 public:
  FieldReader(const Document& document, const EditArguments& arguments, EditFault& fault)
      : document_(document), arguments_(arguments), fault_(fault) {}

  std::optional<double> Coded(const char* key) {
    const std::string* text = Text(key);
    const auto value = text ? ReadFieldNumber(RangeOf(key), *text, fault_) : std::nullopt;
    if (!value) return value;
    const int variable = SplitCodedValue(*value).variable;
    const int most = static_cast<int>(document_.instructions.freeVariables.size()) + 1;
    if (variable > most) {
      fault_ = {key, Printf("%s: %g refers to free variable %d, and there are %d.", RangeOf(key).caption, *value,
                            variable, most)};
      return std::nullopt;
    }
    return value;
  }
  std::optional<double> Number(const char* key) {
    const std::string* text = Text(key);
    return text ? ReadFieldNumber(RangeOf(key), *text, fault_) : std::nullopt;
  }
  std::optional<int> Integer(const char* key) {
    const std::string* text = Text(key);
    return text ? ReadFieldInteger(RangeOf(key), *text, fault_) : std::nullopt;
  }
  // Nothing more is read once there is a fault.
  const std::string* Text(const char* key) const { return fault_ ? nullptr : arguments_.Find(key); }

 private:
  const Document& document_;
  const EditArguments& arguments_;
  EditFault& fault_;
};

int FindResidue(const Document& document, const Residue& wanted) {
  for (size_t i = 0; i < document.residues.size(); ++i) {
    const Residue& residue = document.residues[i];
    const bool sameClass = wanted.className.empty() || ResidueKey(residue) == ResidueKey(wanted);
    if (residue.number == wanted.number && residue.chain == wanted.chain && sameClass) return static_cast<int>(i);
  }
  return -1;
}

// "2", "A:2", "2/ALA" in the words of a RESI line.
Residue ResidueFromField(const std::string& text) {
  const size_t slash = text.find('/');
  Residue residue = ParseResidue(text.substr(0, slash));
  if (slash != std::string::npos) residue.className = text.substr(slash + 1);
  return residue;
}

EditFault CheckResidue(const std::string& text) {
  constexpr int kMostResidues = 9999;
  const Residue residue = ResidueFromField(text);
  const bool hasNumber = text.substr(0, text.find('/')).find_first_of("0123456789") != std::string::npos;
  const bool plain = std::ranges::all_of(residue.className, [](char c) { return c > ' ' && c < 127 && c != '='; });
  if (hasNumber && plain && residue.className.size() <= 4 && residue.number >= 0 && residue.number <= kMostResidues) {
    return {};
  }
  return {"residue", "Residue: \"" + text + "\" is not a number with a class of at most four characters, as 2/ALA."};
}

EditFault CheckElement(const Document& document, const AtomRecord& atom, const AtomEdit& edit) {
  const std::string& name = edit.name ? *edit.name : atom.name;
  const int fromName = ElementTable::ElementFromLabel(name);
  const auto& sfac = document.instructions.sfac;
  if (fromName == *edit.element) return {};
  if (std::ranges::find(sfac, fromName) == sfac.end() && std::ranges::find(sfac, *edit.element) != sfac.end()) {
    return {};
  }
  return {"element", "Element: the name " + name + " stands for " + std::string(document.elements[fromName].Symbol()) +
                         ", so the element is changed with the name."};
}

EditFault CheckAniso(const std::vector<AtomRecord*>& atoms, const AtomEdit& edit) {
  const auto given = std::ranges::count_if(edit.uij, [](const auto& value) { return value.has_value(); });
  if (given > 0 && edit.uIso) return {"u", "Uiso: an atom has either Uiso or U11 to U12."};
  if (given > 0 && given < 6 && !atoms[0]->IsAnisotropic()) {
    for (size_t i = 0; i < 6; ++i) {
      if (!edit.uij[i]) return {kUKeys[i], std::string(RangeOf(kUKeys[i]).caption) + ": a number is missing."};
    }
  }
  if (edit.uIso && *edit.uIso < 0.0 && *edit.uIso > -0.5) {
    return {"u", "Uiso: a negative value is a factor from -0.5 to -5 for the atom that it rides on."};
  }
  return {};
}

void SetCoded(AtomRecord& atom, size_t index, double value, double& target, const Document& document) {
  const bool coded = std::fabs(value) >= 5.0;
  atom.codedValues[index] = coded ? value : 0.0;
  target = coded ? DecodedValue(value, document.instructions.freeVariables) : value;
}

void SetDisplacement(const Document& document, AtomRecord& atom, const AtomEdit& edit) {
  if (edit.uIso) {
    atom.uCount = 1;
    atom.u = {0.05, 0, 0, 0, 0, 0};
    for (size_t i = 0; i < 6; ++i) atom.codedValues[kCodedU + i] = 0.0;
    SetCoded(atom, kCodedU, *edit.uIso, atom.u[0], document);
    if (*edit.uIso < 0.0) atom.codedValues[kCodedU] = *edit.uIso;
  }
  for (size_t i = 0; i < 6; ++i) {
    if (!edit.uij[i]) continue;
    atom.uCount = 6;
    SetCoded(atom, kCodedU + i, *edit.uij[i], atom.u[i], document);
  }
}

void SetPlace(Document& document, AtomRecord& atom, const AtomEdit& edit) {
  const Fractional before = atom.fract;
  for (size_t i = 0; i < 3; ++i) {
    if (edit.fract[i]) SetCoded(atom, i, *edit.fract[i], atom.fract[static_cast<int>(i)], document);
  }
  const Fractional shift = atom.fract - before;
  if (shift == Fractional{}) return;
  FractionalToCartesian(document.matrix, atom);
  for (AtomRecord* rider : Atoms(document.atoms)) {
    if (rider->parent != &atom || rider->codedValues[0] != 0 || rider->codedValues[1] != 0 ||
        rider->codedValues[2] != 0)
      continue;
    rider->fract += shift;
    FractionalToCartesian(document.matrix, *rider);
  }
}

int ResidueIndex(Document& document, const std::string& text) {
  const Residue wanted = ResidueFromField(text);
  if (IsNoResidue(wanted)) return -1;
  const int found = FindResidue(document, wanted);
  if (found >= 0) return found;
  document.residues.push_back(wanted);
  return static_cast<int>(document.residues.size()) - 1;
}

void SetState(AtomRecord& atom, const AtomEdit& edit) {
  if (edit.part) atom.part = static_cast<int16_t>(*edit.part);
  if (edit.part && *edit.part == 0) atom.partHasOccupancy = 0;
  if (edit.dropsPartOccupancy) atom.partHasOccupancy = 0;
  if (edit.partOccupancy) {
    atom.partHasOccupancy = 1;
    atom.partOccupancy = static_cast<float>(*edit.partOccupancy);
  }
  if (!atom.partHasOccupancy) atom.partOccupancy = 0.0f;
  if (edit.mole) atom.mole = static_cast<uint16_t>(*edit.mole);
  if (edit.occupancy) {
    atom.occupancy = *edit.occupancy;
    atom.codedValues[kCodedOccupancy] = 0.0;
  }
  if (edit.height && atom.IsPeak()) atom.peakHeight = *edit.height;
}

}  // namespace

bool AtomEdit::IsEmpty() const {
  const auto given = [](const auto& value) { return value.has_value(); };
  return !name && !element && std::ranges::none_of(fract, given) && !occupancy && !part && !partOccupancy &&
         !dropsPartOccupancy && !afix && !mole && !residue && !uIso && std::ranges::none_of(uij, given) && !height;
}

std::span<const FieldRange> AtomEditFields() {
  return kRanges;
}

const char* AtomFieldCaption(std::string_view key) {
  return RangeOf(key).caption;
}

std::vector<EditArguments::Field> AtomFields(const Document& document, const AtomRecord& atom) {
  constexpr int kPlaces = 6;
  const auto value = [&](size_t index, double plain) {
    return FieldText(atom.codedValues[index] != 0.0 ? atom.codedValues[index] : plain, kPlaces);
  };
  std::vector<EditArguments::Field> fields{{"name", atom.name}, {"element", std::string(atom.element->Symbol())}};
  for (size_t i = 0; i < 3; ++i) fields.push_back({kAxisKeys[i], value(i, atom.fract[static_cast<int>(i)])});
  fields.push_back({"occupancy", FieldText(atom.occupancy, kPlaces)});
  fields.push_back({"u", atom.IsAnisotropic() ? "" : value(kCodedU, atom.u[0])});
  for (size_t i = 0; i < 6; ++i) {
    fields.push_back({kUKeys[i], atom.IsAnisotropic() ? value(kCodedU + i, atom.u[i]) : ""});
  }
  fields.push_back({"part", std::to_string(atom.part)});
  fields.push_back(
      {"partoccupancy", atom.partHasOccupancy ? FieldText(static_cast<double>(atom.partOccupancy), kPlaces) : "none"});
  fields.push_back({"afix", std::to_string(static_cast<int16_t>(atom.afix))});
  fields.push_back({"mole", std::to_string(atom.mole)});
  std::string residue = "0";
  if (atom.residue >= 0) {
    const Residue& r = document.residues[static_cast<size_t>(atom.residue)];
    residue = (r.chain.empty() ? "" : r.chain + ":") + std::to_string(r.number);
    if (!r.className.empty()) residue += "/" + r.className;
  }
  fields.push_back({"residue", residue});
  if (atom.IsPeak()) fields.push_back({"height", FieldText(atom.peakHeight, 2)});
  return fields;
}

EditFault CheckNewName(const Document& document, const AtomRecord& atom, std::string_view name) {
  if (EditFault fault = CheckAtomName(name)) return fault;
  if (HolderOfName(document, name, atom.residue, &atom)) {
    return {"name", "Name: another atom is called " + std::string(name) + " already."};
  }
  return {};
}

namespace {

// What the fields must be together, and with the atoms that they are for.
EditFault CheckAtomEdit(const Document& document, const std::vector<AtomRecord*>& atoms, const AtomEdit& edit,
                        const EditArguments& arguments) {
  if (atoms.size() > 1) {
    for (const char* key : {"name", "x", "y", "z", "u11", "u22", "u33", "u23", "u13", "u12", "height"}) {
      if (!arguments.Find(key)) continue;
      return {key, AtomFieldCaption(key) + std::string(": this can be set for one atom at a time only.")};
    }
  }
  if (edit.name && *edit.name != atoms[0]->name) {
    if (EditFault fault = CheckNewName(document, *atoms[0], *edit.name)) return fault;
  }
  if (edit.residue) {
    if (EditFault fault = CheckResidue(*edit.residue)) return fault;
  }
  for (const AtomRecord* atom : atoms) {
    if (!edit.element) break;
    if (EditFault fault = CheckElement(document, *atom, edit)) return fault;
  }
  if (edit.height && !atoms[0]->IsPeak()) return {"height", "Peak height: only a peak has one."};
  return CheckAniso(atoms, edit);
}

}  // namespace

std::optional<AtomEdit> ParseAtomEdit(const Document& document, const std::vector<AtomRecord*>& atoms,
                                      const EditArguments& arguments, EditFault& fault) {
  fault = UnknownFieldFault(arguments, kRanges);
  FieldReader read(document, arguments, fault);
  AtomEdit edit;
  if (const std::string* text = read.Text("name")) edit.name = *text;
  if (const std::string* text = read.Text("element")) {
    edit.element = RowOfSymbol(*text);
    if (*edit.element == 0) fault = {"element", "Element: \"" + *text + "\" is not the symbol of an element."};
  }
  for (size_t i = 0; i < 3; ++i) edit.fract[i] = read.Coded(kAxisKeys[i]);
  edit.occupancy = read.Coded("occupancy");
  edit.uIso = read.Coded("u");
  for (size_t i = 0; i < 6; ++i) edit.uij[i] = read.Coded(kUKeys[i]);
  edit.part = read.Integer("part");
  if (const std::string* text = read.Text("partoccupancy"); text && *text == "none") {
    edit.dropsPartOccupancy = true;
  } else {
    edit.partOccupancy = read.Coded("partoccupancy");
  }
  edit.afix = read.Integer("afix");
  edit.mole = read.Integer("mole");
  if (const std::string* text = read.Text("residue")) edit.residue = *text;
  edit.height = read.Number("height");
  if (!fault) fault = CheckAtomEdit(document, atoms, edit, arguments);
  if (fault) return std::nullopt;
  return edit;
}

void ApplyAtomEdit(Document& document, const std::vector<AtomRecord*>& atoms, const AtomEdit& edit,
                   UserMessages& messages) {
  ElementChooser elements(document, messages);
  const int32_t afixGroup = NextAfixGroup(document);
  for (AtomRecord* atom : atoms) {
    if (edit.residue) atom->residue = ResidueIndex(document, *edit.residue);
    if (edit.name && *edit.name != atom->name) RenameAtom(document, atom, *edit.name, elements);
    if (edit.element && *edit.element != atom->element->atomicNumber) {
      atom->element = &document.elements[*edit.element];
      atom->elementFromSfac = ElementTable::ElementFromLabel(atom->name) != *edit.element;
    }
    SetPlace(document, *atom, edit);
    SetDisplacement(document, *atom, edit);
    SetState(*atom, edit);
    if (edit.afix && *edit.afix != static_cast<int16_t>(atom->afix)) SetAfix(document, atom, *edit.afix, afixGroup);
  }
  elements.Finish();
}

}  // namespace marvik
