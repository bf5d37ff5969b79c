#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/finding.h"

// Small structures, and what is changed in them so that a rule finds it.
namespace marvik::test {

// Acetamide, made up in P 21/c; consistent in itself.
const std::string& Acetamide();
// The same in P 21, without the centre.
std::string Chiral();

// The rules that found something.
std::set<std::string> Tests(const std::vector<Finding>& findings);
// The text with one piece in the place of another; at the end of its first line where there is nothing to replace.
std::string Changed(const std::string& text, std::string_view what, std::string_view by);

// Lines of a cell, "a b c alpha beta gamma".
std::string CellLines(const std::string& cell);
// The head of a loop over items of a category, blank-separated.
std::string Loop(const std::string& category, const std::string& items);

struct CifCase {
  std::string rule, what, by;  // `what` is in the base; "" puts the other in front
  std::string what2, by2;      // and in the result of that
};
std::string Changed(const std::string& text, const CifCase& one);
// Those of the file NAME.tsv beside this one.
std::vector<CifCase> CasesOf(const std::string& name);

// "C1 0 0 0; O1 1.2 0 0" in Å, in a cubic cell of 20 Å in P 1. Behind the place may stand U, occupancy, group.
std::string Molecule(const std::string& atoms);
inline const std::string kFine = "C1 0 0 0;H1 0.96 0 0;C2 6 0 0;H2 6.96 0 0";  // two bonds far from each other
struct ModelCase {
  const char* rule;
  std::string wrong;
  std::string right;
};
extern const std::vector<ModelCase> kModelCases;

// Models with the reflections of what is really there.
std::vector<ModelCase> MapCases();

// Two carbons with as many neighbours as their hybridization has, or an atom with its hydrogen, at a distance.
struct LengthCase {
  const char* kind;
  double tooShort, usual, tooLong;
  std::string Atoms(double distance) const;
};
extern const std::vector<LengthCase> kLengthCases;

// The CIF without the item that a rule's name tells.
std::string WithoutItem(const std::string& cif, const std::string& item);

struct ListCase {
  const char* kind;
  const char* category;
  const char* items;
  std::string row;  // correct
  const char* value;
  const char* off;
  const char* offPlain;
  const char* plain;
  const char* largeSu;
};
extern const std::vector<ListCase> kListCases;
std::string ListOf(const ListCase& list, const std::string& row, bool fixed = false);

std::string Embedded(const std::string& instruction);

struct Reflection {
  int h, k, l;
  double fc2, fo2, su;
};
struct ListFault {
  const char* rule;
  const char* what;
  const char* by;
  std::function<void(std::vector<Reflection>&)> change;
};
extern const std::vector<ListFault> kListFaults;
std::string WithFigures();
std::string Reflections(const std::function<void(std::vector<Reflection>&)>& change);

}  // namespace marvik::test
