#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/user_messages.h"
#include "language/line_source.h"
#include "model/document.h"

namespace marvik {

// One read in progress: the line at hand, what each following atom inherits, and what can only be settled when the
// whole file is known.
class ReadState {
 public:
  ReadState(Document& target, std::string text, UserMessages& userMessages);

  // Goes to the next line that is not blank and takes it down in the layout, as text until something is made of it.
  bool NextLine();

  // The number that argument i begins with, kMissingNumber when there is none.
  double Number(size_t i) const;
  // The same rounded to an integer, 0 when missing.
  int Integer(size_t i) const;
  std::string Kept() const { return source.KeptText(line); }
  int32_t LineNumber() const { return static_cast<int32_t>(layout->lines.size()) - 1; }

  // Keeps the line verbatim where its kind and its place in the file say.
  void KeepLine();
  // Keeps it before the atom that comes next, with the state lines that led up to it.
  void KeepBeforeNextAtom();
  void Keep(KeptPlace place);
  void SetRole(LineRole role) { layout->lines.back().role = role; }
  // Notes the line, or only something that stood on it, as lost to a save in standard layout.
  void Drop(std::string text);
  // Notes a line whose content went into the model as one of the instructions that the writer composes; of earlier ones
  // nothing holds any more, unless the line adds to them.
  void Remember(const std::string& key, bool adds = false);
  // Notes a PART, AFIX, MOLE or RESI line.
  void NoteState(LayoutState state);
  // Lines that wait for an atom after the last one go behind it.
  void FlushPending();
  // Behind HKLF the refinement program acts on nothing any more.
  bool Parked() const { return afterHklf && sawAtoms; }

  Document& document;
  UserMessages& messages;
  std::shared_ptr<SourceLayout> layout;
  LineSource source;
  SourceLine line;
  std::vector<std::string_view> words;  // arguments of a keyword, or all words of another line
  bool stopped = false;

  // State that each following atom inherits.
  int part = 0;
  std::optional<float> partOccupancy;
  int afix = 0;
  int afixGroup = 0;
  std::string afixWords;  // for the first atom of the group
  int mole = 0;
  int residue = -1;

  bool sawAtoms = false;
  bool sawCell = false;
  bool sawSfac = false;
  bool sawUnit = false;
  bool sawFvar = false;
  bool defaultsAmongAtoms = false;  // DEFS acts on the restraints behind it, which then have to stay there
  bool afterHklf = false;
  bool afterEnd = false;
  bool inGrownSection = false;

  std::vector<KeptLine> pendingLines;  // positional lines for the next atom
  std::vector<KeptLine> stateLines;    // PART, AFIX, MOLE and RESI lines since the last atom or positional line
  std::vector<int> stateResidues;      // those that the state lines name

  bool plainSamePending = false;  // a SAME of plain names waits for its atom
  std::string refusedSameLines;   // each behind a line feed

  struct SymmLine {
    std::string text;
    std::string code;
    int32_t line;
  };
  std::vector<SymmLine> symmLines;
  struct PairLine {
    bool bind;
    std::string names[2];
    int residue;
    std::string text;
    std::string lost;  // a comment
    int32_t line;
  };
  std::vector<PairLine> pairLines;
  std::map<std::string, std::vector<int32_t>> remembered;  // the lines of the composed instructions, by key
  std::unordered_map<std::string, int> residueIndex;
  std::vector<bool> residueIsWritten;  // by index: an atom is in it, or its line is kept among positional ones
};

// read_header.cpp: a keyword's own handler, null for the keywords that are kept verbatim.
using InstructionHandler = void (*)(ReadState&);
InstructionHandler HandlerOf(InstructionKeyword keyword);
// read_atoms.cpp: PART, AFIX, MOLE, RESI and SAME; and a line without keyword, which may be an atom.
void HandlePart(ReadState& state);
void HandleAfix(ReadState& state);
void HandleMole(ReadState& state);
void HandleResi(ReadState& state);
void HandleSame(ReadState& state);
void HandleAtomLine(ReadState& state);
// read_finish.cpp: everything that needs the whole file. False without a usable cell.
bool FinishReading(ReadState& state);

}  // namespace marvik
