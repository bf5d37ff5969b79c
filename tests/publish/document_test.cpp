#include "publish/document.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "base/files.h"

namespace marvik {
namespace {

constexpr char kCif[] =
    "data_empty\n_audit_creation_method x\ndata_a_b\n_cell_length_a 5.1(2)\n_chemical_formula_sum 'C12 H9.5 O'\n"
    "_chemical_formula_moiety '2(H2 O), C12 H6'\n_space_group_name_H-M_alt 'P -4 21/c'\n_cell_length_b ?\n"
    "_exptl_special_details\n;\nw=1/[\\s^2^(Fo^2^)] at 5\\%, M\\\"uller & <b>\n;\nloop_\n_geom_bond_atom_site_label_1\n"
    "_geom_bond_distance\n_geom_bond_site_symmetry_2\nC1_2 1.5(1) .\nC2 1.4 3_655\n";

std::string Fill(const std::string& text, DocumentKind kind, std::string* problem = nullptr) {
  const Finding finding{"a-test", FindingLevel::B, {"C1", "O2"}, 3, {}, {}, "5 < 6 & so on.", "", {}};
  const DocumentSource source{kCif, {&finding, 1}, ""};
  std::string sentence;
  const auto include = [](const std::string& name) {
    return name == "part"   ? std::optional<std::string>("[{{_cell_length_a}}]")
           : name == "loop" ? std::optional<std::string>("{{>loop}}")
                            : std::nullopt;
  };
  const auto filled = FillTemplate(text, kind, source, include, sentence);
  if (problem) *problem = sentence;
  EXPECT_EQ(filled.has_value(), sentence.empty()) << text;
  return filled.value_or("");
}

TEST(Document, FieldsBecomeWhatTheCifSays) {
  using enum DocumentKind;
  EXPECT_EQ(Fill("{{block}} {{_cell_length_a}} {{_cell.length_b}} {{_none}}", Html), "a_b 5.1(2) ? ?");
  EXPECT_EQ(Fill("{{_chemical_formula_sum|formula}}", Html), "C<sub>12</sub>H<sub>9.5</sub>O");
  EXPECT_EQ(Fill("{{_chemical_formula_moiety|formula}}", Markdown), "2(H~2~O), C~12~H~6~");
  EXPECT_EQ(Fill("{{_space_group_name_H-M_alt|symbol}}", Latex), "P$\\bar{4}$2$_{1}$/c");
  EXPECT_EQ(Fill("{{_exptl_special_details}}", Html),
            "w=1/[σ<sup>2</sup>(Fo<sup>2</sup>)] at 5°, Mu\xCC\x88ller &amp; &lt;b&gt;");
  EXPECT_EQ(Fill("{{_exptl_special_details}}", Latex),
            "w=1/[$\\sigma$$^{2}$(Fo$^{2}$)] at 5$^{\\circ}$, M\\\"{u}ller \\& <b>");
  EXPECT_EQ(Fill("{{#findings}}{{level}} {{test}} {{atoms}}: {{text}}{{/findings}}", Html),
            "B a-test C1 O2: 5 &lt; 6 &amp; so on.");
  EXPECT_EQ(Fill("{{?figure}}no{{/figure}}{{^_cell_length_b}}none{{/_cell_length_b}}{{>part}}", Html), "none[5.1(2)]");
}

TEST(Document, SectionsRepeatForRowsAndStandInEachOther) {
  EXPECT_EQ(Fill("{{?_geom_bond_distance}}\nBonds\n{{#_geom_bond_distance}}\n{{_geom_bond_atom_site_label_1}} "
                 "{{_geom_bond_distance}}{{?_geom_bond_site_symmetry_2}} {{_geom_bond_site_symmetry_2}}"
                 "{{/_geom_bond_site_symmetry_2}} {{_cell_length_a}}\n{{/_geom_bond_distance}}\nEnd\n"
                 "{{/_geom_bond_distance}}\n{{#_geom_angle}}x{{/_geom_angle}}",
                 DocumentKind::Markdown),
            "Bonds\nC1\\_2 1.5(1) 5.1(2)\nC2 1.4 3\\_655 5.1(2)\nEnd\n");
  for (const char* wrong :
       {"{{_a", "{{}}", "{{nothing}}", "{{level}}", "{{#_a}}", "{{>none}}", "{{>loop}}", "{{_a|x}}"}) {
    std::string problem;
    Fill(wrong, DocumentKind::Html, &problem);
    EXPECT_NE(problem, "") << wrong;
  }
}

TEST(Document, EveryTemplateOfThePackageIsFilled) {
  int templates = 0;
  for (const auto& entry : std::filesystem::directory_iterator(MARVIK_TEMPLATES)) {
    const std::string extension = entry.path().extension().string().substr(1);
    const auto kind = DocumentKindOf(extension);
    ASSERT_TRUE(kind) << entry.path();
    const DocumentSource source{kCif, {}, "a.png"};
    std::string problem;
    const auto filled = FillTemplate(
        ReadWholeFile(entry.path().string()).content, *kind, source,
        [&](const std::string& name) -> std::optional<std::string> {
          const FileContent part = ReadWholeFile(std::string(MARVIK_TEMPLATES) + "/" + name + "." + extension);
          return part.opened ? std::optional<std::string>(part.content) : std::nullopt;
        },
        problem);
    ASSERT_TRUE(filled) << entry.path() << " " << problem;
    EXPECT_EQ(filled->find("{{"), std::string::npos) << entry.path();
    ++templates;
  }
  EXPECT_GE(templates, 22);
}

}  // namespace
}  // namespace marvik
