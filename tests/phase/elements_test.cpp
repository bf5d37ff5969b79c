#include "phase/elements.h"

#include <gtest/gtest.h>

#include "crystal/symmetry.h"

namespace marvik::phase {
namespace {

struct Placed {
  const char* element;  // what it is
  double electrons;     // what its density counts
  double x, y, z;       // Å
  int part = 0;         // keeps the element
};

// What is found for the sites of a cell of 10 Å, in their order.
std::string Found(const std::vector<std::pair<int, double>>& formula, const std::vector<Placed>& atoms) {
  Problem problem;
  Structure s;
  std::string unused;
  s.metric = MakeMetric({10, 10, 10, 90, 90, 90});
  s.group = *MakeSpaceGroup(-1, ListOperators(-1, {}), unused);
  static const ElementTable table;
  for (const auto& [row, count] : formula) {
    problem.scatterers.push_back(TabulatedScatterer(table[row], 0.71073));
    problem.formula.push_back({problem.scatterers.back().symbol, count});
  }
  problem.formulaFits = true;
  s.scatterers = problem.scatterers;
  std::vector<double> electrons;
  for (const Placed& a : atoms) {
    Site site;
    site.x = {a.x / 10, a.y / 10, a.z / 10};
    site.u = {0.03, 0, 0, 0, 0, 0};
    site.part = a.part;
    for (size_t k = 0; k < formula.size(); ++k)
      if (problem.formula[k].symbol == a.element) site.scatterer = static_cast<int>(k);
    s.sites.push_back(site);
    electrons.push_back(a.electrons);
  }
  std::string text;
  for (const int i : ElementsOf(problem, s, electrons, std::vector<double>(atoms.size(), 1.0)))
    text += problem.formula[static_cast<size_t>(i)].symbol + " ";
  return text;
}

std::string Expected(const std::vector<Placed>& atoms) {
  std::string text;
  for (const Placed& a : atoms) text += std::string(a.element) + " ";
  return text;
}

TEST(Elements, BondsTellWhatElectronsLeaveOpen) {
  // Outer atoms of carbonyls that move about have no more electrons than the inner ones.
  const std::vector<Placed> carbonyl = {{"Fe", 26, 5, 5, 5},     {"C", 6.9, 5, 5, 6.80},  {"O", 6.9, 5, 5, 7.94},
                                        {"C", 6.8, 5, 6.8, 5},   {"O", 6.9, 5, 7.94, 5},  {"C", 6.1, 3.0, 5, 5},
                                        {"C", 6.0, 2.3, 6.2, 5}, {"C", 6.0, 0.9, 6.2, 5}, {"C", 5.9, 0.2, 5, 5},
                                        {"C", 6.0, 0.9, 3.8, 5}, {"C", 6.1, 2.3, 3.8, 5}};
  EXPECT_EQ(Found({{6, 8}, {8, 2}, {26, 1}}, carbonyl), Expected(carbonyl));
  // Chlorine bridges no carbon atoms, sulfur does; both count the same.
  const std::vector<Placed> sulfoxide = {{"S", 16.6, 5, 5, 5},
                                         {"O", 8.0, 5, 5, 6.50},
                                         {"C", 6.0, 6.65, 5, 4.35},
                                         {"C", 6.0, 4.2, 6.43, 4.35},
                                         {"Cl", 16.6, 1, 1, 1}};
  EXPECT_EQ(Found({{6, 2}, {8, 1}, {16, 1}, {17, 1}}, sulfoxide), Expected(sulfoxide));
  // Silica: a light atom that counts too much is still no second silicon at 1.6 Å.
  const std::vector<Placed> silica = {{"Si", 14, 5, 5, 5},
                                      {"O", 10.4, 5, 5, 6.61},
                                      {"O", 8, 6.52, 5, 4.46},
                                      {"O", 8, 4.24, 6.31, 4.46},
                                      {"O", 8, 4.24, 3.69, 4.46}};
  EXPECT_EQ(Found({{8, 4}, {14, 1}}, silica), Expected(silica));
  // No carbon comes as near to aluminium as the oxygen of an alkoxide; of a ring the atom on the metal is nitrogen.
  const std::vector<Placed> alkoxide = {{"Al", 13, 5, 5, 5}, {"O", 6.6, 5, 5, 6.71}, {"C", 6.9, 5.6, 5, 7.91}};
  EXPECT_EQ(Found({{6, 1}, {8, 1}, {13, 1}}, alkoxide), Expected(alkoxide));
  const std::vector<Placed> ring = {{"Ga", 31, 5, 5, 5},       {"N", 6.35, 5, 5, 7.05}, {"C", 6.35, 6.15, 5, 7.7},
                                    {"C", 6.35, 3.85, 5, 7.7}, {"C", 6.3, 6.2, 5, 9.1}, {"C", 6.3, 3.8, 5, 9.1},
                                    {"C", 6.35, 5, 5, 9.8}};
  EXPECT_EQ(Found({{6, 5}, {7, 1}, {31, 1}}, ring), Expected(ring));
}

TEST(Elements, AHeavyMiddleKeepsItsElectrons) {
  // The oxygen atoms turn about it; a carbon atom at the end of a chain that moves more is one of more electrons.
  Structure s;
  s.metric = MakeMetric({10, 10, 10, 90, 90, 90});
  std::string unused;
  s.group = *MakeSpaceGroup(-1, ListOperators(-1, {}), unused);
  for (const auto& [x, y, z, u] : std::vector<std::array<double, 4>>{
           {5, 5, 5, 0.02}, {6, 6, 6, 0.08}, {6, 4, 4, 0.08}, {4, 6, 4, 0.08}, {4, 4, 6, 0.08}}) {
    s.sites.emplace_back();
    s.sites.back().x = {x / 10, y / 10, z / 10};
    s.sites.back().u[0] = u;
  }
  std::vector<double> electrons{13, 8, 8, 8, 8};
  LevelDisplacements(s, electrons);
  EXPECT_EQ(electrons[0], 13.0);
  EXPECT_LT(electrons[1], 8.0);
}

TEST(Elements, AFormulaSpreadsOverAllSites) {
  // The ends of both groups count little more than carbon; the formula has six fluorine atoms.
  std::vector<Placed> atoms;
  for (const double x : {2.5, 7.5}) {
    atoms.push_back({"C", 6, x, 5, 5});
    atoms.push_back({"C", 6, x, 5, 3.5});
    atoms.push_back({"F", 6.6, x + 1.25, 5, 5.45});
    atoms.push_back({"F", 6.6, x - 0.63, 6.08, 5.45});
    atoms.push_back({"F", 6.6, x - 0.63, 3.92, 5.45});
  }
  EXPECT_EQ(Found({{6, 4}, {9, 6}}, atoms), Expected(atoms));
}

TEST(Elements, WhatHasAPartKeepsItsOwnAndUsesUpTheFormula) {
  // The weak ends of the first group are known to be fluorine: none is left for those of a methyl group.
  std::vector<Placed> atoms = {{"C", 6, 5, 5, 5}, {"C", 6, 5, 5, 3.5}, {"C", 6.9, 5, 1, 2.0}, {"C", 6.9, 5, 1, 3.5}};
  for (const int part : {1, 2}) {
    const double way = part == 1 ? 1.0 : -1.0;
    atoms.push_back({"F", 4, 5 + way * 1.25, 5, 5.45, part});
    atoms.push_back({"F", 4, 5 - way * 0.63, 6.08, 5.45, part});
    atoms.push_back({"F", 4, 5 - way * 0.63, 3.92, 5.45, part});
  }
  EXPECT_EQ(Found({{6, 4}, {9, 6}}, atoms), Expected(atoms));
}

}  // namespace
}  // namespace marvik::phase
