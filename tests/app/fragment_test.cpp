#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "app/commands/model_handlers.h"
#include "base/files.h"
#include "base/numbers.h"
#include "chem/geometry/atom_geometry.h"
#include "crystal/cell_metric.h"
#include "edit/edit_elements.h"
#include "language/instruction.h"

#include "bench_fixture.h"

namespace marvik::test {
namespace {

class Fragments : public BenchTest {
 protected:
  Fragments() {
    bench.FmolAfterChanges = false;
    bench.hooks.showText = [this](const std::string&, const std::string& text) { shown = text; };
    shapes = FragmentLibrary(faults);
  }
  const GroupShape& Shape(const std::string& name) const { return *std::ranges::find(shapes, name, &GroupShape::name); }
  void Load(const std::string& atoms) {
    ASSERT_TRUE(
        Open("TITL fit\nCELL 0.71073 10 11 12 80 95 105\nZERR 2 0 0 0 0 0 0\nLATT 1\nSFAC C H O\nUNIT 12 4 4\n"
             "L.S. 4\nFVAR 1.0\n" +
                 atoms,
             "fit.res"));
  }
  // A peak line for a member of a shape that is turned by 70 degrees about z and moved.
  std::string Peak(const std::string& name, const GroupShape& shape, const std::string& member) const {
    const Cartesian& p = std::ranges::find(shape.atoms, member, &GroupShape::Member::name)->place;
    const double c = std::cos(1.2), s = std::sin(1.2);
    const Metric metric = MakeMetric({10, 11, 12, 80, 95, 105});
    const Fractional f = metric.ToFractional({c * p.x - s * p.y + 3.0, s * p.x + c * p.y + 4.0, p.z + 5.0});
    return Printf("%s 1 %.6f %.6f %.6f 11.0 0.05 1.0\n", name.c_str(), f.x, f.y, f.z);
  }

  std::vector<GroupShape> shapes;
  std::vector<std::string> faults;
  std::string shown;
};

TEST_F(Fragments, EveryShapeOfTheLibraryKeepsItsOwnRestraints) {
  EXPECT_GE(shapes.size(), 40u);
  EXPECT_TRUE(faults.empty()) << faults.front();
  for (const GroupShape& shape : shapes) {
    EXPECT_FALSE(shape.source.empty() || shape.title.empty() || shape.restraints.empty()) << shape.name;
    for (const std::string& text : shape.restraints) {
      const Instruction line = ParseInstruction(text);
      if (line.name == "FLAT") continue;
      for (size_t i = 0; i + 1 < line.words.size(); i += 2) {
        const auto place = [&](size_t k) {
          return std::ranges::find(shape.atoms, line.words[k], &GroupShape::Member::name)->place;
        };
        EXPECT_NEAR(Distance(place(i), place(i + 1)), line.numbers[0], 0.02) << shape.name << ": " << text;
      }
    }
  }
}

TEST_F(Fragments, FitsOnThreePeaksAndTakesTheOthers) {
  const GroupShape& toluene = Shape("toluene");
  Load("C9 1 0.1 0.1 0.9 11.0 0.05\nHKLF 4\nEND\n" + Peak("Q1", toluene, "C3") + Peak("Q2", toluene, "C7") +
       Peak("Q3", toluene, "C1") + Peak("Q4", toluene, "C5") + "Q5 1 0.9 0.9 0.9 11.0 0.05 0.3\n");
  EXPECT_EQ(Run("fragment", "fragment=toluene Q1 Q2 Q3"), Outcome::Changed);
  const std::string text = Saved();
  for (const char* line : {"\nDFIX_TOL ", "\nFLAT_TOL ", "\nRESI 1 TOL\n", "\nC7 "})
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  EXPECT_FALSE(Atom("Q4")) << "it lay under an atom of the ring";
  EXPECT_TRUE(Atom("Q5"));
  // Every member stands where the turned and moved shape has it; one that is its mirror image serves too.
  const Metric metric = MakeMetric(bench.document.cell);
  const Cartesian c7 = metric.ToCartesian(Atom("C7")->fract), c4 = metric.ToCartesian(Atom("C4")->fract);
  EXPECT_NEAR(Distance(c7, c4), Distance(Shape("toluene").atoms[6].place, Shape("toluene").atoms[3].place), 1e-3);
  Run(kUndoCommand);
  EXPECT_TRUE(Atom("Q1") && Atom("Q4") && !Atom("C7"));
  EXPECT_EQ(Run("fragment", "fragment=toluene as=rigid on=\"C3 C7 C1\" part=-1 fvar=2 value=0.5 Q1 Q2 Q3"),
            Outcome::Changed);
  EXPECT_EQ(Atom("C4")->afix, 6);
  EXPECT_EQ(Atom("C4")->part, -1);
  EXPECT_EQ(Saved().find("DFIX_TOL"), std::string::npos);
  EXPECT_NE(Saved().find("\nAFIX 6\n"), std::string::npos) << Saved();
}

TEST_F(Fragments, TakesThePlaceOfAtomsAndTheirHydrogens) {
  const GroupShape& ring = Shape("benzene");
  std::string atoms;
  for (const char* name : {"C1", "C2", "C3", "C4", "C5", "C6"}) {
    std::string line = Peak(name, ring, name);
    atoms += line.substr(0, line.rfind(" 1.0")) + "\n";
    if (name[1] == '2') atoms += "AFIX 43\nH2 2 0.1 0.1 0.1 11.0 -1.2\nAFIX 0\n";
  }
  Load(atoms + "C9 1 0.1 0.1 0.9 11.0 0.05\nHKLF 4\nEND\n");
  EXPECT_EQ(Run("fragment", "fragment=phenyl as=rigid C1 C3 C5"), Outcome::Changed);
  EXPECT_EQ(bench.document.atoms.LiveCount(), 7u);
  EXPECT_FALSE(Atom("H2")) << "its carrier gave way";
  EXPECT_EQ(Atom("C1")->residue, 0);
}

TEST_F(Fragments, WhatDoesNotFitIsRefusedWithNothingChanged) {
  const GroupShape& thf = Shape("thf");
  Load("C9 1 0.1 0.1 0.9 11.0 0.05\nC8 1 0.9 0.6 0.2 11.0 0.05\nHKLF 4\nEND\n" + Peak("Q1", thf, "O1") +
       Peak("Q2", thf, "C1") + Peak("Q3", thf, "C3"));
  ExpectRefused("fragment", "fragment=nothing Q1 Q2 Q3", "no nothing in the library");
  ExpectRefused("fragment", "Q1 Q2 Q3", "Fragment:");
  ExpectRefused("fragment", "fragment=thf Q1 Q2", "three or more");
  ExpectRefused("fragment", "fragment=thf Q1 C8 C9", "lie on a line, or nowhere");
  ExpectRefused("fragment", "fragment=thf on=\"O1 C1\" Q1 Q2 Q3", "2 atoms of the fragment are named");
  ExpectRefused("fragment", "fragment=thf on=\"O1 C1 N7\" Q1 Q2 Q3", "no atom N7");
  ExpectRefused("fragment", "fragment=thf on=\"O1 C1 C3\" Q1 Q2 C9", "does not fit");
  ExpectRefused("fragment", "fragment=thf as=hard Q1 Q2 Q3", "restrained or rigid");
  EXPECT_TRUE(Atom("Q1") && Atom("Q2") && Atom("Q3"));
  EXPECT_EQ(bench.history.UndoName(), "");
  std::string fault;
  for (const char* bad : {"TITLE x\nCLASS X\nATOM C1 C 0 0 0\nATOM C2 C 1 0 0\n", "CLASS X\nATOM C1 C 0 0\n",
                          "CLASS LONGER\nATOM C1 C 0 0 0\nATOM C2 C 1 0 0\nATOM C3 C 1 1 0\n", "MOVE 1 1 1\n",
                          "CLASS X\nATOM C1 C 0 0 0\nATOM C2 C 1 0 0\nATOM C3 C 1 1 0\nDFIX 1 C1 C4\n"})
    EXPECT_FALSE(ReadGroupShape("bad", bad, fault) || fault.empty()) << bad;
}

// All copies of a shape in a structure: bonds and elements as the shape has them.
void FindCopies(const Document& document, const GroupShape& shape, std::vector<const AtomRecord*>& chosen,
                const std::function<void()>& take) {
  if (chosen.size() == shape.atoms.size()) return take();
  const auto& next = shape.atoms[chosen.size()];
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    bool fits = atom->element->atomicNumber == ElementTable::ElementFromLabel(next.name) && atom->part == 0 &&
                !atom->IsPeak() && !IsGrownAtom(*atom) && std::ranges::find(chosen, atom) == chosen.end();
    for (size_t i = 0; i < chosen.size() && fits; ++i) {
      const double own = Distance(shape.atoms[i].place, next.place);
      fits = std::fabs(own - Distance(chosen[i]->position, atom->position)) < 0.25;
    }
    if (!fits) continue;
    chosen.push_back(atom);
    FindCopies(document, shape, chosen, take);
    chosen.pop_back();
  }
}

TEST_F(Fragments, AgreesWithPublishedCopiesInRealData) {
  const auto folderName = EnvironmentValue("MARVIK_REAL_DATA");
  if (!folderName) GTEST_SKIP();
  // Structures of their own journals, none of which the library was made from.
  struct Case {
    const char* file;
    const char* shape;
  };
  constexpr Case kCases[] = {
      {"res/051a_p21c.res", "phenyl"},        {"res/1517679.res", "tetrafluoroborate"},
      {"pairs/rigu_1101.res", "pyridine"},    {"pairs/salt_p212121.res", "carboxylate"},
      {"pairs/rigu_287.res", "phenyl"},       {"pairs/plain_p21c.res", "trimethylsilyl"},
      {"cif/1100980.cif", "imidazole"},       {"cif/2005372-atom-name-with-spaces.cif", "cyclopentadienyl"},
      {"cif/2009397.cif", "dichloromethane"},
  };
  for (const Case& test : kCases) {
    // Of a CIF the translation is written beside it.
    const std::string copy = folder.Put(FileNameOf(test.file), ReadWholeFile(*folderName + "/" + test.file).content);
    ASSERT_TRUE(OpenFile(bench, copy)) << test.file;
    const GroupShape& shape = Shape(test.shape);
    const Metric metric = MakeMetric(bench.document.cell);
    std::map<std::set<uint32_t>, double> copies;  // the best of the ways to name one
    std::vector<const AtomRecord*> chosen;
    FindCopies(bench.document, shape, chosen, [&] {
      std::vector<Cartesian> own, published;
      std::set<uint32_t> key;
      for (size_t i = 0; i < chosen.size(); ++i) {
        own.push_back(shape.atoms[i].place);
        published.push_back(metric.ToCartesian(chosen[i]->fract));
        key.insert(chosen[i]->serial);
      }
      const auto fit = Superpose(own, published);
      if (!fit) return;
      const auto [at, isNew] = copies.try_emplace(key, fit->rms);
      at->second = std::min(at->second, fit->rms);
    });
    ASSERT_FALSE(copies.empty()) << test.file << " " << test.shape;
    std::vector<double> rms;
    for (const auto& [key, value] : copies) rms.push_back(value);
    std::ranges::sort(rms);
    printf("%s %s: %zu copies, r.m.s. %.3f to %.3f, median %.3f\n", test.file, test.shape, rms.size(), rms.front(),
           rms.back(), rms[rms.size() / 2]);
    EXPECT_LT(rms[rms.size() / 2], 0.05) << test.file << " " << test.shape;
  }
}

TEST_F(Fragments, OverlaysHalvesAndFilesAndKnowsTheHand) {
  Load(
      "C1 1 0.1 0.1 0.1 11.0 0.05\nC2 1 0.25 0.1 0.1 11.0 0.05\nC3 1 0.1 0.24 0.13 11.0 0.05\n"
      "O1 3 0.12 0.1 0.25 11.0 0.05\nHKLF 4\nEND\n");
  EXPECT_EQ(Run("overlay", "C1 C2 C3 C1 C2 C3"), Outcome::Done);
  EXPECT_NE(shown.find("of 3 pairs 0.0000 Å"), std::string::npos) << shown;
  // The inverted copy, moved, with one atom 0.10 Å off along b.
  folder.Put("other.res",
             "TITL other\nCELL 0.71073 10 11 12 80 95 105\nZERR 2 0 0 0 0 0 0\nLATT 1\nSFAC C H O\n"
             "UNIT 12 4 4\nL.S. 4\nFVAR 1.0\nC1 1 0.8 0.8 0.8 11.0 0.05\nC2 1 0.65 0.8 0.8 11.0 0.05\n"
             "C3 1 0.8 0.66 0.77 11.0 0.05\nO1 3 0.78 0.8 0.65 11.0 0.05\nHKLF 4\nEND\n");
  EXPECT_EQ(Run("overlay", "file=other.res"), Outcome::Done);
  EXPECT_NE(shown.find("of 4 pairs 0.0000 Å"), std::string::npos) << shown;
  EXPECT_NE(shown.find("one of the two inverted"), std::string::npos) << shown;
  EXPECT_EQ(Run("overlay", "C1 C2 C3"), Outcome::Failed);
  EXPECT_EQ(Run("overlay", "C1 C2 C2 C1"), Outcome::Failed);
  EXPECT_EQ(Run("overlay", "file=none.res"), Outcome::Failed);
}

TEST_F(Fragments, HydrogenBondsGetTheirHtabLinesOnce) {
  Load(
      "O1 3 0.1 0.1 0.1 11.0 0.05\nH1 2 0.18 0.1 0.1 11.0 0.05\nO2 3 0.37 0.1 0.1 11.0 0.05\n"
      "O3 3 0.84 0.5 0.3 11.0 0.05\nH3 2 0.92 0.5 0.3 11.0 0.05\nO4 3 0.11 0.5 0.3 11.0 0.05\nHKLF 4\nEND\n");
  EXPECT_EQ(Run("write-htab"), Outcome::Changed);
  const std::string text = Saved();
  EXPECT_NE(text.find("\nHTAB O1 O2\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nEQIV $1 x+1, y, z\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nHTAB O3 O4_$1\n"), std::string::npos) << text;
  EXPECT_EQ(Run("write-htab"), Outcome::Failed);
  EXPECT_EQ(Run("shade-parts"), Outcome::Done);
  EXPECT_TRUE(CommandChecked(bench, FindCommand("shade-parts")->id));
}

}  // namespace
}  // namespace marvik::test
