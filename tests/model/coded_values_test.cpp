#include "model/coded_values.h"

#include <gtest/gtest.h>
#include <tuple>

#include "support/structures.h"

namespace marvik {
namespace {

TEST(CodedValues, StandForWhatTheFreeVariablesSay) {
  const std::vector<float> variables{0.75f, 0.25f};  // FVAR 2 and 3
  const std::pair<double, double> kCases[] = {
      {0.3, 0.3},    {4.9, 4.9},   {-1.2, -1.2},   {10.5, 0.5},  {-10.25, -0.25}, {21.0, 0.75}, {-21.0, 0.25},
      {20.5, 0.375}, {31.0, 0.25}, {-30.5, 0.375}, {41.0, 41.0}, {-41.0, -41.0},  {2e6, 2e6}};
  for (const auto& [coded, value] : kCases) EXPECT_NEAR(DecodedValue(coded, variables), value, 1e-12) << coded;
  EXPECT_EQ(DecodedValue(21.0, {}), 21.0) << "a variable that is not there";
}

TEST(CodedValues, DecodeWhatIsCodedAndLeaveTheRest) {
  Document document;
  document.instructions.freeVariables = {0.25f};
  AtomRecord* atom = test::AddAtom(document, "C1", {0.1, 0.2, 0.3});
  atom->u = {-1.2, 0.2, 0.3, 0.4, 0.5, 0.6};
  atom->codedValues = {10.5, 0.0, 20.5, 21.0, 0.0, 21.0, 0.0, 0.0, 0.0, -21.0};
  atom->occupancy = 21.0;
  DecodeAtoms(document);
  EXPECT_EQ(atom->fract, (Fractional{0.5, 0.2, 0.125}));
  EXPECT_EQ(atom->u, (std::array<double, 6>{-1.2, 0.25, 0.3, 0.4, 0.5, 0.75}));
  EXPECT_EQ(DecodedOccupancy(*atom, document.instructions), 0.25);
  atom->partHasOccupancy = 1;
  atom->partOccupancy = -21.0f;
  EXPECT_EQ(DecodedOccupancy(*atom, document.instructions), 0.75);
  for (const double u : {-0.5, -5.0, 0.05, -0.01}) EXPECT_FALSE(IsRidingU(u)) << u;
  for (const double u : {-1.2, -0.51, -4.9}) EXPECT_TRUE(IsRidingU(u)) << u;
}

TEST(StandAs, TakesWhatTellsWhereAnAtomBelongs) {
  AtomRecord other, atom;
  other.part = -2, other.partHasOccupancy = 1, other.partOccupancy = 21.0f, other.residue = 3, other.mole = 4;
  other.occupancy = 10.5, other.codedValues[kCodedOccupancy] = 31.0;
  StandAs(atom, other);
  const auto belonging = [](const AtomRecord& a) {
    return std::tuple(a.part, a.partHasOccupancy, a.partOccupancy, a.residue, a.mole, a.occupancy,
                      a.codedValues[kCodedOccupancy]);
  };
  EXPECT_EQ(belonging(atom), belonging(other));
}

TEST(SourceLayout, GivesLinesAsText) {
  SourceLayout layout;
  layout.text = "two =\r\n three\r\n\r\r\nend";
  for (const uint32_t start : {0u, 15u, 18u}) layout.lines.emplace_back().start = start;
  EXPECT_EQ(TextOf(layout, 0), "two =\n three");
  EXPECT_EQ(TextOf(layout, 1), "");
  EXPECT_EQ(TextOf(layout, 2), "end");
  layout.text = "a =\rb\rc";
  layout.returnsOnly = true;
  layout.lines.resize(2);
  layout.lines[1].start = 6;
  EXPECT_EQ(TextOf(layout, 0), "a =\nb");
}

}  // namespace
}  // namespace marvik
