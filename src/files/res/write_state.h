#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "base/user_messages.h"
#include "files/res/instruction_forms.h"
#include "model/document.h"

namespace marvik {

// One instruction file in the making: its text so far and what was last said of the state that atoms inherit.
class WriteState {
 public:
  WriteState(Document& source, std::string& text, UserMessages& userMessages);

  // write_header.cpp: everything before the first atom.
  void Header();
  // write_atoms.cpp: the atoms of the file, of its end, and of the GROW/PACK section.
  void FileAtoms();
  void PeaksBehindEnd();
  void GrownSection();
  // The kept lines of a place in file order.
  void Kept(KeptPlace place);
  // A line, unless it is empty.
  void Line(std::string_view line);

 private:
  void KeptBody();
  void FreeVariables();
  void Pairs();
  void Atom(const AtomRecord& atom);
  void StateOf(const AtomRecord& atom);
  void LinesBefore(std::string_view lines);
  void SameLine(const SameGroup& group);
  void AtomLine(const AtomRecord& atom);
  void LongAtomLine(const AtomRecord& atom, size_t start);
  int SfacNumber(const AtomRecord& atom) const;
  bool IsLeftToHfix(const AtomRecord& atom) const;

  Document& document_;
  std::string& out_;
  UserMessages& messages_;
  SfacOrder sfac_;
  std::unordered_set<const AtomRecord*> hfixCarriers_;
  std::unordered_map<std::string, int> residueIndex_;

  // As last written.
  int part_ = 0;
  bool partHasOccupancy_ = false;
  float partOccupancy_ = 0.0f;
  int afix_ = 0;
  int afixGroup_ = 0;
  bool anyAfixGroup_ = false;  // the AFIX line is one that was kept: it opens the group of the atom behind it
  int mole_ = 0;
  int residue_ = -1;
};

}  // namespace marvik
