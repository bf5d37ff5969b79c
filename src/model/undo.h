#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "model/document.h"

namespace marvik {

// Whether two documents say the same: atoms in order with every field that is written or shown, killed atoms, bonds,
// pairs, settings and kept text. Selection, labels' scratch values and screen positions do not count.
bool SameContent(const Document& a, const Document& b);

// What the second says that the first does not, in a few words: "Q9 → C11", "+ H1, H2", "− 5 atoms", "9 atoms changed",
// "bonds", "instructions". Atoms go by their serial numbers or, where a file was read anew, by their names.
std::string ChangeText(const Document& before, const Document& after);

// Undo and redo by whole snapshots, each under the name of the command that made the change. Element colours and radii
// belong to the program, not to the structure, and are left as they are.
class UndoHistory {
 public:
  // Oldest steps go first once the snapshots hold more than this many bytes.
  explicit UndoHistory(size_t byteLimit = size_t{256} << 20) : byteLimit_(byteLimit) {}

  // Takes the state before a command. Settle afterwards keeps it as a step when the document really changed; until then
  // the redo steps stay.
  void Begin(const Document& before, std::string name);
  // True when a step was kept. A step that changes nothing that a file holds is of the same State().
  bool Settle(const Document& after, bool changesFile = true);
  // Which state of the structure is there: a number that comes back with it.
  uint64_t State() const { return state_; }

  // Puts the previous or next state in place; the present selection is carried over to the atoms that are still there.
  // False when there is none.
  bool Undo(Document& document);
  bool Redo(Document& document);
  // Name of the command that Undo or Redo would take back or repeat, empty when there is none.
  std::string UndoName() const { return undo_.empty() ? "" : undo_.back().name; }
  std::string RedoName() const { return redo_.empty() ? "" : redo_.back().name; }
  // All of them: those that Undo takes back, oldest first, and those that Redo repeats, in the order it would.
  std::vector<std::string> UndoNames() const;
  std::vector<std::string> RedoNames() const;
  size_t Levels() const { return undo_.size(); }
  // The documents between all these steps, oldest first, each with the number of its state; null for the present one.
  struct Moment {
    const Document* document = nullptr;
    uint64_t state = 0;
  };
  std::vector<Moment> Moments() const;
  void Clear();

 private:
  struct Step {
    std::string name;
    std::unique_ptr<Document> document;
    size_t bytes = 0;
    uint64_t state = 0;
  };
  static Step Snapshot(const Document& document, std::string name);
  static void Replace(Document& document, Document& by);
  bool Move(std::deque<Step>& from, std::deque<Step>& to, Document& document);
  void Trim();

  size_t byteLimit_;
  std::deque<Step> undo_;
  std::deque<Step> redo_;
  Step pending_;
  uint64_t state_ = 0;
  uint64_t lastState_ = 0;
};

}  // namespace marvik
