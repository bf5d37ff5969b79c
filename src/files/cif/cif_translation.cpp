#include "files/cif/cif_translation.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "base/numbers.h"
#include "crystal/site_symmetry.h"
#include "files/cif/cif_atoms.h"
#include "files/cif/cif_conditions.h"
#include "files/cif/cif_symmetry.h"
#include "files/cif/cif_uncertainties.h"
#include "files/res/reader.h"
#include "language/composed_line.h"
#include "language/tokenizer.h"
#include "model/document.h"

namespace marvik {

namespace {

constexpr size_t kLabelsListed = 20;
constexpr double kSamePlace = 0.05;    // Å
constexpr size_t kLongestNumber = 10;  // six of them fit on the CELL line

// One line of printable text, shortened so that it stays a line of an instruction file. A character of several bytes
// is not cut through.
std::string LineOf(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  if (text.size() <= kLongestLine) return text;
  size_t end = kLongestLine;
  while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

bool HasLine(std::string_view text, std::string_view keyword) {
  for (size_t at = 0; at < text.size();) {
    if (UpperCase(text.substr(at, keyword.size())) == keyword) return true;
    at = text.find_first_of("\n\r", at);
    if (at == std::string_view::npos) return false;
    ++at;
  }
  return false;
}

// Told by its content, since its data name differs from program to program.
std::string EmbeddedResultFile(const CifBlock& block) {
  for (const std::string_view field : block.textFields) {
    std::string text = UnfoldedText(field);
    if (!HasLine(text, "TITL") || !HasLine(text, "CELL") || !HasLine(text, "SFAC")) continue;
    text.erase(0, std::min(text.find_first_not_of("\r\n"), text.size()));
    if (!text.ends_with('\n')) text += '\n';
    Document document;
    RecordingMessages unheard;
    if (ReadInstructionText(document, text, unheard) && document.atoms.head) return text;
  }
  return {};
}

// Composes the result file of one block.
class CifComposer {
 public:
  explicit CifComposer(const CifBlock& block) : block_(block) {}

  std::optional<CifTranslation> Compose(std::string& reason) {
    if (!TakeCell(reason)) return {};
    const Metric metric = MakeMetric(cell_);
    symmetry_ = ReadCifSymmetry(block_, metric);
    const CifValue formula = FindColumn(block_, {"_chemical_formula_sum"})[0];
    formula_ = ParseFormula(formula);
    atoms_ = ReadCifAtoms(block_, cell_, formula_, losses_);
    if (atoms_.empty()) {
      reason = "No atom site of data_" + std::string(block_.name) + " can be taken over.";
      return {};
    }
    const std::vector<SymmetryOperator> operators(symmetry_.operators.begin(), symmetry_.operators.end());
    for (const CifAtom& atom : atoms_) {
      const size_t order = SiteOperations(operators, metric, atom.fract, kSamePlace).size();
      shares_.push_back(1.0 / static_cast<double>(std::max<size_t>(order, 1)));
    }
    const CifConditions conditions = ReadCifConditions(block_);
    Title();
    CellLines(conditions.wavelength);
    text_ += "LATT -1\n";
    for (const std::string& line : symmetry_.lines) text_ += "SYMM " + line + "\n";
    Elements();
    text_ += conditions.measurement + conditions.refinement + "FVAR 0.50000\n";
    AtomLines();
    text_ += "HKLF 4\nEND\n";
    Notices();
    return CifTranslation{std::move(text_), EmbeddedResultFile(block_), std::move(notices_)};
  }

 private:
  bool TakeCell(std::string& reason);
  void CellLines(const std::string& wavelength);
  void Title();
  void Elements();
  void AtomLines();
  void AtomLine(const CifAtom& atom, const std::string& label, double share);
  void Notices();
  double FormulaUnits() const;
  double AtomsInCell(int row) const;
  void Notice(size_t count, const char* what);

  const CifBlock& block_;
  CifSymmetry symmetry_;
  CellParameters cell_;
  std::vector<FormulaElement> formula_;
  std::vector<CifAtom> atoms_;
  std::vector<double> shares_;  // of each atom, 1 / order of its site symmetry
  std::vector<int> sfac_;
  CifLosses losses_;
  std::string cellText_;  // the six values, each behind a blank
  std::string cellSu_;
  std::string text_;
  std::string notices_;
};

bool CifComposer::TakeCell(std::string& reason) {
  struct Item {
    const char* name;
    double CellParameters::*field;
    bool isAngle;
  };
  constexpr Item kItems[] = {
      {"_cell_length_a", &CellParameters::a, false},     {"_cell_length_b", &CellParameters::b, false},
      {"_cell_length_c", &CellParameters::c, false},     {"_cell_angle_alpha", &CellParameters::alpha, true},
      {"_cell_angle_beta", &CellParameters::beta, true}, {"_cell_angle_gamma", &CellParameters::gamma, true},
  };
  for (const Item& item : kItems) {
    const CifValue value = FindColumn(block_, {item.name})[0];
    double uncertainty = 0.0;
    if (!ParseMeasuredCifNumber(value, cell_.*item.field, uncertainty)) {
      // A right angle need not be given.
      if (!item.isAngle || !value.empty()) {
        reason = "data_" + std::string(block_.name) + (value.empty() ? " has no " : " has no number for ") + item.name +
                 (value.empty() ? "." : ": \"" + LineOf(std::string(value)) + "\".");
        return false;
      }
      cell_.*item.field = 90.0;
    }
    double same = 0.0;
    const std::string_view number = value.substr(0, ParseNumber(value, same));
    cellText_ += ' ';
    if (value.empty()) {
      cellText_ += "90";
    } else if (number.size() <= kLongestNumber) {
      cellText_ += number;
    } else {
      AppendPrintf(cellText_, "%.7g", cell_.*item.field);
    }
    AppendPrintf(cellSu_, " %.6g", uncertainty);
  }
  if (IsPossible(cell_)) return true;
  reason = "The cell of data_" + std::string(block_.name) + " is impossible:" + cellText_ + ".";
  return false;
}

void CifComposer::CellLines(const std::string& wavelength) {
  text_ += LineOf("CELL " + wavelength + cellText_) + "\n";
  text_ += LineOf(Printf("ZERR %.6g", FormulaUnits()) + cellSu_) + "\n";
}

void CifComposer::Title() {
  CifValue code = FindColumn(block_, {"_database_code_csd", "_database_code_depnum_ccdc_archive", "_cod_database_code",
                                      "_database_code_icsd", "_database_code_amcsd"})[0];
  if (code.empty()) code = block_.name;
  const CifValue group = CifSpaceGroupName(block_);
  text_ = LineOf(std::string("TITL  ").append(code).append(" ").append(group)) + "\n";
}

// The atoms of a row in the whole cell, as far as the CIF lists them.
double CifComposer::AtomsInCell(int row) const {
  double count = 0.0;
  for (size_t i = 0; i < atoms_.size(); ++i)
    if (atoms_[i].row == row) count += atoms_[i].occupancy * shares_[i];
  return count * static_cast<double>(symmetry_.operators.size());
}

// As given, else what fits the atoms other than hydrogen best.
double CifComposer::FormulaUnits() const {
  double units = 0.0;
  if (ParseCifNumber(FindColumn(block_, {"_cell_formula_units_z"})[0], units) && units > 0.0) return units;
  double inCell = 0.0;
  double inFormula = 0.0;
  for (const FormulaElement& element : formula_) {
    if (IsHydrogenRow(element.row)) continue;
    inCell += AtomsInCell(element.row);
    inFormula += element.count;
  }
  return inFormula > 0.0 ? std::max(1.0, std::round(inCell / inFormula)) : 1.0;
}

// SFAC and UNIT: the formula's elements, then those that only the atoms have.
void CifComposer::Elements() {
  const ElementTable table;
  const double units = FormulaUnits();
  std::string sfac = "SFAC";
  ComposedLine unit("UNIT");
  size_t column = sfac.size();
  const auto add = [&](int row, double count) {
    const std::string symbol(table[row].Symbol());
    if (column + symbol.size() + 1 > kLongestLine) {
      sfac += "\nSFAC";
      column = 4;
    }
    sfac.append(" ").append(symbol);
    column += symbol.size() + 1;
    unit.Add(Printf(" %.7g", std::round(count * 100.0) / 100.0));
    sfac_.push_back(row);
  };
  for (const FormulaElement& element : formula_) add(element.row, element.count * units);
  for (const CifAtom& atom : atoms_) {
    if (atom.row == kUnknownRow || std::ranges::find(sfac_, atom.row) != sfac_.end()) continue;
    add(atom.row, AtomsInCell(atom.row));
  }
  text_.append(sfac).append("\n").append(unit.Text()).append("\n");
}

void CifComposer::AtomLines() {
  const ElementTable table;
  CifLabels labels(table, sfac_);
  std::vector<CifLabels::Request> requests;
  requests.reserve(atoms_.size());
  for (const CifAtom& atom : atoms_) requests.push_back({atom.label, atom.row});
  const std::vector<std::string> names = labels.Assign(requests);
  std::string renamed;
  size_t changes = 0;
  int part = 0;
  for (size_t i = 0; i < atoms_.size(); ++i) {
    const CifAtom& atom = atoms_[i];
    if (names[i] != atom.label && ++changes <= kLabelsListed)
      renamed.append("\n").append(LineOf(std::string(atom.label))).append(" -> ").append(names[i]);
    if (atom.part != part) AppendPrintf(text_, "PART %d\n", part = atom.part);
    AtomLine(atom, names[i], shares_[i]);
  }
  if (part != 0) text_ += "PART 0\n";
  if (changes == 0) return;
  notices_ +=
      "Labels have at most four characters here, are unique and begin with the symbol of their element. Changed:";
  notices_ += renamed;
  if (changes > kLabelsListed) notices_ += "\n(" + std::to_string(changes - kLabelsListed) + " more)";
}

void CifComposer::AtomLine(const CifAtom& atom, const std::string& label, double share) {
  const auto at = std::ranges::find(sfac_, atom.row);
  const long number = at == sfac_.end() ? 0 : at - sfac_.begin() + 1;
  ComposedLine line(Printf("%-4s %2ld", label.c_str(), number), "       ");
  const auto add = [&line](double value) {
    std::string piece = " ";
    // Converted values have digits that mean nothing.
    AppendFixedExact(piece, std::round(value * 1e8) / 1e8, 9, 5);
    line.Add(piece);
  };
  for (int i = 0; i < 3; ++i) add(atom.fract[i]);
  std::string occupancy = " ";
  AppendFixed(occupancy, 10.0 + atom.occupancy * share, 9, 5);
  line.Add(occupancy);
  for (size_t i = 0; i < static_cast<size_t>(atom.uCount); ++i) add(atom.u[i]);
  text_.append(line.Text()).append("\n");
}

void CifComposer::Notice(size_t count, const char* what) {
  if (count == 0) return;
  notices_.append(notices_.empty() ? "" : "\n").append(std::to_string(count)).append(what);
}

void CifComposer::Notices() {
  Notice(losses_.withoutCoordinates, " atom(s) without coordinates are left out.");
  Notice(losses_.shiftedByCells, " atom(s) were moved by whole cells, since larger coordinates have another meaning.");
  Notice(losses_.otherOccupancies, " impossible occupancies became 1.");
  Notice(losses_.otherDisplacements, " impossible displacement values were not taken over.");
  Notice(losses_.unknownElements, " atom(s) are of no known element; a save gives them the first one on SFAC.");
  if (losses_.atomLoopIsCut) Notice(1, " incomplete row ends the list of atoms; the file may be cut off.");
  if (symmetry_.isListed) return;
  notices_ += notices_.empty() ? "" : "\n";
  notices_ += symmetry_.source.empty() ? "There are no symmetry operators; P 1 is assumed."
                                       : LineOf("The symmetry operators were made from \"" + symmetry_.source + "\".");
}

}  // namespace

std::optional<CifTranslation> TranslateCif(std::string_view cif, std::string* reason) {
  CifReader reader(
      cif, {"_atom_site_", "_cell_", "_symmetry_", "_space_group_", "_chemical_formula_sum", "_database_code_",
            "_cod_database_code", "_diffrn_radiation_wavelength", "_diffrn_ambient_temperature", "_exptl_crystal_size_",
            "_refine_ls_weighting_details", "_refine_ls_extinction_"});
  CifBlock block;
  std::string unused;
  std::string& why = reason ? *reason : unused;
  size_t blocks = 0;
  while (reader.Next(block)) {
    blocks += !block.name.empty();
    if (HasAtoms(block)) return CifComposer(block).Compose(why);
  }
  why = blocks == 0   ? "It has no data block, so it is no CIF."
        : blocks == 1 ? "It has no atom sites with fractional coordinates."
                      : Printf("None of its %zu data blocks has atom sites with fractional coordinates.", blocks);
  return {};
}

std::optional<std::string> ResultFileOfCif(const std::string& cifName, UserMessages& messages, std::string* reason) {
  const FileContent file = ReadWholeFile(cifName);
  if (!file.opened || file.outOfMemory) return {};
  auto translation = TranslateCif(file.content, reason);
  if (!translation) return {};
  if (!translation->embedded.empty() &&
      messages.AskYesNo({MessageIcon::Question, "Result File in the CIF",
                         FileNameOf(cifName) + " carries the result file of its refinement, which holds more than the\n"
                                               "tables of a CIF: restraints, riding hydrogens, weights.\n"
                                               "Do you want to open that one?"})) {
    return std::move(translation->embedded);
  }
  if (!translation->notices.empty()) messages.Show({MessageIcon::Information, "CIF Translation", translation->notices});
  return std::move(translation->text);
}

CifOutcome TranslateCifToRes(const std::string& cifName, const std::string& outputName, UserMessages& messages,
                             std::string* reason) {
  const auto text = ResultFileOfCif(cifName, messages, reason);
  if (!text) return CifOutcome::Failed;
  const FileContent existing = ReadWholeFile(outputName);
  if (existing.opened) {
    if (existing.content == *text) return CifOutcome::Done;
    if (!messages.AskYesNo({MessageIcon::Question, "File Exists",
                            FileNameOf(outputName) + " exists already and differs from what would be written.\n"
                                                     "Do you want to overwrite it?"})) {
      return CifOutcome::Declined;
    }
  }
  const std::string backup = existing.opened ? outputName + ".bak" : "";
  return WriteFileAtomically(outputName, *text, backup) == 0 ? CifOutcome::Done : CifOutcome::Failed;
}

}  // namespace marvik
