#pragma once

#include <array>
#include <vector>

#include "chem/bonds/bond_graph.h"

namespace marvik {

// The hierarchical digraph of a centre, grown as deep as it has to be, and the sequence rules on it: 1 (atomic numbers
// by spheres, then ring duplicates nearer to the root first), 2 (masses), 3 (Z before E), 4 (chiral, pseudoasymmetric,
// none; like before unlike pairs; r before s) and 5 (R before S), P-92 of the IUPAC recommendations of 2013. The labels
// of other centres are those that they have in this digraph.
class SequenceTree {
 public:
  SequenceTree(const BondGraph& graph, const GeometrySite& centre);

  struct Ranking {
    std::vector<int> ligands;  // nodes, the highest first
    bool isTied = false;       // two of them are alike in all
    bool isSure = true;        // false where what was to be followed is too large, or hangs on itself
    bool isReflected = false;  // rule 5 parted two of them: a mirror keeps the label
  };
  Ranking RankLigands();
  const GeometrySite& SiteOf(int node) const { return nodes_[static_cast<size_t>(node)].site; }

 private:
  // Everything behind `node`, seen from its neighbour `from`; -1 for the whole tree.
  struct Branch {
    int node;
    int from;
  };
  struct Node {
    GeometrySite site;
    int parent;
    int depth;
    int number;
    bool isDuplicate;
    int copied;      // depth of the atom that a ring duplicate stands for
    bool isDoubled;  // a double bond leads to the parent
    std::vector<int> children;
    bool isGrown;
    char label = 0;  // R S r s of a centre, Z E of an end of a double bond
  };
  enum class Rule { Numbers, Copies, Masses, Bonds, Kinds, Pairs, Pseudo, Hands };
  using Levels = std::vector<std::vector<int>>;
  using Tally = std::array<int, 6>;  // of R S r s Z E among nodes of one rank

  const Node& At(int node) const { return nodes_[static_cast<size_t>(node)]; }
  void Add(int parent, const GeometrySite& site, int copied, bool isDuplicate, bool isDoubled);
  void Grow(int at);
  bool GrowAll(int at);
  std::vector<int> Neighbours(Branch branch);
  std::vector<int> Ligands(Branch branch);  // of these what is there: no duplicates but those that close rings
  Levels Spheres(Branch branch, int depth, Rule rule, bool& whole);
  int ByConstitution(Branch a, Branch b);
  int ByLabels(Branch a, Branch b, Rule rule);
  int Compare(Branch a, Branch b, Rule last, bool* isReflected = nullptr);
  bool HoldsLabels(Branch branch);
  std::vector<Tally> Tallies(Branch branch, Rule rule);
  Ranking Rank(Branch around, Rule last);
  void CollectUnits(int at, std::vector<int>& units);
  void LabelCentre(int node);
  void LabelDoubleBond(int node);

  const BondGraph& graph_;
  std::vector<Node> nodes_;
  bool sure_ = true;
  size_t work_ = 0;
};

// Clockwise from the first to the third of these, three or more, seen with the last behind, is R.
char HandOf(const BondGraph& graph, const GeometrySite& centre, const std::vector<GeometrySite>& ranked);

}  // namespace marvik
