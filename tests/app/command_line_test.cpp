#include "app/cli/command_line.h"

#include <algorithm>
#include <iterator>
#include <regex>

#include "app/command_line_fixture.h"
#include "app/commands/command_table.h"
#include "files/cif/cif_writer.h"

namespace marvik {
namespace {

class CommandLineTest : public test::CommandLineRuns {
 protected:
  size_t ErrorLines() const { return static_cast<size_t>(std::ranges::count(err.str(), '\n')); }

  std::string file = folder.Put("small.res", test::kSmallFile);
};

TEST_F(CommandLineTest, WrongUsageIsStatusTwo) {
  const std::string batched = "--jobs, --time-limit, --results and --shard belong to --batch";
  const std::string frames = "--label-report tells of a picture with one frame";
  const std::string sheet = "A sheet of several structures has one frame of each";
  const std::pair<const char*, std::string> wrong[] = {
      {"", "nothing to do"},
      {"--write", "--write needs a value"},
      {"--write a.ins", "The name of a FILE to read is missing"},
      {"--write a.ins b.res c.res", "Only one FILE can be given"},
      {"--write - f.res", "Standard output needs --format"},
      {"--write - --format png f.res", "There is no format png for this task"},
      {"--picture - --format ins f.res", "There is no format ins for this task"},
      {"--report atom f.res", "--report takes one of atoms|bonds"},
      {"--report atoms --write a.ins f.res", "--report cannot go together with another task"},
      {"--report atoms --recipe r f.res", "--recipe belongs to --picture"},
      {"--report atoms --style s f.res", "--style belongs to --picture"},
      {"--report atoms --fields f.res", "--fields belongs to --list-commands"},
      {"--report atoms --jobs 2 f.res", batched},
      {"--report atoms --results l f.res", batched},
      {"--batch l --report atoms f.res", "--batch takes its files from the list, not from f.res"},
      {"--batch l --edit x", "--batch needs something to do with each file"},
      {"--batch l --write a.res", "With --batch the name of OUT holds {name}"},
      {"--batch l --picture {name}.svg f.res g.res", "Only one FILE can be given"},
      {"--picture a.png --size 0 f.res", "--size takes a number of pixels"},
      {"--picture a.png --size 1e9 f.res", "--size takes a number of pixels"},
      {"--picture a.png --rotate 1,2 f.res", "--rotate takes three angles"},
      {"--picture a.png --rotate 1,2,x f.res", "--rotate takes three angles"},
      {"--picture a.png --rendition balls f.res", "--rendition takes one of wire|ball"},
      {"--picture a.png --labels f.res", "--labels takes one of on|off, not f.res"},
      {"--picture a.png --resolution 0 f.res", "--resolution takes dots per inch"},
      {"--picture a.png --background red f.res", "--background takes one of"},
      {"--picture a.png --layers 0 f.res", "--layers takes a whole number"},
      {"--picture a.svg --label-report l --frames stereo f.res", frames},
      {"--picture a.svg --label-report l --packing f.res", frames},
      {"--picture a.svg --label-report l f.res g.res", frames},
      {"--picture a.svg --frames axes f.res g.res", sheet},
      {"--picture a.svg --packing f.res g.res", sheet},
      {"--commands 12;x=1 f.res", "--commands: \"x=1\" does not begin"},
      {"--nonsense f.res", "There is no option --nonsense"},
      {"--yes f.res", "nothing to do"},
  };
  for (const auto& [line, sentence] : wrong) {
    std::istringstream words(line);
    EXPECT_EQ(Run({std::istream_iterator<std::string>(words), {}}), 2) << line;
    EXPECT_TRUE(err.str().starts_with("marvik: " + sentence)) << line << '\n' << err.str();
    EXPECT_EQ(ErrorLines(), 1u) << line;
    EXPECT_EQ(out.str(), "");
  }
  for (const char* line : {"--picture a.svg --label-report l f.res", "--batch l --picture {name}.svg --jobs 2"}) {
    std::istringstream words(line);
    EXPECT_EQ(ParseCommandLine({std::istream_iterator<std::string>(words), {}}).error, "") << line;
  }
}

TEST_F(CommandLineTest, AnswersAboutItself) {
  EXPECT_EQ(Run({"--version"}), 0);
  EXPECT_TRUE(std::regex_match(out.str(), std::regex("marvik [0-9]+\\.[0-9]+\\.[0-9]+\n"))) << out.str();
  EXPECT_EQ(Run({"--help"}), 0);
  EXPECT_NE(out.str().find("--picture"), std::string::npos);
  EXPECT_EQ(Run({"--list-commands"}), 0);
  std::string list = out.str();
  list.insert(0, 1, '\n');
  EXPECT_NE(list.find("\n100\topen\t&Open...\n"), std::string::npos);
  EXPECT_NE(list.find("\n10104\t"), std::string::npos);
  EXPECT_EQ(static_cast<size_t>(std::ranges::count(out.str(), '\n')), CommandTable().size());
  EXPECT_EQ(Run({"--fields", "--list-commands"}), 0);
  EXPECT_NE(out.str().find("103\trefine\tcycles\t0..999\tCycles\n"), std::string::npos);
  EXPECT_NE(out.str().find("106\tlabels\t\t[on|off]\tLabels\n"), std::string::npos);
}

TEST_F(CommandLineTest, EveryTextAboutOptionsKnowsEveryOption) {
  const std::string help = CommandLineHelp();
  std::string page = ManualPage();
  std::erase(page, '\\');
  const std::string script = CompletionScript();
  for (const OptionRow& row : OptionTable()) {
    const std::string name = row.name;
    EXPECT_NE(row.IsAction(), row.take != nullptr) << name;
    EXPECT_NE(script.find(name), std::string::npos) << name;
    if (row.group[0] == '\0') continue;
    EXPECT_NE(help.find("  " + name), std::string::npos) << name;
    EXPECT_NE(page.find(".B " + name), std::string::npos) << name;
  }
  for (const CommandRow& row : CommandTable()) EXPECT_NE(page.find(std::string(".B ") + row.name), std::string::npos);
}

TEST_F(CommandLineTest, FileAndOptionsStandInAnyOrder) {
  ASSERT_EQ(Run({"--report", "bonds", "--json", file}), 0);
  const std::string report = out.str();
  EXPECT_EQ(Run({file, "--json", "--report=bonds"}), 0);
  EXPECT_EQ(out.str(), report);
  EXPECT_EQ(Run({"--json", "--report", "bonds", "--", file}), 0);
  EXPECT_EQ(out.str(), report);
  EXPECT_EQ(Run({"--rotate", "-30,0,0", "--write", "-", "--format", "res", file}), 0)
      << "a value may begin with a dash";
}

TEST_F(CommandLineTest, CommandStepsAreNamesOrNumbers) {
  std::string wrong;
  const auto steps = ParseCommandSteps(" kill-peaks; 144=C* O1;grow,139 ;pack=0,2,0,1,0,1;", wrong);
  ASSERT_TRUE(steps);
  std::string spelled;
  for (const CommandStep& step : *steps) spelled += std::to_string(step.id) + "=" + step.argument + "|";
  EXPECT_EQ(spelled, "203=|144=C* O1|138=|139=|142=0,2,0,1,0,1|");
  for (const char* bad : {"C1", "Kill", "=C1", "203;;x", "203,,204", "-5", "1.5", "203=a,b;c"}) {
    EXPECT_FALSE(ParseCommandSteps(bad, wrong)) << bad;
  }
  EXPECT_EQ(wrong, "\"c\"");
  EXPECT_TRUE(ParseCommandSteps("", wrong)->empty());
}

TEST_F(CommandLineTest, WritesAnInstructionFile) {
  EXPECT_EQ(Run({"--write", folder / "out.ins", file}), 0) << err.str();
  EXPECT_EQ(folder.Get("out.ins"), test::kSmallFile);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(ErrorLines(), 0u) << err.str();
  EXPECT_FALSE(folder.Has("out.ins.bak"));
  EXPECT_EQ(folder.Get("small.res"), test::kSmallFile);
  EXPECT_FALSE(folder.Has("marvikrf.ini"));

  EXPECT_EQ(Run({"--format", ".RES", "--write", "-", file}), 0);
  EXPECT_EQ(out.str(), folder.Get("out.ins"));
  EXPECT_EQ(Run({"--write", file, file}), 0);
  EXPECT_EQ(folder.Get("small.res.bak"), test::kSmallFile);
  EXPECT_EQ(Run({"--layout", "standard", "--write", folder / "out.ins", file}), 0) << err.str();
  EXPECT_NE(folder.Get("out.ins").find("\nC1     1   0.100000"), std::string::npos) << folder.Get("out.ins");
  EXPECT_EQ(ErrorLines(), 1u) << "the remark that is lost, on one line:\n" << err.str();
}

TEST_F(CommandLineTest, ProblemsAreStatusOneAndALineEach) {
  EXPECT_EQ(Run({"--write", folder / "out.ins", folder / "missing.res"}), 1);
  EXPECT_EQ(err.str(), "Error: File Unreadable: This file is either missing, empty or corrupt: " +
                           (folder / "missing.res") + "\n");
  EXPECT_FALSE(folder.Has("out.ins"));
  EXPECT_EQ(Run({"--report", "atoms", folder.Put("x.cif", "data_x\n")}), 1);
  EXPECT_TRUE(err.str().starts_with("Translation Error: ")) << err.str();
  EXPECT_EQ(Run({"--write", folder / "no/such/out.ins", file}), 1);
  EXPECT_EQ(Run({"--picture", folder / "out.gif", file}), 1);
  EXPECT_EQ(Run({"--picture", folder / "no/out.png", file}), 1);
  EXPECT_EQ(Run({"--picture", folder / "out.png", "--renderer", "opengl", "--rendition", "wire", file}), 1);
  EXPECT_EQ(err.str(),
            "Invalid Display Choice: OpenGL structure display is currently implemented only for Ball and Stick models "
            "and Thermal Ellipsoid models.\n");
  EXPECT_FALSE(folder.Has("out.png"));
  EXPECT_EQ(Run({"--write", "-", "--format", "pdb", file}), 1);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(Run({"--report", "atoms", "--select", "Z*", file}), 1);
  out.setstate(std::ios::badbit);
  EXPECT_EQ(RunCommandLine(ParseCommandLine({"--report", "atoms", file}), "", out, err), 1);
}

TEST_F(CommandLineTest, CommandsRunInOrderBeforeTheTask) {
  EXPECT_EQ(Run({"--commands", "203; 144=C*; 113", "--report", "atoms", file}), 0) << err.str();
  EXPECT_EQ(static_cast<size_t>(std::ranges::count(out.str(), '\n')), 5u) << out.str();
  EXPECT_EQ(Run({"--commands", "203;102=" + (folder / "saved.res"), file}), 0) << err.str();
  EXPECT_TRUE(folder.Has("saved.res"));

  EXPECT_EQ(Run({"--commands", "107", "--write", folder / "out.ins", file}), 1);
  EXPECT_NE(err.str().find("107=LEVEL"), std::string::npos);
  EXPECT_EQ(Run({"--commands", "12345,203", "--write", folder / "out.ins", file}), 1);
  EXPECT_FALSE(folder.Has("out.ins")) << "a step failed, so nothing is written";
  EXPECT_EQ(Run({"--commands", "select=C*; kill=now", "--write", folder / "out.ins", file}), 1);
  EXPECT_NE(err.str().find("takes no value"), std::string::npos) << err.str();
  EXPECT_EQ(Run({"--commands", "103=anisotropic=1", file}), 1);
  EXPECT_NE(err.str().find("anisotropic: there is no such field; there are type, cycles"), std::string::npos)
      << err.str();
  EXPECT_EQ(Run({"--commands", "save-picture=sise=300 " + (folder / "a.png"), file}), 1);
  EXPECT_EQ(Run({"--commands", "labels=of", file}), 1);
  // Unsaved changes are only thrown away by a --yes.
  EXPECT_EQ(Run({"--commands", "203;100=" + file, "--report", "atoms", file}), 1);
  EXPECT_EQ(Run({"--yes", "--commands", "203;100=" + file, "--report", "atoms", file}), 0);
  EXPECT_NE(out.str().find("\nQ1\t"), std::string::npos);
}

TEST_F(CommandLineTest, FindingsAreStatusOneFromErrorsOn) {
  const std::string bad = folder.Put("bad.res", "TITL a\nCELL 0.71073 8 9 10 90 90 90\nHKLF 4\nEND\n");
  EXPECT_EQ(Run({"--lint", bad}), 1);
  EXPECT_NE(out.str().find("no-sfac"), std::string::npos) << out.str();
  EXPECT_EQ(Run({"--lint", "--json", bad}), 1);
  EXPECT_TRUE(out.str().starts_with("{\n \"findings\": [")) << out.str();
  EXPECT_EQ(Run({"--lint", folder / "none.res"}), 1);
  EXPECT_EQ(ErrorLines(), 1u);
  const std::string cif = folder.Put("a.cif", "data_a\n_cell_length_a 8\n");
  EXPECT_EQ(Run({"--check", cif}), 1);
  EXPECT_NE(out.str().find("cell-incomplete"), std::string::npos) << out.str();
  EXPECT_EQ(Run({"--check", folder.Put("b.cif", "data_b\n")}), 0);
}

TEST_F(CommandLineTest, FilesThatACifCarriesComeOutAsTheyWere) {
  const std::string res = "TITL a\nREM \n;begins with a semicolon\nCELL 0.71073 8 9 10 90 90 90\nSFAC C\nHKLF 4\nEND\n";
  const std::string hkl = "   1   0   0  123.45    1.20   1\r\n   0   1   0   12.00    0.50   1\r\n";
  CifWriter writer;
  writer.Block("first one/x");
  writer.Field("_iucr_refine_instructions_details", res);
  writer.Field("_iucr_refine_reflections_details", hkl);
  writer.Block("among others");
  writer.Loop({"_own_number", "_iucr_refine_instructions_details"});
  writer.Row({"1", res});
  writer.Block("listed");
  writer.Loop(
      {"_refln_index_h", "_refln_index_k", "_refln_index_l", "_refln_F_squared_meas", "_refln_F_squared_sigma"});
  writer.Row({"1", "-2", "13", "20000.5", "10"});
  const std::string cif = folder.Put("x.cif", writer.Text());
  ASSERT_EQ(Run({"--extract", cif}), 0) << err.str();
  EXPECT_EQ(folder.Get("first_one_x.res"), res);
  EXPECT_EQ(folder.Get("first_one_x.hkl"), hkl);
  EXPECT_EQ(folder.Get("among_others.res"), res);
  EXPECT_EQ(folder.Get("listed.hkl"), "   1  -2  13 2000.05    1.00\n   0   0   0    0.00    0.00\n");
  EXPECT_EQ(Run({"--extract", cif}), 0) << "what is there already is no reason to stop";
  folder.Put("listed.hkl", "mine");
  EXPECT_EQ(Run({"--extract", cif}), 1);
  EXPECT_EQ(folder.Get("listed.hkl"), "mine");
  EXPECT_EQ(Run({"--extract", "--yes", cif}), 0) << err.str();
  EXPECT_NE(folder.Get("listed.hkl"), "mine");
  EXPECT_EQ(folder.Get("listed.hkl.bak"), "mine");
  EXPECT_EQ(Run({"--extract", folder.Put("none.cif", "data_a\n_cell_length_a 8\n")}), 1);
}

TEST_F(CommandLineTest, ADocumentWithNothingInItIsNotWritten) {
  const std::string cif = folder.Put(
      "d.cif",
      "data_d\n_cell_length_a 8\n_cell_length_b 8\n_cell_length_c 8\n_cell_angle_alpha 90\n_cell_angle_beta 90\n"
      "_cell_angle_gamma 90\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
      "_atom_site_fract_z\nC1 0 0 0\n");
  const std::string bonds =
      folder.Put("bonds.md", "{{#_geom_bond_distance}}\n{{_geom_bond_distance}}\n{{/_geom_bond_distance}}\n");
  EXPECT_EQ(Run({"--report-document", folder / "out.md", "--template", bonds, cif}), 1);
  EXPECT_NE(err.str().find("lists nothing for the template"), std::string::npos) << err.str();
  EXPECT_EQ(folder.Get("out.md"), "");
  const std::string cell = folder.Put("cell.md", "{{_cell_length_a}}\n");
  EXPECT_EQ(Run({"--report-document", folder / "out.md", "--template", cell, cif}), 0);
  EXPECT_EQ(folder.Get("out.md"), "8\n");
  EXPECT_EQ(Run({"--report-document", folder / "out.pdf", "--template", cell, cif}), 0);
  EXPECT_TRUE(folder.Get("out.pdf").starts_with("%PDF"));
}

TEST_F(CommandLineTest, DrawsPictures) {
  const auto isPng = [](const std::string& bytes, unsigned size) {
    const auto side = [&](size_t at) {
      return static_cast<unsigned char>(bytes[at]) << 8 | static_cast<unsigned char>(bytes[at + 1]);
    };
    return bytes.starts_with("\x89PNG\r\n") && side(18) == static_cast<int>(size) && side(22) == static_cast<int>(size);
  };
  EXPECT_EQ(Run({"--picture", folder / "a.png", file}), 0) << err.str();
  EXPECT_TRUE(isPng(folder.Get("a.png"), 600));
  std::set<std::string> different = {folder.Get("a.png")};
  for (const std::vector<std::string>& more : {std::vector<std::string>{"--rendition", "wire"},
                                               {"--rendition", "pipes"},
                                               {"--labels", "off"},
                                               {"--cell"},
                                               {"--renderer", "opengl"},
                                               {"--layers", "1"},
                                               {"--black-white"},
                                               {"--rotate", "90,0,0"},
                                               {"--rotate", "0,90,0"},
                                               {"--rotate", "0,0,-90"}}) {
    std::vector<std::string> words = {"--picture", "-", "--format", "png", file};
    words.insert(words.end(), more.begin(), more.end());
    EXPECT_EQ(Run(words), 0) << err.str();
    EXPECT_TRUE(isPng(out.str(), 600));
    EXPECT_TRUE(different.insert(out.str()).second) << more[0] << " changed nothing";
  }
  EXPECT_EQ(Run({"--picture", folder / "b.png", "--size", "333", "--resolution", "300", "--transparent", file}), 0);
  EXPECT_TRUE(isPng(folder.Get("b.png"), 333));
  EXPECT_EQ(folder.Get("b.png")[25], 6) << "with an alpha channel";
  EXPECT_NE(folder.Get("b.png").find("pHYs"), std::string::npos);
  // An inch is 72 points.
  EXPECT_EQ(Run({"--picture", folder / "b.svg", "--size", "300", "--resolution", "300", "--transparent", file}), 0);
  EXPECT_NE(folder.Get("b.svg").find("width=\"72pt\""), std::string::npos);
  EXPECT_EQ(folder.Get("b.svg").find("<rect"), std::string::npos);
  EXPECT_EQ(Run({"--picture", folder / "c.jpg", "--renderer", "opengl", "--transparent", file}), 0) << err.str();
  EXPECT_TRUE(folder.Get("c.jpg").starts_with("\xff\xd8\xff"));
  EXPECT_EQ(Run({"--picture", folder / "d.svg", "--black-white", file}), 0)
      << "figures of lines have patterns of their own";
  EXPECT_EQ(Run({"--picture", folder / "c.svg", "--renderer", "opengl", file}), 1);
  EXPECT_FALSE(folder.Has("c.svg"));
}

TEST_F(CommandLineTest, SeveralFilesAreASheetWithAFrameForEach) {
  const std::string refined =
      folder.Put("refined.res", std::string(test::kSmallFile) + "REM R1 = 0.0364 for 345 Fo > 4sig(Fo)\n");
  const std::string cif = folder.Put("paper.cif",
                                     "data_x\n_cell_length_a 5\n_cell_length_b 5\n_cell_length_c 5\n"
                                     "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                                     "_refine_ls_R_factor_gt 0.0412\nloop_\n_atom_site_label\n_atom_site_fract_x\n"
                                     "_atom_site_fract_y\n_atom_site_fract_z\nC1 0.1 0.1 0.1\n");
  EXPECT_EQ(Run({"--picture", folder / "sheet.svg", refined, cif}), 0) << err.str();
  for (const char* words : {">refined<", ">R1 = 0.0364<", ">paper<", ">R1 = 0.0412<"})
    EXPECT_NE(folder.Get("sheet.svg").find(words), std::string::npos) << words;
  // What cannot be read has its frame and its line, and the others theirs.
  EXPECT_EQ(Run({"--picture", folder / "sheet.svg", folder.Put("bad.res", "TITL\n"), refined}), 1);
  EXPECT_TRUE(err.str().starts_with(folder / "bad.res: ")) << err.str();
  for (const char* words : {">bad<", "missing,", ">R1 = 0.0364<"})
    EXPECT_NE(folder.Get("sheet.svg").find(words), std::string::npos) << words;
  std::vector<std::string> many{"--picture", folder / "many.pdf"};
  many.insert(many.end(), 13, refined);
  EXPECT_EQ(Run(many), 0) << err.str();
  EXPECT_NE(folder.Get("many.pdf").find("/Count 2"), std::string::npos) << "twelve on a page";
  many[1] = folder / "many.png";
  EXPECT_EQ(Run(many), 1);
  EXPECT_EQ(Run({"--picture", folder / "a.pdf", "--frames", "stereo", file, file}), 2);
  EXPECT_EQ(Run({"--report", "atoms", file, file}), 2);
  EXPECT_EQ(Run({"--picture", folder / "packed.png", "--packing", "--rendition", "ball", refined}), 0) << err.str();
}

TEST_F(CommandLineTest, TimingIsTheLastLine) {
  EXPECT_EQ(Run({"--timing", "--picture", folder / "a.png", file}), 0);
  const std::regex line(
      "(.*\n)*read [0-9]+\\.[0-9]+ connect [0-9]+\\.[0-9]+ draw [0-9]+\\.[0-9]+ write "
      "[0-9]+\\.[0-9]+ atoms 8 bonds [0-9]+\n");
  EXPECT_TRUE(std::regex_match(err.str(), line)) << err.str();
}

TEST_F(CommandLineTest, GrownAtomsAreReadUnasked) {
  const std::string grown = std::string(test::kSmallFile) +
                            "\nREM Marvik GPWARNING : The following atoms were created either by GROW or PACK.\n\n"
                            "C1 1 0.9 0.9 0.9 11.0 0.05\nEND\n";
  EXPECT_EQ(Run({"--report", "atoms", folder.Put("grown.res", grown)}), 0);
  EXPECT_EQ(static_cast<size_t>(std::ranges::count(out.str(), '\n')), 10u) << out.str();
  EXPECT_NE(err.str().find(" - yes\n"), std::string::npos) << err.str();
}

TEST_F(CommandLineTest, TheElementTableOfThePackageIsRead) {
  std::filesystem::create_directory(folder / "other");
  folder.Put("other/sfac.tab",
             "6 C  br 0.1 ar 0.2 color 1 2 3  texture 0\n7 N  br 0.1 ar 0.2 color 1 2 3  texture 0\n");
  EXPECT_EQ(Run({"--report", "bonds", "--select", "C2", "--package-directory", folder / "other", file}), 0);
  EXPECT_EQ(std::ranges::count(out.str(), '\n'), 1) << "with such small radii nothing is bonded\n" << out.str();
}

}  // namespace
}  // namespace marvik
