#include <gtest/gtest.h>
#include <sstream>

#include "base/numbers.h"
#include "model/element_table.h"
#include "refine/output/cif_sections.h"

namespace marvik {
namespace {

// The charge of the first of some elements, with the others about it; "?" where none can be told. Behind an element
// stands how many neighbours it has in all, and how far it is.
std::string ChargeOf(const std::string& elements) {
  static const ElementTable table;
  Session s;
  std::istringstream list(elements);
  for (std::string element; list >> element;) {
    const size_t letters = element.find_first_of("0123456789");
    const std::string symbol = element.substr(0, letters);
    double neighbours = 1.0, distance = 1.5;
    if (letters != element.npos) ParseNumber(element.substr(letters), neighbours);
    if (const size_t at = element.find('/'); at != element.npos) ParseNumber(element.substr(at + 1), distance);
    s.structure.scatterers.push_back(TabulatedScatterer(table[ElementTable::ElementFromLabel(symbol)], 0.71073));
    Site site;
    site.scatterer = static_cast<int>(s.structure.sites.size());
    s.structure.sites.push_back(site);
    s.bonds.emplace_back(site.scatterer == 0 ? 0 : static_cast<size_t>(neighbours));
    if (site.scatterer == 0) continue;
    Neighbour& n = s.bonds[0].emplace_back();
    n.site = site.scatterer, n.distance = distance;
  }
  const auto charge = FormalCharge(s, 0);
  return charge ? Printf("%+d", *charge) : "?";
}

TEST(FormalCharge, FollowsFromTheNeighbours) {
  const std::pair<const char*, const char*> cases[] = {{"C O1/1.25 O1/1.26 C4", "-1"},
                                                       {"C O1/1.21 O1/1.31 C4", "?"},
                                                       {"C O1/1.31 C4 C4", "?"},
                                                       {"C O1/1.22 C4 C4", "+0"},
                                                       {"C S1/1.65 N1/1.16", "-1"},
                                                       {"C S1/1.65 N2/1.16", "+0"},
                                                       {"C S1/1.72 S1/1.72 C4", "?"},
                                                       {"C S1/1.66 N3 N3", "+0"},
                                                       {"C N3/1.33 N3/1.33 N3/1.33", "+1"},
                                                       {"C N3/1.33 N3/1.33 N2/1.33", "?"},
                                                       {"C N3/1.33 N3/1.33 N3/1.38", "?"},
                                                       {"C C4 C4 C4 C4", "+0"},
                                                       {"C C4", "?"},
                                                       {"C C4 C4 C4 C4 C4", "?"},
                                                       {"N H H H H", "+1"},
                                                       {"N O1 O1 O1", "-1"},
                                                       {"N C3/1.34 C3/1.34 H1/0.9", "?"},
                                                       {"N C4/1.46 C4/1.46 H1/0.9", "+0"},
                                                       {"N N1 N1", "-1"},
                                                       {"N", "?"},
                                                       {"N C4 C4", "+0"},
                                                       {"O H H H", "+1"},
                                                       {"O H", "-1"},
                                                       {"O C4", "+0"},
                                                       {"O C4 H", "+0"},
                                                       {"O C4 C4 C4", "?"},
                                                       {"Cl", "-1"},
                                                       {"Cl O1 O1 O1 O1", "-1"},
                                                       {"Cl O1 O1", "?"},
                                                       {"Br C4", "+0"},
                                                       {"I I1 I1", "-1"},
                                                       {"I C4 C4", "?"},
                                                       {"Si C4 C4 C4 C4", "+0"},
                                                       {"Si F F F F F F", "-2"},
                                                       {"Si C4 C4", "?"},
                                                       {"P F F F F F F", "-1"},
                                                       {"P O1 O1 O1 O1 O1 O1", "?"},
                                                       {"P C4 C4 C4 C4", "+1"},
                                                       {"P N3 C4 C4 C4", "?"},
                                                       {"P O1 O1 O2 O2", "-1"},
                                                       {"P O1 C4 C4 C4", "+0"},
                                                       {"P C4 C4 C4", "+0"},
                                                       {"P C4 C4", "?"},
                                                       {"S O1 O1 O1 O1", "-2"},
                                                       {"S O1 O1 C4 C4", "+0"},
                                                       {"S C4 C4 C4", "+1"},
                                                       {"S O1 C4 C4", "+0"},
                                                       {"S C4", "+0"},
                                                       {"S", "?"},
                                                       {"Se C4 C4", "+0"},
                                                       {"Se C4", "?"},
                                                       {"As F F F F F F", "-1"},
                                                       {"Sb F F F F F", "?"},
                                                       {"B C4 C4 C4 C4", "-1"},
                                                       {"B O2 O2 O2", "+0"},
                                                       {"B C4 C4", "?"},
                                                       {"H C4", "+0"},
                                                       {"H O2 O2", "?"},
                                                       {"D C4", "+0"},
                                                       {"Na", "+1"},
                                                       {"Na O2", "?"},
                                                       {"Ca", "+2"},
                                                       {"Fe", "?"}};
  for (const auto& [elements, charge] : cases) EXPECT_EQ(ChargeOf(elements), charge) << elements;
}

}  // namespace
}  // namespace marvik
