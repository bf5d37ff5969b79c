#include "files/cif/cif_atoms.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <unordered_map>

#include "base/numbers.h"
#include "crystal/cell_metric.h"

namespace marvik {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kSmallestCode = 5.0;  // values of this size stand for free variables
constexpr int kLargestPart = 999;

CifColumn ColumnIn(const CifLoop* loop, std::string_view name) {
  if (!loop) return {};
  const auto at = std::ranges::find(loop->names, name);
  if (at == loop->names.end()) return {};
  return {loop, static_cast<size_t>(at - loop->names.begin())};
}

struct Coordinates {
  explicit Coordinates(const CifBlock& block) {
    const CifLoop* loop = FindColumn(block, {"_atom_site_fract_x"}).loop;
    for (size_t i = 0; i < 3; ++i) {
      const char name[] = {"xyz"[i], '\0'};
      columns[i] = ColumnIn(loop, std::string("_atom_site_fract_").append(name));
    }
  }

  bool Read(size_t row, Fractional& fract) const {
    for (size_t i = 0; i < 3; ++i)
      if (!ParseCifNumber(columns[i][row], fract[static_cast<int>(i)])) return false;
    return true;
  }

  std::array<CifColumn, 3> columns;
};

// A disorder group is a number, or a letter that counts as one.
int PartOf(CifValue group) {
  double number = 0.0;
  if (group.empty()) return 0;
  if (ParseCifNumber(group, number)) return std::clamp(RoundHalfAway(number), -kLargestPart, kLargestPart);
  const int letter = (group[0] & ~0x20) - 'A';
  return letter >= 0 && letter < 26 ? letter + 1 : 0;
}

// The anisotropic values, in whichever of their three forms, found by label.
class AnisotropicValues {
 public:
  AnisotropicValues(const CifBlock& block, const CifLoop* atoms, const CellParameters& cell) : atoms_(atoms) {
    struct Form {
      const char* prefix;
      bool isBeta;
      double factor;  // that makes a U of it; the reciprocal edges of beta come on top
    };
    constexpr Form kForms[] = {{"_atom_site_aniso_u_", false, 1.0},
                               {"_atom_site_aniso_b_", false, 1.0 / (8.0 * kPi * kPi)},
                               {"_atom_site_aniso_beta_", true, 1.0 / (2.0 * kPi * kPi)}};
    constexpr const char* kPlaces[] = {"11", "22", "33", "23", "13", "12"};
    constexpr size_t kAxes[][2] = {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}};
    for (const Form& form : kForms) {
      const CifLoop* loop = FindColumn(block, {std::string(form.prefix) + "11"}).loop;
      if (!loop) continue;
      const auto reciprocal = MakeMetric(cell).reciprocalEdges;
      for (size_t i = 0; i < 6; ++i) {
        columns_[i] = ColumnIn(loop, std::string(form.prefix) + kPlaces[i]);
        factors_[i] = form.factor / (form.isBeta ? reciprocal[kAxes[i][0]] * reciprocal[kAxes[i][1]] : 1.0);
      }
      loop_ = loop;
      break;
    }
    const CifColumn labels = ColumnIn(loop_, "_atom_site_aniso_label");
    next_.resize(labels.Rows());
    for (size_t row = labels.Rows(); row-- > 0;) {
      const auto [at, isNew] = rows_.try_emplace(labels[row], row);
      next_[row] = isNew ? kNoRow : at->second;
      at->second = row;
    }
  }

  // Of atoms that share a label the first gets the first row of that label, and so on.
  std::optional<std::array<double, 6>> Take(size_t atomRow, std::string_view label) {
    size_t row = atomRow;
    if (loop_ != atoms_) {
      const auto at = rows_.find(label);
      if (at == rows_.end() || at->second == kNoRow) return {};
      row = at->second;
      at->second = next_[row];
    }
    std::array<double, 6> u{};
    for (size_t i = 0; i < 6; ++i) {
      if (!ParseCifNumber(columns_[i][row], u[i])) return {};
      u[i] *= factors_[i];
    }
    return u;
  }

 private:
  static constexpr size_t kNoRow = static_cast<size_t>(-1);

  const CifLoop* atoms_;
  const CifLoop* loop_ = nullptr;
  std::array<CifColumn, 6> columns_;
  std::array<double, 6> factors_{};
  std::unordered_map<std::string_view, size_t> rows_;
  std::vector<size_t> next_;
};

class AtomReader {
 public:
  AtomReader(const CifBlock& block, const CellParameters& cell, const std::vector<FormulaElement>& formula,
             CifLosses& losses)
      : coordinates_(block),
        loop_(coordinates_.columns[0].loop),
        anisotropic_(block, loop_, cell),
        formula_(formula),
        losses_(losses),
        label_(ColumnIn(loop_, "_atom_site_label")),
        type_(ColumnIn(loop_, "_atom_site_type_symbol")),
        occupancy_(ColumnIn(loop_, "_atom_site_occupancy")),
        part_(ColumnIn(loop_, "_atom_site_disorder_group")),
        uIso_(ColumnIn(loop_, "_atom_site_u_iso_or_equiv")),
        bIso_(ColumnIn(loop_, "_atom_site_b_iso_or_equiv")) {
    if (!label_.loop) label_ = type_;
  }

  std::vector<CifAtom> Read() {
    std::vector<CifAtom> atoms;
    const size_t rows = coordinates_.columns[0].Rows();
    atoms.reserve(rows);
    for (size_t row = 0; row < rows; ++row) {
      CifAtom atom;
      atom.label = label_[row];
      // The row of the displacement loop is used up by an atom that is left out, too.
      auto anisotropic = anisotropic_.Take(row, atom.label);
      if (!coordinates_.Read(row, atom.fract)) {
        ++losses_.withoutCoordinates;
        continue;
      }
      MoveIntoReach(atom.fract);
      atom.row = RowOfAtomType(type_[row]);
      if (atom.row == kUnknownRow) atom.row = RowOfCifLabel(atom.label, formula_);
      losses_.unknownElements += atom.row == kUnknownRow;
      if (ParseCifNumber(occupancy_[row], atom.occupancy) &&
          !(atom.occupancy >= 0.0 && atom.occupancy < kSmallestCode)) {
        ++losses_.otherOccupancies;
        atom.occupancy = 1.0;
      }
      atom.part = PartOf(part_[row]);
      TakeDisplacement(row, anisotropic, atom);
      atoms.push_back(atom);
    }
    losses_.atomLoopIsCut = loop_ && loop_->isCut;
    return atoms;
  }

 private:
  void MoveIntoReach(Fractional& fract) {
    bool isFar = false;
    for (int i = 0; i < 3; ++i) {
      if (std::fabs(fract[i]) < kSmallestCode) continue;
      fract[i] -= std::floor(fract[i]);
      isFar = true;
    }
    losses_.shiftedByCells += isFar;
  }

  void TakeDisplacement(size_t row, const std::optional<std::array<double, 6>>& anisotropic, CifAtom& atom) {
    const auto isPlain = [](double u) { return std::fabs(u) < kSmallestCode; };
    if (anisotropic && std::ranges::all_of(*anisotropic, isPlain)) {
      atom.uCount = 6;
      atom.u = *anisotropic;
      return;
    }
    double value = 0.0;
    bool isGiven = ParseCifNumber(uIso_[row], value);
    if (!isGiven && (isGiven = ParseCifNumber(bIso_[row], value))) value /= 8.0 * kPi * kPi;
    const bool isUsable = isGiven && value >= 0.0 && isPlain(value);
    if (isUsable) atom.u[0] = value;
    losses_.otherDisplacements += anisotropic || (isGiven && !isUsable);
  }

  Coordinates coordinates_;
  const CifLoop* loop_;
  AnisotropicValues anisotropic_;
  const std::vector<FormulaElement>& formula_;
  CifLosses& losses_;
  CifColumn label_, type_, occupancy_, part_, uIso_, bIso_;
};

}  // namespace

bool HasAtoms(const CifBlock& block) {
  const Coordinates coordinates(block);
  Fractional fract;
  for (size_t row = 0; row < coordinates.columns[0].Rows(); ++row)
    if (coordinates.Read(row, fract)) return true;
  return false;
}

std::vector<CifAtom> ReadCifAtoms(const CifBlock& block, const CellParameters& cell,
                                  const std::vector<FormulaElement>& formula, CifLosses& losses) {
  return AtomReader(block, cell, formula, losses).Read();
}

}  // namespace marvik
