#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "chem/bonds/connectivity.h"
#include "files/res/reader.h"
#include "model/document.h"

#include "support/structures.h"

namespace marvik::test {

// A document read from the lines of its atoms, in a cubic cell of 20 Å unless `head` (CELL, LATT, SYMM) says otherwise,
// and connected. SFAC: C H N O S Cl Na Cd D.
class ChemTest : public testing::Test {
 protected:
  void Read(const std::string& atomLines, const std::string& head = "CELL 0.71073 20 20 20 90 90 90\nLATT -1\n") {
    const std::string text =
        "TITL t\n" + head + "SFAC C H N O S Cl Na Cd D\nUNIT 1 1 1 1 1 1 1 1 1\nFVAR 1\n" + atomLines + "HKLF 4\nEND\n";
    ASSERT_TRUE(ReadInstructionText(document, text, messages));
    Connect(document, messages);
    messages.shown.clear();
  }
  // "C1 1 x y z" for a place in Å of the cubic cell, seen from its middle.
  static std::string Line(const std::string& name, int sfac, double x, double y, double z) {
    return Printf("%s %d %.6f %.6f %.6f 11 0.04\n", name.c_str(), sfac, 0.5 + x / 20, 0.5 + y / 20, 0.5 + z / 20);
  }
  AtomRecord* Atom(const std::string& name) const {
    AtomRecord* atom = document.atoms.FindAtom(name);
    EXPECT_NE(atom, nullptr) << name;
    return atom;
  }
  void Select(const std::vector<std::string>& names) {
    for (const std::string& name : names) document.atoms.selection.Append(Atom(name));
  }
  // Texts of the messages shown since the last call.
  std::string Said() {
    std::string list;
    for (const UserMessage& message : messages.shown) list += message.caption + "|" + message.text + "\n";
    messages.shown.clear();
    return list;
  }

  Document document;
  RecordingMessages messages;
};

}  // namespace marvik::test
