#include <algorithm>
#include <array>

#include "crystal/cell_metric.h"
#include "crystal/symmetry.h"
#include "files/res/atom_writer.h"
#include "files/res/header_pieces.h"
#include "files/res/read_state.h"
#include "language/atom_references.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {

namespace {

constexpr size_t kMismatchesListed = 20;

// From the label, but where the number is that of another element on SFAC it decides: CA in a protein, HO1.
class ElementRule {
 public:
  explicit ElementRule(ReadState& state) : s_(state) {
    for (const int row : s_.document.instructions.sfac) onSfac_[static_cast<size_t>(row)] = row != kUnknownRow;
  }

  void Apply(AtomRecord& atom) {
    const std::vector<int>& sfac = s_.document.instructions.sfac;
    int row = ElementTable::ElementFromLabel(atom.name);
    const size_t number = static_cast<size_t>(std::abs(atom.sfacNumber));
    if (!atom.IsPeak() && number >= 1 && number <= sfac.size() && sfac[number - 1] != row) {
      const bool bothListed = onSfac_[static_cast<size_t>(row)] && sfac[number - 1] != kUnknownRow;
      if (bothListed) mismatches_.push_back(atom.name + " " + std::to_string(number));
      if (bothListed || !onSfac_[static_cast<size_t>(row)]) {
        row = sfac[number - 1];
        atom.elementFromSfac = true;
      }
    }
    atom.element = &s_.document.elements[row];
  }

  void Report() const {
    if (mismatches_.empty()) return;
    std::string text = "The SFAC numbers of these atoms name other elements than their names do, and the numbers hold:";
    for (size_t i = 0; i < std::min(mismatches_.size(), kMismatchesListed); ++i) text += "\n" + mismatches_[i];
    if (mismatches_.size() > kMismatchesListed)
      text += "\n(" + std::to_string(mismatches_.size() - kMismatchesListed) + " more)";
    s_.messages.Show({MessageIcon::Information, "Atom Names and SFAC Numbers", text});
  }

 private:
  ReadState& s_;
  std::array<bool, kElementRows> onSfac_{};
  std::vector<std::string> mismatches_;
};

void SettleAtoms(ReadState& s) {
  ElementRule elements(s);
  AtomRecord* carrier = nullptr;
  bool inMainSection = true;
  for (AtomRecord* atom : Atoms(s.document.atoms)) {
    elements.Apply(*atom);
    if (atom->Has(kFromGrownSection) && inMainSection) {
      carrier = nullptr;
      inMainSection = false;
    }
    if (!atom->IsHydrogen()) {
      if (!atom->IsPeak()) carrier = atom;
    } else if (atom->IsRiding()) {
      atom->parent = carrier;
    }
  }
  elements.Report();
  DecodeAtoms(s.document);
  s.document.RecomputePositions();
}

void SettlePairs(ReadState& s) {
  if (s.pairLines.empty()) return;
  std::vector<AtomRecord*> atoms;
  std::vector<NamedSite> sites;
  for (AtomRecord* atom : Atoms(s.document.atoms)) {
    atoms.push_back(atom);
    sites.push_back(NamedSiteOf(s.document, *atom));
  }
  const AtomNameIndex names(std::move(sites));
  for (const ReadState::PairLine& pair : s.pairLines) {
    AtomRecord residue;
    residue.residue = pair.residue;
    const ResidueNumber from = ResidueNumberOf(s.document, residue);
    const int a = names.Find(ParseAtomReference(pair.names[0]), from);
    const int b = names.Find(ParseAtomReference(pair.names[1]), from);
    if (a < 0 || b < 0 || a == b) {
      s.layout->lines[static_cast<size_t>(pair.line)].role = LineRole::Kept;
      s.document.instructions.kept.push_back({KeptPlace::Body, pair.text, pair.line});
      continue;
    }
    (pair.bind ? s.document.atoms.bindPairs : s.document.atoms.freePairs)
        .pairs.push_back({atoms[static_cast<size_t>(a)], atoms[static_cast<size_t>(b)], pair.line});
    s.remembered[PairKey(pair.bind, pair.line)] = {pair.line};
    if (!pair.lost.empty()) s.Drop(pair.text);
  }
}

// The lattice code counts for all operators wherever its line stood.
void SettleSymmetry(ReadState& s) {
  SymmetryList& list = s.document.symmetry;
  AddSymmetryOperator(list, "SYMM X,Y,Z", s.document.latticeCode, kImpliedOperator);
  size_t known = 0;
  for (const ReadState::SymmLine& line : s.symmLines) {
    const size_t at = list.size();
    AddSymmetryOperator(list, line.code, s.document.latticeCode, kSymmLineOperator);
    if (at >= list.size()) continue;
    list[at].name = line.text;
    s.remembered["SYMM " + std::to_string(known++)] = {line.line};
  }
}

// Standard layout has one line for all short forms of SFAC, with no place for comments, and none on long forms.
void NoteLostComments(ReadState& s) {
  const auto& forms = s.document.instructions.sfacForms;
  std::map<int32_t, bool> isLong;  // by line
  for (const SfacForm& form : forms) isLong[form.line] = form.longForm;
  const auto shortLines = std::ranges::count(isLong, false, [](const auto& entry) { return entry.second; });
  for (const auto& [line, longForm] : isLong) {
    const std::string text = TextOf(*s.layout, line);
    if ((longForm || shortLines > 1) && text.find('!') != std::string::npos) s.Drop(text);
  }
}

// Takes down what the writer would make of everything now, so that a save knows what has changed since.
void SettleLayout(ReadState& s) {
  std::unordered_map<std::string, size_t> place;
  for (HeaderPiece& piece : ComposeHeader(s.document, FileLayout::AsRead)) {
    if (piece.key.empty()) continue;
    place[piece.key] = s.layout->pieces.size();
    s.layout->pieces.push_back({std::move(piece.key), std::move(piece.text), {}});
  }
  for (auto& [key, lines] : s.remembered) {
    const auto at = place.find(key);
    for (const int32_t line : lines) {
      LayoutLine& said = s.layout->lines[static_cast<size_t>(line)];
      said.role = at == place.end() ? LineRole::Text : LineRole::Piece;
      if (at != place.end()) said.index = static_cast<int32_t>(at->second) & 0x7FFFFF;
    }
    if (at != place.end()) s.layout->pieces[at->second].lines = std::move(lines);
  }
  const AtomWriter writer(s.document, FileLayout::AsRead);
  for (AtomRecord* atom : Atoms(s.document.atoms)) atom->sourceHash = writer.HashOf(*atom);
  s.document.instructions.source = std::move(s.layout);
}

}  // namespace

bool FinishReading(ReadState& s) {
  Document& document = s.document;
  if (!s.sawCell || !BuildOrthogonalisation(document.cell, document.matrix)) return false;
  s.FlushPending();
  for (size_t i = 0; i < document.residues.size(); ++i)
    if (!s.residueIsWritten[i]) s.Drop(document.residues[i].line);
  if (!s.refusedSameLines.empty()) {
    s.messages.Show({MessageIcon::Warning, "SAME Command Error:",
                     "Processing of previous SAME command not completed, skipping line:" + s.refusedSameLines});
  }
  document.instructions.lineEnd = s.source.LineEnd();
  SettleAtoms(s);
  SettlePairs(s);
  SettleSymmetry(s);
  NoteLostComments(s);
  std::ranges::stable_sort(document.instructions.kept, {}, &KeptLine::line);
  SettleLayout(s);
  return true;
}

}  // namespace marvik
