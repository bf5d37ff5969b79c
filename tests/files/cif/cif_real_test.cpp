#include <gtest/gtest.h>

#include "base/files.h"

#if __has_include(<gemmi/cif.hpp>) && __has_include(<tao/pegtl.hpp>)

#include <algorithm>
#include <cmath>
#include <gemmi/cif.hpp>
#include <gemmi/elem.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>
#include <numbers>

#include "files/cif/cif_translation.h"
#include "files/res/reader.h"

#include "support/test_files.h"

namespace marvik::test {
namespace {

namespace cif = gemmi::cif;

// B = 8π²·U.
constexpr double kBOfU = 8.0 * std::numbers::pi * std::numbers::pi;

// What a reader that shares no line with ours finds in a CIF.
struct CifSite {
  std::string label;
  std::string type;
  std::array<double, 3> fract{};
  double uIso = 0.0;
  std::array<double, 6> u{};  // U11 U22 U33 U23 U13 U12, all 0 without
};
struct CifFacts {
  std::array<double, 6> cell{};
  std::vector<CifSite> sites;  // those with coordinates
  std::vector<gemmi::Op> operators;
};

void TakeAnisotropic(cif::Block& block, std::vector<CifSite>& sites) {
  for (const char* prefix : {"U_", "B_"}) {
    std::vector<std::string> tags{"label"};
    for (const char* place : {"11", "22", "33", "23", "13", "12"}) tags.push_back(std::string(prefix) + place);
    size_t next = 0;
    for (auto row : block.find("_atom_site_aniso_", tags)) {
      if (next >= sites.size() || sites[next].label != row.str(0)) {
        const auto at = std::ranges::find(sites, row.str(0), &CifSite::label);
        if (at == sites.end()) continue;
        next = static_cast<size_t>(at - sites.begin());
      }
      const double scale = *prefix == 'U' ? 1.0 : kBOfU;
      for (size_t i = 0; i < 6; ++i) sites[next].u[i] = cif::as_number(row[i + 1], 0.0) / scale;
      ++next;
    }
  }
}

// Decimals in the one form that the other reader takes.
gemmi::Op OperatorOf(std::string triplet) {
  for (const auto& [decimal, fraction] :
       {std::pair{"0.66667", "2/3"}, {"0.6667", "2/3"}, {"0.3333", "1/3"}, {".5", "1/2"}})
    for (size_t at; (at = triplet.find(decimal)) != std::string::npos;)
      triplet.replace(at, std::string(decimal).size(), fraction);
  return gemmi::parse_triplet(triplet);
}

std::optional<CifFacts> FactsOfCif(const std::string& text) {
  cif::Document document = cif::read_string(text);
  for (cif::Block& block : document.blocks) {
    CifFacts facts;
    for (auto row : block.find("_atom_site_", {"label", "fract_x", "fract_y", "fract_z", "?type_symbol",
                                               "?U_iso_or_equiv", "?B_iso_or_equiv"})) {
      CifSite site{row.str(0), row.has(4) ? row.str(4) : "", {}, 0.0, {}};
      for (size_t i = 0; i < 3; ++i) site.fract[i] = cif::as_number(row[i + 1]);
      if (row.has(5)) site.uIso = cif::as_number(row[5], 0.0);
      if (row.has(6) && site.uIso == 0.0) site.uIso = cif::as_number(row[6], 0.0) / kBOfU;
      if (std::isfinite(site.fract[0] + site.fract[1] + site.fract[2])) facts.sites.push_back(site);
    }
    if (facts.sites.empty()) continue;
    TakeAnisotropic(block, facts.sites);
    const char* kItems[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                            "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
    for (size_t i = 0; i < 6; ++i)
      if (const std::string* value = block.find_value(kItems[i])) facts.cell[i] = cif::as_number(*value, 0.0);
    for (const char* tag : {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz"}) {
      for (const std::string& triplet : block.find_values(tag))
        facts.operators.push_back(OperatorOf(cif::as_string(triplet)));
      if (!facts.operators.empty()) break;
    }
    return facts;
  }
  return {};
}

bool SameOperator(const gemmi::Op& a, const SymmetryOperator& b) {
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j)
      if (a.rot[i][j] != gemmi::Op::DEN * b.r[i][j]) return false;
    const double shift = double(a.tran[i]) / gemmi::Op::DEN - b.Translation(i);
    if (std::fabs(shift - std::round(shift)) > 0.001) return false;
  }
  return true;
}

void CompareAtom(const CifSite& site, const AtomRecord& atom) {
  SCOPED_TRACE(site.label + " as " + atom.name);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(atom.fract[i], site.fract[static_cast<size_t>(i)], 1e-8);
  const gemmi::Element element(site.type.substr(0, site.type.find_first_of("0123456789+-")));
  if (element != gemmi::El::X) {
    EXPECT_EQ(atom.element->atomicNumber, element == gemmi::El::D ? kDeuteriumRow : element.atomic_number());
  }
  const bool isAnisotropic = std::ranges::any_of(site.u, [](double u) { return u != 0.0; });
  ASSERT_EQ(atom.IsAnisotropic(), isAnisotropic);
  if (!isAnisotropic) {
    if (site.uIso > 0.0) {
      EXPECT_NEAR(atom.u[0], site.uIso, 1e-7);
    }
    return;
  }
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(atom.u[i], site.u[i], 1e-8);
}

// Counts the texts that held a structure.
void CompareFile(const std::string& text, int& translated) {
  const auto facts = FactsOfCif(text);
  const auto translation = TranslateCif(text);
  const bool isUsable = facts && facts->cell[0] > 0.0 && facts->cell[1] > 0.0 && facts->cell[2] > 0.0;
  ASSERT_EQ(translation.has_value(), isUsable);
  if (!translation) return;
  Document document;
  RecordingMessages messages;
  ASSERT_TRUE(ReadInstructionText(document, translation->text, messages));
  for (const UserMessage& message : messages.shown) ADD_FAILURE() << message.text;
  const auto& cell = facts->cell;
  EXPECT_EQ(document.cell, (CellParameters{cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]}));
  if (!facts->operators.empty()) {
    EXPECT_EQ(document.symmetry.size(), facts->operators.size());
  }
  for (const gemmi::Op& op : facts->operators) {
    EXPECT_TRUE(std::ranges::any_of(document.symmetry, [&](const auto& own) { return SameOperator(op, own); }))
        << op.triplet();
  }
  ASSERT_EQ(document.atoms.LiveCount(), facts->sites.size());
  const AtomRecord* atom = document.atoms.head;
  for (const auto& site : facts->sites) {
    CompareAtom(site, *atom);
    atom = atom->next;
  }
  ++translated;
}

TEST(RealCifs, AgreeWithAnIndependentReader) {
  if (RealDataFolder().empty()) GTEST_SKIP() << "MARVIK_REAL_DATA is not set";
  int translated = 0;
  // These break the syntax before or behind what matters here. One is another file with a few words too many, which
  // cost nothing; the others hold no atoms and a cell.
  const std::string kBroken[] = {"2009397-syntax-error.cif", "ciftest5.cif", "dos-ctrl-z.cif", "test.cif",
                                 "cif2-unicode-multiblock.cif"};
  for (const std::string& path : FilesBelow(RealDataFolder() + "cif", {"cif"})) {
    const std::string name = FileNameOf(path);
    SCOPED_TRACE(name);
    const std::string text = ReadWholeFile(path).content;
    if (std::ranges::find(kBroken, name) != std::end(kBroken)) {
      EXPECT_EQ(TranslateCif(text).has_value(), name == kBroken[0]);
      continue;
    }
    try {
      CompareFile(text, translated);
    } catch (const std::exception& error) {
      ADD_FAILURE() << "not compared: " << error.what();
    }
  }
  EXPECT_GE(translated, 45);
}

}  // namespace
}  // namespace marvik::test

#else

TEST(RealCifs, AgreeWithAnIndependentReader) {
  GTEST_SKIP() << "gemmi-dev or tao-pegtl-dev is not installed";
}

#endif
