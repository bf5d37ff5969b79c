#include <unordered_map>

#include "base/numbers.h"
#include "files/res/atom_writer.h"
#include "files/res/header_pieces.h"
#include "files/res/layouts.h"
#include "language/instruction.h"
#include "language/residues.h"

namespace marvik {

namespace {

constexpr char kGrownRemark[] = "\nREM Marvik GPWARNING : The following atoms were created either by GROW or PACK.\n\n";

class StandardWriter {
 public:
  StandardWriter(const Document& document, std::string& text)
      : document_(document), atoms_(document, FileLayout::Standard), out_(text) {
    for (size_t i = 0; i < document.residues.size(); ++i)
      residueIndex_.try_emplace(ResidueKey(document.residues[i]), static_cast<int>(i));
  }

  void Whole() {
    for (const HeaderPiece& piece : ComposeHeader(document_, FileLayout::Standard)) Text(piece.text);
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      if (!IsGrownAtomOfFile(*atom) && !GoesBehindEnd(*atom) && !atom->afterHklf) Atom(*atom);
    }
    Lines(document_.atoms.trailingLines);
    Close();
    Text(document_.instructions.hklfLine);
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      if (!IsGrownAtomOfFile(*atom) && !GoesBehindEnd(*atom) && atom->afterHklf) Atom(*atom);
    }
    Close();
    for (const KeptLine& line : document_.instructions.kept)
      if (line.place == KeptPlace::AfterHklf) Text(hasAtoms_ ? line.text : AsRemarks(line.text));
    out_ += "END  \n";
    Kept(KeptPlace::AfterEnd);
    for (const AtomRecord* atom : Atoms(document_.atoms))
      if (GoesBehindEnd(*atom) && !IsGrownAtomOfFile(*atom)) Atom(*atom);
    Grown();
  }

  void Grown() {
    bool isFirst = true;
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      if (!IsGrownAtomOfFile(*atom)) continue;
      // One that was read keeps its line: nothing tells whom it rode on.
      if (atom->generated && atom->IsHydrogen() && !atom->parent) continue;
      if (isFirst) out_ += kGrownRemark;
      isFirst = false;
      Atom(*atom);
    }
    if (!isFirst) out_ += "PART 0\nAFIX 0\nMOLE 0\n\nEND  \n";
  }

 private:
  void Text(std::string_view text) {
    if (!text.empty()) out_.append(text).append("\n");
  }
  void Kept(KeptPlace place) {
    for (const KeptLine& line : document_.instructions.kept)
      if (line.place == place) Text(line.text);
  }
  void Lines(const std::vector<KeptLine>& lines) {
    for (const KeptLine& line : lines) {
      Text(line.text);
      TakeState(line.text);
    }
  }
  void TakeState(std::string_view text);
  void Atom(const AtomRecord& atom) {
    Lines(atom.Extras().linesBefore);
    // What stood before it acts from there all the same.
    if (atoms_.IsLeftToHfix(atom)) return;
    const AtomState wanted = StateOf(atom);
    if (openGroup_ && state_.afix == wanted.afix) state_.afixGroup = wanted.afixGroup;
    openGroup_ = false;
    for (const LayoutState::Kind kind : kStateKinds)
      if (!state_.Says(kind, wanted)) atoms_.State(kind, &atom, out_);
    state_ = wanted;
    atoms_.Line(atom, out_);
    hasAtoms_ = true;
  }
  void Close() {
    if (state_.afix != 0) out_ += "AFIX 0\n";
    if (state_.part != 0) out_ += "PART 0\n";
    if (state_.residue >= 0) out_ += "RESI 0\n";
    state_ = {};
    openGroup_ = false;
  }

  const Document& document_;
  const AtomWriter atoms_;
  std::string& out_;
  std::unordered_map<std::string, int> residueIndex_;
  AtomState state_;  // as last written
  bool hasAtoms_ = false;
  bool openGroup_ = false;  // the AFIX line is one that was kept: it opens the group of the atom behind it
};

void StandardWriter::TakeState(std::string_view text) {
  const Instruction line = ParseInstruction(text);
  const int value = line.numbers.empty() ? 0 : RoundHalfAway(line.numbers[0]);
  switch (line.keyword) {
    case InstructionKeyword::kAfix:
      state_.afix = value;
      openGroup_ = true;
      break;
    case InstructionKeyword::kMole:
      state_.mole = value;
      break;
    case InstructionKeyword::kPart:
      state_.part = value;
      state_.hasOccupancy = line.numbers.size() > 1;
      state_.occupancy = state_.hasOccupancy ? static_cast<float>(line.numbers[1]) : 0.0f;
      break;
    case InstructionKeyword::kResi: {
      const auto at = residueIndex_.find(ResidueKey(ParseResidue(HeadOf(text).arguments)));
      state_.residue = at == residueIndex_.end() ? -1 : at->second;
      break;
    }
    default:
      break;
  }
}

}  // namespace

std::string AsRemarks(std::string_view lines) {
  std::string text = "REM ";
  for (const char c : lines.substr(0, lines.find_last_not_of('\n') + 1)) {
    text += c;
    if (c == '\n') text += "REM ";
  }
  return text;
}

void ComposeStandard(const Document& document, std::string& text) {
  StandardWriter(document, text).Whole();
}

void ComposeGrownSection(const Document& document, std::string& text) {
  StandardWriter(document, text).Grown();
}

}  // namespace marvik
