#include "files/cif/cif_writer.h"

#include <gtest/gtest.h>

#include "files/cif/cif_completion.h"
#include "files/cif/cif_text.h"

namespace marvik::test {
namespace {

CifBlock FirstBlock(const std::string& text) {
  CifReader reader(text, {"_"});
  CifBlock block;
  EXPECT_TRUE(reader.Next(block)) << text;
  return block;
}

TEST(CifWriter, EveryValueReadsAsItWasGiven) {
  const std::string values[] = {"P 21/c",
                                "5'-bis(trifluoro)",
                                "the 'a' axis",
                                "both 'a' and \"b\" here",
                                "_no_name",
                                "#no comment",
                                "loop_",
                                "data_1",
                                ";semicolon",
                                "$frame",
                                "[bracket]",
                                "two\nlines",
                                "ends with \\",
                                "\n;\n;not the end",
                                "a' b\" c",
                                "'",
                                std::string(3000, 'x') + " y",
                                "> prefix\\\nnext",
                                "line \\\n;tricky\\\n"};
  CifWriter cif;
  cif.Block("of values");
  for (size_t i = 0; i < std::size(values); ++i) cif.Item("_item_" + std::to_string(i), values[i]);
  cif.Loop({"_without_rows"});
  cif.Loop({"_row_a", "_row_b"});
  for (size_t i = 0; i + 1 < std::size(values); ++i) cif.Row({values[i], values[i + 1]});
  const std::string text = cif.Text();
  const CifBlock block = FirstBlock(text);
  EXPECT_EQ(block.name, "of_values");
  EXPECT_EQ(text.find("_without_rows"), text.npos);
  const auto plain = [](CifValue value) {
    std::string lines = value.find('\n') == value.npos ? std::string(value) : AttachedLines(value);
    if (lines.ends_with('\n')) lines.pop_back();
    return lines;
  };
  const auto expected = [](std::string value) {
    if (value.ends_with('\n')) value.pop_back();
    return value;
  };
  for (size_t i = 0; i < std::size(values); ++i)
    EXPECT_EQ(plain(FindColumn(block, {"_item_" + std::to_string(i)})[0]), expected(values[i])) << values[i];
  const CifColumn second = FindColumn(block, {"_row_b"});
  ASSERT_EQ(second.Rows(), std::size(values) - 1) << text.substr(0, 2000);
  for (size_t i = 0; i < second.Rows(); ++i) EXPECT_EQ(plain(second[i]), expected(values[i + 1]));
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    EXPECT_LE(end - at, 2048u);
    at = end + 1;
  }
}

TEST(CifWriter, LettersBecomeTheCodesOfTheStandard) {
  EXPECT_EQ(CifMarkup("Müller, Gödel, Łódź, Dvořák"), "M\\\"uller, G\\\"odel, \\/L\\'od\\'z, Dvo\\<r\\'ak");
  EXPECT_EQ(CifMarkup("α β ω Å ° ± μ"), "\\a \\b \\w \\%A \\% +- \\m");
  EXPECT_EQ(CifMarkup("Fran\xE7ois"), "Fran\\,cois") << "Latin-1";
  EXPECT_EQ(CifMarkup("\xE2\x82"), "\\^a?") << "cut off";
  EXPECT_EQ(CifValueText("雪"), "?");
}

TEST(CifCompletion, FillsWhatIsUnknownAndLeavesTheRest) {
  const std::string cif =
      "data_a\n_cell_length_a 5.1(2)\n_exptl_crystal_colour ?\n_exptl_absorpt_process_details   ?\n"
      "_chemical_formula_moiety 'C6 H6'\nloop_\n_atom_site_label\nC1\n_iucr_refine_instructions_details\n;\nTITL ?\n;\n"
      "data_b\n_exptl_crystal_colour ?\n";
  const std::string known =
      "data_x\n_Exptl_crystal_colour 'pale yellow'\n_cell_length_a 9\n_chemical_formula_moiety 'C5 H5 -, H +'\n"
      "_exptl_absorpt_process_details\n;\nMulti-scan of\nthe group\n;\n_diffrn_source "
      "?\n_exptl_special_details\n;\nnew\n;\n"
      "loop_\n_publ_author_name\n_publ_author_address\n'A. B.'\n;\nHere 1\nThere\n;\n'C. D.' ?\n"
      "loop_\n_atom_site_label\n_atom_site_u\nC9 1\ndata_b\n_exptl_crystal_colour red\n";
  const std::string done = CompletedCif(cif, known);
  EXPECT_EQ(done,
            "data_a\n_cell_length_a 5.1(2)\n_exptl_crystal_colour 'pale yellow'\n_exptl_absorpt_process_details   \n"
            ";\nMulti-scan of\nthe group\n;\n_chemical_formula_moiety 'C5 H5 -, H +'\nloop_\n_atom_site_label\nC1\n"
            "_exptl_special_details\n;\nnew\n;\n\nloop_\n _publ_author_name\n _publ_author_address\n'A. B.' \n;\nHere "
            "1\nThere\n;\n'C. D.' ?\n\n_iucr_refine_instructions_details\n;\nTITL ?\n;\n"
            "data_b\n_exptl_crystal_colour red\n");
  EXPECT_EQ(CompletedCif(done, known), done) << "a second time changes nothing";
  EXPECT_EQ(CompletedCif(cif, ""), cif);
  const std::string kept = ComposeKnownItems(ReadKnownItems(known), "x");
  EXPECT_EQ(CompletedCif(cif, kept + known.substr(known.find("data_b"))), done) << "it can be kept and read again";
  EXPECT_EQ(
      CompletedCif("data_a\n_cell_length_a 5\nglobal_\nloop_\n_iucr_refine_x\n1\n", "data_a\n_diffrn_source tube\n"),
      "data_a\n_cell_length_a 5\n_diffrn_source tube\n\nglobal_\n_diffrn_source tube\n\nloop_\n_iucr_refine_x\n1\n")
      << "before the block without a name, and before a whole loop";
  const std::string loop = "data_a\nloop_\n_diffrn_source\n?\n?\n";
  EXPECT_EQ(CompletedCif(loop, "data_a\n_diffrn_source tube\n"), loop) << "a loop is no item";
}

// What stands in quotes ends where they end, also where one is missing or threefold; loops that came from what was
// known before follow what is known now.
TEST(CifCompletion, TakesValuesAndLoopsWithTheirEnds) {
  for (const auto& [old, kept] : std::initializer_list<std::pair<const char*, const char*>>{
           {"'pale red'", ""}, {"\"it's\"", ""}, {"'a'b'", ""}, {"'open", ""}}) {
    const std::string cif = std::string("data_a\n_refine_special_details ") + old + kept + "\n_cell_length_a 5\n";
    EXPECT_EQ(CompletedCif(cif, "data_a\n_refine_special_details 'in its place'\n"),
              "data_a\n_refine_special_details 'in its place'\n_cell_length_a 5\n")
        << old;
  }
  const std::string before = "data_a\nloop_\n_publ_author_name\n'A, B.'\n\"O'C\"\n";
  const std::string cif = CompletedCif("data_a\n_cell_length_a 5\n", before);
  const std::string now = "data_a\nloop_\n_publ_author_name\n_publ_author_address\n'A, B.' Here\n";
  const std::string done = CompletedCif(cif, now, before);
  EXPECT_EQ(done.find("O'C"), std::string::npos) << done;
  EXPECT_NE(done.find(" _publ_author_address\n'A, B.' Here\n"), std::string::npos) << done;
  EXPECT_EQ(CompletedCif(done, now, now), done);
  EXPECT_EQ(CompletedCif(done, "data_a\n", now).find("_publ_author"), std::string::npos);
  EXPECT_NE(CompletedCif(cif, now, "data_a\n").find("O'C"), std::string::npos) << "the CIF's own";
}

}  // namespace
}  // namespace marvik::test
