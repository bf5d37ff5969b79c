#include "publish/document.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "base/files.h"
#include "publish/document_text.h"

#include "support/kept_outputs.h"

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
           : name == "turn" ? std::optional<std::string>("{{?_cell_length_a}}{{>turn}}{{/_cell_length_a}}")
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
  for (const char* wrong : {"{{_a", "{{}}", "{{nothing}}", "{{level}}", "{{#_a}}", "{{>none}}", "{{>loop}}",
                            "{{>turn}}", "{{_a|x}}", "{{#_a}}{{#_a}}{{/_a}}"}) {
    std::string problem;
    Fill(wrong, DocumentKind::Html, &problem);
    EXPECT_NE(problem, "") << wrong;
  }
}

TEST(Document, SectionsOfOneNameEndWithTheirOwn) {
  EXPECT_EQ(
      Fill("{{?_cell_length_a}}1{{?_cell_length_a}}2{{/_cell_length_a}}3{{/_cell_length_a}}4", DocumentKind::Html),
      "1234");
  EXPECT_EQ(
      Fill("{{^_cell_length_a}}1{{?_cell_length_a}}2{{/_cell_length_a}}3{{/_cell_length_a}}4", DocumentKind::Html),
      "4");
  // The bond's row is not a row of what stands in no loop, nor does a finding have one.
  EXPECT_EQ(Fill("{{#_cell_length_a}}{{_geom_bond_distance}}{{/_cell_length_a}} {{#findings}}{{_geom_bond_distance}}"
                 "{{/findings}}{{?findings}}!{{/findings}}",
                 DocumentKind::Html),
            "1.5(1) 1.5(1)!");
}

// The marks of CIF text as the dictionaries have them, in each form of document.
TEST(DocumentText, CodesAccentsAndLevels) {
  const struct {
    const char *coded, *html, *latex, *markdown;
  } kCases[] = {
      {R"(\%A \%a 5\%)", "Å å 5°", R"(\AA{} \aa{} 5$^{\circ}$)", "Å å 5°"},
      {R"(\'e\`e\^o\~n\,c\<s\>o)", "é è ô ñ ç š ő", R"(\'{e}\`{e}\^{o}\~{n}\c {c}\v {s}\H {o})", ""},
      {R"(\q-\w \D\r)", "θ-ω Δρ", R"($\theta$-$\omega$ $\Delta$$\rho$)", "θ-ω Δρ"},
      {R"(\?\'1)", R"(\?\'1)", R"(\textbackslash{}?\textbackslash{}'1)", R"(\\?\\'1)"},
      {"a^2", "a^2", R"(a\textasciicircum{}2)", "a^2"},
      {"x^1234567890^y~i~", "x<sup>1234567890</sup>y<sub>i</sub>", "x$^{1234567890}$y$_{i}$", "x^1234567890^y~i~"},
      {"x~12345678901~", "x~12345678901~", R"(x\textasciitilde{}12345678901\textasciitilde{})", "x~12345678901~"},
      {"^^<a_b|c>", "&lt;a_b|c&gt;", R"(<a\_b|c>)", R"(\<a\_b\|c\>)"},
      {"10 % & \"x\"", "10 % &amp; &quot;x&quot;", R"(10 \% \& "x")", "10 % & \"x\""}};
  // Letters with their accents behind them, composed here as they are read.
  const auto composed = [](std::string text) {
    const std::pair<const char*, const char*> kLetters[] = {
        {"e\xCC\x81", "é "}, {"e\xCC\x80", "è "}, {"o\xCC\x82", "ô "}, {"n\xCC\x83", "ñ "},
        {"c\xCC\xA7", "ç "}, {"s\xCC\x8C", "š "}, {"o\xCC\x8B", "ő"}};
    for (const auto& [pair, letter] : kLetters)
      if (const size_t at = text.find(pair); at != text.npos) text.replace(at, std::string(pair).size(), letter);
    return text;
  };
  for (const auto& [coded, html, latex, markdown] : kCases) {
    EXPECT_EQ(composed(DocumentText(coded, DocumentKind::Html)), html);
    EXPECT_EQ(DocumentText(coded, DocumentKind::Latex), latex);
    if (*markdown) {
      EXPECT_EQ(DocumentText(coded, DocumentKind::Markdown), markdown);
    }
  }
}

TEST(DocumentText, FormulaeAndSpaceGroups) {
  EXPECT_EQ(LoweredFormula("C12 H10.5 O, 2(C H4 O), 0.5(H2 O)", DocumentKind::Markdown),
            "C~12~H~10.5~O, 2(CH~4~O), 0.5(H~2~O)");
  EXPECT_EQ(LoweredFormula("(C2 H6)3 <", DocumentKind::Html), "(C<sub>2</sub>H<sub>6</sub>)<sub>3</sub>&lt;");
  for (const auto& [symbol, latex, html] :
       {std::tuple{"P 21 21 21", "P2$_{1}$2$_{1}$2$_{1}$", "P2<sub>1</sub>2<sub>1</sub>2<sub>1</sub>"},
        std::tuple{"I -4 2 d", "I$\\bar{4}$2d",
                   "I4\xCC\x84"
                   "2d"},
        std::tuple{"P 63/m m c", "P6$_{3}$/mmc", "P6<sub>3</sub>/mmc"}, std::tuple{"R -", "R-", "R-"}}) {
    EXPECT_EQ(SymbolText(symbol, DocumentKind::Latex), latex);
    EXPECT_EQ(SymbolText(symbol, DocumentKind::Html), html);
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
    test::ExpectKept("documents", entry.path().filename().string(), *filled);
    ++templates;
  }
  EXPECT_GE(templates, 22);
}

}  // namespace
}  // namespace marvik
