#pragma once

#include <gtest/gtest.h>
#include <vector>

#include "crystal/symmetry.h"
#include "phase/problem.h"
#include "refine/solve/least_squares.h"

namespace marvik::phase {

enum Kind : int { kCarbon, kOxygen, kFluorine, kZinc };

struct Atom {
  Kind kind;
  Cartesian place;
  double share = 1.0;
};

inline std::vector<Atom> Joined(std::vector<Atom> a, const std::vector<Atom>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

inline const Cartesian kHolder{3.1, 3.2, 2.5}, kCentre{3.3, 3.4, 3.83};

// What is ordered.
inline std::vector<Atom> Rest() {
  return {{kOxygen, kHolder},          {kZinc, {2.6, 2.3, 0.8}},   {kCarbon, {1.3, 1.4, 1.8}},
          {kCarbon, {4.2, 1.6, 0.5}},  {kCarbon, {0.1, 2.1, 2.2}}, {kCarbon, {4.4, 0.2, 0.6}},
          {kCarbon, {-1.1, 1.5, 2.9}}, {kCarbon, {2.3, 3.4, -0.1}}};
}

// A small structure in P-1, what is measured of it, and a model that something is to be fitted to.
class GroupFixture : public testing::Test {
 protected:
  GroupFixture() {
    std::string unused;
    model_.metric = MakeMetric({13.0, 13.4, 13.9, 88, 93, 92});
    model_.group = *MakeSpaceGroup(-1, ListOperators(-1, {"-x, -y, -z"}), unused);
    static const ElementTable table;
    for (const int row : {6, 8, 9, 30}) problem_.scatterers.push_back(TabulatedScatterer(table[row], 0.71073));
    for (const double count : {40.0, 4.0, 18.0, 2.0}) problem_.formula.push_back({"", count});
    problem_.formulaFits = true;
    model_.scatterers = problem_.scatterers;
  }

  // What is measured of `atoms`, and a model of `guess`.
  void Start(const std::vector<Atom>& atoms, const std::vector<Atom>& guess) {
    std::vector<Reflection> all;
    for (int h = -14; h <= 14; ++h) {
      for (int k = -14; k <= 14; ++k) {
        for (int l = -14; l <= 14; ++l) {
          const Miller m{h, k, l};
          const double s2 = model_.metric.SinThetaSquared(h, k, l);
          if (s2 > 0.0 && s2 < 0.25 / 0.92 && model_.group.Representative(m, true) == m) all.push_back({m, 1.0, 1.0});
        }
      }
    }
    observations_ = MakeObservations(all, {});
    Set(atoms);
    Calculated c;
    DataPass(model_, observations_, {}).Run(c);
    observations_.intensity = c.fc2;
    for (size_t i = 0; i < c.fc2.size(); ++i) observations_.sigma[i] = 0.02 * c.fc2[i] + 1.0;
    Set(guess);
  }

  void Set(const std::vector<Atom>& atoms) {
    model_.sites.clear(), shares_.clear();
    for (const Atom& a : atoms) {
      Site site;
      site.scatterer = a.kind;
      site.x = model_.metric.ToFractional(a.place);
      site.u = {0.045, 0, 0, 0, 0, 0};
      site.occupancy = a.share;
      model_.sites.push_back(site);
      shares_.push_back(a.share);
    }
    fractions_.assign(atoms.size(), 1.0);
  }

  // How many of the atoms have a site of their element and about their share near them.
  size_t Found(const std::vector<Atom>& atoms) const {
    size_t found = 0;
    for (const Atom& a : atoms) {
      found += std::any_of(model_.sites.begin(), model_.sites.end(), [&](const Site& s) {
        return s.scatterer == a.kind && Length(model_.metric.ToCartesian(s.x) - a.place) < 0.25 &&
               std::fabs(s.occupancy - a.share) < 0.16;
      });
    }
    return found;
  }

  Problem problem_;
  Structure model_;
  Observations observations_;
  std::vector<double> shares_, fractions_;
};

}  // namespace marvik::phase
