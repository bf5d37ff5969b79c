#include "publish/publication.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/files.h"

namespace marvik {
namespace {

constexpr char kCif[] =
    "data_a\n_exptl_crystal_colour ?\n_exptl_crystal_size_max ?\n_cell_measurement_theta_max 25.1\n"
    "_exptl_absorpt_correction_T_min ?\n_other_item ?\ndata_b\n_exptl_crystal_colour ?\n";

const PublicationRow& RowOf(const std::vector<PublicationRow>& rows, const std::string& item) {
  return *std::ranges::find(rows, item, &PublicationRow::item);
}

TEST(Publication, ValuesAreHeldAgainstWhatTheirItemsTake) {
  for (const auto& [item, value] :
       std::initializer_list<std::pair<const char*, const char*>>{{"_exptl_absorpt_correction_T_min", "0.7461(3)"},
                                                                  {"_EXPTL_ABSORPT.correction_t_max", "."},
                                                                  {"_exptl_absorpt_correction_type", "multi-scan"},
                                                                  {"_exptl_crystal_colour", "dark ochre"},
                                                                  {"_not_in_the_table", "5 apples"}})
    EXPECT_EQ(PublicationFault(item, value), "") << item;
  EXPECT_EQ(PublicationFault("_exptl_absorpt_correction_T_min", "1.2"),
            "_exptl_absorpt_correction_T_min takes 0 to 1, not 1.2.");
  EXPECT_EQ(PublicationFault("_cell_measurement_reflns_used", "2"),
            "_cell_measurement_reflns_used takes a number from 3 on, not 2.");
  EXPECT_EQ(PublicationFault("_exptl_crystal_size_max", "many"),
            "_exptl_crystal_size_max takes 0 to 100 mm, not many.");
  EXPECT_EQ(PublicationFault("_chemical_absolute_configuration", "R"),
            "_chemical_absolute_configuration takes rm, ad, rmad, syn, unk, dyn, not R.");
  EXPECT_EQ(PublicationFault("_exptl_crystal_face_index_h", "1 | 0 | 0\n 0.1\n0 | 1 | 0 | 0.2 | 7"),
            "A line takes _exptl_crystal_face_index_h | _exptl_crystal_face_index_k | _exptl_crystal_face_index_l | "
            "_exptl_crystal_face_perp_dist, not 0 | 1 | 0 | 0.2 | 7.");
  EXPECT_EQ(AllowedText(*FindPublicationField("_exptl_crystal_density_method")),
            "not measured, flotation in aqueous KI, ...");
  EXPECT_EQ(AllowedText(*FindPublicationField("_exptl_special_details")), "");
  EXPECT_NE(PublicationFault("_exptl_absorpt_correction_type", "SADABS-like"), "");
}

TEST(Publication, ListingsAndParameterFilesFillWhatIsOpen) {
  const auto folder = std::filesystem::path(testing::TempDir()) / ("publication" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const auto put = [&](const char* name, const char* text) { WriteFileAtomically((folder / name).string(), text); };
  put("a.p4p", "CELL 1 2 3 90 90 90\nCCOLOR  \"dark red\"\nMORPH ?\nCSIZE 0.1 0.3 0.2 0 0\n");
  put("a.abs",
      "\n *** Scaling 3.1 ***\nEstimated minimum and maximum transmission:  0.61  0.75\r\n"
      "Absorption correction: Multi-Scan\nTmax = 7.5\nAbsorption correction: guesswork\n");
  put("b.log", "Absorption correction: guesswork\nDiffractometer: Four-circle: new\nDetector type =\n");
  put("a.sum", "Crystal colour: blue\nReflections used for unit cell: 3012\nTheta range for cell: 2.5 - 27.1\n");
  const auto sources = SourcesBeside((folder / "a").string());
  const auto other = SourcesBeside((folder / "b").string());
  std::filesystem::remove_all(folder);
  ASSERT_EQ(other.size(), 1U);
  EXPECT_EQ(FillingOf(PublicationRows(kCif, "a", "", other)), "_diffrn_measurement_device_type 'Four-circle: new'\n")
      << "a word that the item does not take is left out";
  ASSERT_EQ(sources.size(), 3U);
  const auto rows = PublicationRows(kCif, "a", "", sources);
  const auto& colour = RowOf(rows, "_exptl_crystal_colour");
  ASSERT_EQ(colour.proposals.size(), 2U);
  EXPECT_EQ(colour.proposals[0].value + " " + colour.proposals[0].from, "dark red a.p4p");
  EXPECT_EQ(colour.proposals[1].value, "blue");
  EXPECT_TRUE(RowOf(rows, "_cell_measurement_theta_max").isFixed) << "the refinement's values are no one's to change";
  EXPECT_TRUE(RowOf(rows, "_other_item").value.empty());
  const std::string filling = FillingOf(rows);
  for (const char* line :
       {"_exptl_crystal_size_max 0.300\n", "_exptl_crystal_size_min 0.100\n", "_exptl_absorpt_correction_T_max 0.75\n",
        "_exptl_absorpt_correction_type multi-scan\n", "_exptl_absorpt_process_details 'Scaling 3.1'\n",
        "_cell_measurement_reflns_used 3012\n", "_cell_measurement_theta_min 2.5\n"})
    EXPECT_NE(filling.find(line), std::string::npos) << line << filling;
  EXPECT_EQ(filling.find("_exptl_crystal_description"), std::string::npos);
  EXPECT_EQ(filling.find("theta_max"), std::string::npos);
}

TEST(Publication, ALineOfAListingIsWhatItsWordsSay) {
  const auto path = std::filesystem::path(testing::TempDir()) / ("listing" + std::to_string(getpid()) + ".sum");
  // "" where the line says nothing that an item takes.
  for (const auto& [line, items] : std::initializer_list<std::pair<const char*, const char*>>{
           {"Crystal dimensions: 0.2 x 0.05 x 0.11", "max 0.200 mid 0.110 min 0.050"},
           {"Crystal size = 0.2 x 0.1", ""},
           {"Crystal habit: needle", "description needle"},
           {"T_min = 0.5, and 0.7", "T_min 0.5"},
           {"Maximum transmission 0.98", "T_max 0.98"},
           {"Minimum and maximum apparent transmission: 0.61", ""},
           {"Tube voltage [kV]: 50", "voltage 50"},
           {"Generator current: 0.6 mA", "current 0.6"},
           {"Reflections for the cell: 2", ""},
           {"Theta(min) of the cell = 2.5, 27.125", "theta_max 27.125 theta_min 2.5"},
           {"Monochromator: graphite", "monochromator graphite"},
           {"Detector type = Pixel 1M", "detector_type 'Pixel 1M'"},
           {"Absorption correction: MULTI-SCAN", "type multi-scan"},
           {"Colour of the moon: red", ""},
           {"Crystal color: Dark Red", "colour 'Dark Red'"}}) {
    WriteFileAtomically(path.string(), std::string(line) + "\n");
    std::string found;
    for (const auto& [name, item] : ReadPublicationSource(path.string()).items.items) {
      const size_t behind = std::max(item.name.rfind('_'), size_t{1});
      const bool isLong = item.name.find("_T_") != item.name.npos || item.name.find("theta_") != item.name.npos ||
                          item.name.ends_with("detector_type");
      found += (found.empty() ? "" : " ") +
               item.name.substr(isLong ? item.name.rfind('_', behind - 1) + 1 : behind + 1) + " " + item.value;
    }
    EXPECT_EQ(found, items) << line;
  }
  std::filesystem::remove(path);
}

TEST(Publication, ChangesAreKeptByBlockAndTakenBack) {
  std::string problem;
  const auto first =
      ChangedPublication("", "_exptl_crystal_colour red\n_refine_special_details\n;\nTwo\nlines\n;\n", "a", problem);
  ASSERT_TRUE(first) << problem;
  const std::string cif = CompletedCif(kCif, *first);
  EXPECT_NE(cif.find("_exptl_crystal_colour red\n_exptl_crystal_size_max ?"), std::string::npos) << cif;
  EXPECT_NE(cif.find(";\nTwo\nlines\n;"), std::string::npos);
  // Another block begins with what stood for all.
  const auto second = ChangedPublication(*first, "data_b\n_exptl_crystal_colour '\\a-blue'\n", "a", problem);
  ASSERT_TRUE(second) << problem;
  EXPECT_EQ(RowOf(PublicationRows(kCif, "b", *second, {}), "_refine_special_details").value, "Two\nlines");
  EXPECT_EQ(RowOf(PublicationRows(kCif, "a", *second, {}), "_exptl_crystal_colour").value, "red");
  // What was taken out is open again in a CIF that has it from there, and only there.
  const auto third = ChangedPublication(*first, "_exptl_crystal_colour ?\n", "a", problem);
  ASSERT_TRUE(third);
  const std::string reopened = CompletedCif(cif, *third, *first);
  EXPECT_NE(reopened.find("_exptl_crystal_colour ?\n_exptl_crystal_size_max ?"), std::string::npos) << reopened;
  EXPECT_NE(CompletedCif("data_a\n_exptl_crystal_colour pink\n", *third, *first).find("pink"), std::string::npos);
  const auto odd = ChangedPublication("", "data_a\x04\n_exptl_crystal_colour red\n", "a", problem);
  EXPECT_EQ(ChangedPublication(*odd, "data_a\x04\n_exptl_crystal_colour red\n", "a", problem), odd);
  EXPECT_FALSE(ChangedPublication(*first, "_exptl_absorpt_correction_T_min 3\n", "a", problem));
  EXPECT_FALSE(ChangedPublication(*first, "loop_\n_atom_site_label\nC1\n", "a", problem)) << "no loop of a user's";
}

TEST(Publication, LoopsOfAuthorsAreEditedAsLines) {
  const char kLines[] = "Müller, A. | Institute\n  Some Town | | 0000-0001\nO'Hara, \"B.\"";
  std::string problem;
  const auto kept = ChangedPublication("", ItemChange("_publ_author_name", kLines), "a", problem);
  ASSERT_TRUE(kept) << problem;
  EXPECT_NE(kept->find("'M\\\"uller, A.'"), std::string::npos) << *kept;
  EXPECT_EQ(kept->find("_publ_author_footnote"), std::string::npos) << "no column without a need";
  const PublicationRow row = RowOf(PublicationRows(kCif, "a", *kept, {}), "_publ_author_name");
  EXPECT_EQ(row.value, "M\\\"uller, A. | Institute\n  Some Town | | 0000-0001\nO'Hara, \"B.\"");
  EXPECT_EQ(*ChangedPublication(*kept, ItemChange("_publ_author_name", row.value), "a", problem), *kept);
  EXPECT_TRUE(
      RowOf(PublicationRows(CompletedCif(kCif, *kept), "a", "", {}), "_publ_author_name").value.starts_with("M"));
  const auto none = ChangedPublication(*kept, ItemChange("_publ_author_name", "?"), "a", problem);
  ASSERT_TRUE(none);
  EXPECT_EQ(none->find("_publ_author"), std::string::npos);
  // Another CIF proposes its authors.
  const PublicationSource source{"other.cif", ReadKnownItems("data_o\nloop_\n_publ_author_name\n'C, D.'\n'E, F.'\n")};
  const auto rows = PublicationRows(kCif, "a", "", std::span(&source, 1));
  EXPECT_EQ(RowOf(rows, "_publ_author_name").proposals.at(0).value, "C, D.\nE, F.");
  EXPECT_NE(FillingOf(rows).find("_publ_author_name\n 'C, D.'\n 'E, F.'\n"), std::string::npos);
}

TEST(Publication, FindingsGetTheJournalsFormForReplies) {
  const Finding finding{"formula-atoms", FindingLevel::A, {}, 0, {}, {}, "So it is.", "", {}};
  const ReplyForm form = ReplyTo(finding, "x");
  EXPECT_EQ(form.item, "_vrf_PLAT041_x");
  EXPECT_EQ(form.text, "PROBLEM: So it is.\nRESPONSE: ");
  for (const auto& [test, item] : {std::pair{"cell-trigonal", "_vrf_PLAT131_x"},
                                   std::pair{"cell-monoclinic", "_vrf_PLAT134_x"}, std::pair{"no-such-test", ""}})
    EXPECT_EQ(ReplyTo(Finding{test, FindingLevel::A, {}, 0, {}, {}, "", "", {}}, "x").item, item);
}

}  // namespace
}  // namespace marvik
