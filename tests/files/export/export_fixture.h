#pragma once

#include <gtest/gtest.h>
#include <string>

#include "chem/bonds/connectivity.h"
#include "files/res/reader.h"

#include "support/structures.h"

namespace marvik::test {

// A chiral centre with four neighbours, apart from it a water, one atom anisotropic and one not positive definite.
inline const std::string kChiral =
    "TITL chiral one\nCELL 0.71073 8 9 10 85 95 100\nZERR 4 0 0 0 0 0 0\nLATT -1\nSFAC C H N O Cl\nUNIT 1 1 1 1 1\n"
    "FVAR 1\n"
    "C1 1 0.50 0.50 0.50 11 0.02 0.03 0.05 0.004 -0.003 0.005\n"
    "N1 3 0.62 0.60 0.50 11 0.04\n"
    "O1 4 0.37 0.60 0.55 11 0.03 0.03 -0.01 0 0 0\n"
    "Cl1 5 0.50 0.42 0.34 11 0.05\n"
    "H1 2 0.53 0.42 0.57 11 0.05\n"
    "O2 4 0.10 0.10 0.10 11 0.05\nHKLF 4\nEND\n";

// That structure read and connected.
class ExportTest : public testing::Test {
 protected:
  void SetUp() override { Read(kChiral); }

  void Read(const std::string& text) {
    ASSERT_TRUE(ReadInstructionText(document, text, messages));
    Connect(document, messages);
    messages.shown.clear();
  }
  AtomRecord* Atom(const std::string& name) const { return document.atoms.FindAtom(name); }
  // Triple product of the neighbours of C1 about it: its sign is the handedness.
  template <class Place>
  static double Handedness(const Place& c, const Place& n, const Place& o, const Place& cl) {
    return Dot(n - c, Cross(o - c, cl - c));
  }

  Document document;
  RecordingMessages messages;
};

}  // namespace marvik::test
