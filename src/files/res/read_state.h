#pragma once

#include <map>
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
  ReadState(Document& target, std::string_view text, UserMessages& userMessages)
      : document(target), messages(userMessages), source(text) {}

  // The number that argument i begins with, kMissingNumber when there is none.
  double Number(size_t i) const;
  // The same rounded to an integer, 0 when missing.
  int Integer(size_t i) const;
  std::string Kept() const { return source.KeptText(line); }

  // Keeps the line verbatim where its kind and its place in the file say.
  void KeepLine();
  // Keeps it before the atom that comes next, with the state lines that led up to it.
  void KeepBeforeNextAtom();
  void Keep(KeptPlace place);
  // Notes the line, or only something that stood on it, as lost to a save.
  void Drop(std::string text);
  // Notes a line whose content went into the model as the present form of an instruction; an earlier one is lost.
  void Remember(const char* key);
  // Notes a PART, AFIX, MOLE or RESI line for positional lines that may follow.
  void NoteStateLine() { stateLines.append(Kept()).append("\n"); }
  // Lines that wait for an atom after the last one go behind it.
  void FlushPending();
  // Behind HKLF the refinement program acts on nothing any more.
  bool Parked() const { return afterHklf && sawAtoms; }

  Document& document;
  UserMessages& messages;
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
  bool afterHklf = false;
  bool afterEnd = false;
  bool inGrownSection = false;

  std::string pendingLines;        // positional lines for the next atom
  std::string stateLines;          // PART, AFIX, MOLE and RESI lines since the last atom or positional line
  std::vector<int> stateResidues;  // those that the state lines name
  std::optional<SameGroup> pendingSame;
  std::string pendingSameLine;
  size_t pendingSameAt = 0;      // where it stood among the pending lines
  std::string refusedSameLines;  // each behind a line feed

  struct SymmLine {
    std::string text;
    std::string code;
  };
  std::vector<SymmLine> symmLines;
  struct PairLine {
    bool bind;
    std::string names[2];
    int residue;
    std::string text;
    std::string lost;  // a comment
  };
  std::vector<PairLine> pairLines;
  struct SameLine {
    AtomRecord* atom;
    std::string text;
    size_t at;  // in the lines before the atom
  };
  std::vector<SameLine> sameLines;
  struct Original {
    std::string text;
    std::string code;
    bool hasMore = false;  // a comment, or text behind a continuation mark
  };
  std::map<std::string, Original> originals;
  std::unordered_map<std::string, int> residueIndex;
  std::vector<bool> residueIsWritten;  // by index: an atom is in it, or its line is kept among positional ones
  int shortSfacLines = 0;
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
// The residue that a RESI line names, made when it is new; -1 for none.
int ResidueOf(ReadState& state, std::string_view arguments, const std::string& text);
// read_finish.cpp: everything that needs the whole file. False without a usable cell.
bool FinishReading(ReadState& state);

}  // namespace marvik
