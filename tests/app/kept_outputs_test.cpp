// Whatever the command line prints of the examples, as it was: reports, files of other formats, figures, findings.
#include "support/kept_outputs.h"

#include "app/command_line_fixture.h"

#include "support/structures.h"

namespace marvik {
namespace {

class KeptOutputs : public test::CommandLineRuns {
 protected:
  KeptOutputs() {
    for (const std::string& path : test::ExampleFiles()) {
      const std::string stem = path.substr(0, path.rfind('.'));
      for (const char* end : {".res", ".hkl"})
        if (FileContent file = ReadWholeFile(stem + end); file.opened) folder.Put(Name(stem) + end, file.content);
    }
  }
  static std::string Name(const std::string& path) { return path.substr(path.rfind('/') + 1); }
  // "~" is a blank within a word, OUT a file whose content belongs to the outcome.
  std::string OutcomeOf(const std::string& line, const std::string& file) {
    std::istringstream words(line);
    std::vector<std::string> all{std::istream_iterator<std::string>(words), {}};
    for (std::string& word : all) {
      std::ranges::replace(word, '~', ' ');
      for (size_t at = 0; (at = word.find("OUT", at)) != word.npos; at += folder.path.size() + 1)
        word.insert(at, folder.path);
    }
    all.push_back(folder / file);
    const int status = Run(all);
    std::string text = out.str() + err.str() + "status " + std::to_string(status) + folder.Get("OUT");
    std::filesystem::remove(folder / "OUT");
    for (size_t at = 0; (at = text.find(folder.path)) != text.npos;) text.erase(at, folder.path.size());
    return text;
  }
  // Each of the lines for each of the files.
  void Keep(const std::string& group, const std::vector<std::string>& files, const std::vector<std::string>& lines) {
    for (const std::string& file : files)
      for (const std::string& line : lines) test::ExpectKept(group, file + " " + line, OutcomeOf(line, file));
  }
};

TEST_F(KeptOutputs, OfReportsAndFormats) {
  std::vector<std::string> lines{"--lint", "--lint --json", "--layout standard --write - --format res"};
  for (const char* kind : {"atoms", "bonds", "angles", "torsions", "hydrogen-bonds", "contacts", "environment",
                           "hybrid", "peaks", "chirality", "voids"})
    for (const char* format : {"", " --json", " --csv"}) lines.push_back(std::string("--report ") + kind + format);
  for (const char* kind : {"planes", "plane", "weighted-plane", "centroid"})
    lines.push_back(std::string("--select $C --report ") + kind);
  for (const char* format : {"ins", "pdb", "ct", "inp", "wrl", "con"})
    lines.push_back(std::string("--write - --format ") + format);
  Keep("reports", {"azathiop.res", "whewell.res", "dolomite.res", "oligomer.res"}, lines);
}

TEST_F(KeptOutputs, OfFigures) {
  std::vector<std::string> lines;
  for (const char* more :
       {"--rendition wire",
        "--rendition ball",
        "--rendition ellipsoid",
        "--rendition pipes",
        "--look dark",
        "--look light",
        "--look classic",
        "--look classic --rendition ball",
        "--cell --rotate 20,30,40",
        "--packing",
        "--frames stereo",
        "--frames axes --trim",
        "--black-white",
        "--journal single-column",
        "--peaks on --rendition wire",
        "--commands grow;clip=1,-1",
        "--commands grow;depth-cue=90 --rendition ball",
        "--size 100 --resolution 300",
        "--background black",
        "--commands select=$C;invert-selection --rendition pipes",
        "--commands figure=colour-by=u~probability=0.3~hydrogens=u --label-report OUT",
        "--commands grow;figure=mates=pale~bonds=tapered~polyhedra=Cu,C --rendition ball",
        "--commands figure=colour-by=charge~safe-colours=on;view-a;save-recipe=OUT;reset-view;apply-recipe=OUT",
        "--commands grow;figure=colour-by=occupancy~shadow=ambient~size=300;save-style=OUT"})
    for (const char* format : {"svg", "eps"})
      lines.push_back(std::string("--labels off --picture - --format ") + format + " " + more);
  Keep("figures", {"azathiop.res", "whewell.res", "dolomite.res"}, lines);
  Keep("figures", {"oligomer.res", "whewell.res"}, {"--labels off --commands density --picture - --format svg"});
}

TEST_F(KeptOutputs, OfRealFiles) {
  const auto files = test::FilesBelow(test::RealDataFolder(), {"res", "ins", "cif"});
  if (!test::AreKept(files)) GTEST_SKIP() << "MARVIK_REAL_DATA does not name the files that the marks are of";
  std::vector<std::string> lines{"--lint --json",
                                 "--check",
                                 "--publication",
                                 "--report-document - --template tables --format html",
                                 "--report-document - --template experimental --format md",
                                 "--layout standard --write - --format res",
                                 "--write - --format pdb",
                                 "--labels off --rendition ellipsoid --cell --picture - --format svg",
                                 "--labels off --commands grow;show-hydrogen-bonds --picture - --format eps",
                                 "--commands hydrogens --report atoms",
                                 "--commands hybridize --report hybrid"};
  for (const char* kind : {"atoms", "bonds", "angles", "torsions", "hydrogen-bonds", "contacts", "environment",
                           "weighted-plane", "peaks", "chirality", "voids"})
    lines.push_back(std::string("--json --report ") + kind);
  for (const std::string& path : files) {
    const std::string file = Name(path);
    const std::string data = path.substr(0, path.size() - 3) + "hkl";
    folder.Put(file, ReadWholeFile(path).content);
    if (FileContent hkl = ReadWholeFile(data); hkl.opened) folder.Put(Name(data), hkl.content);
    std::string all;
    for (const std::string& line : lines) all += "== " + line + '\n' + OutcomeOf(line, file);
    test::ExpectKept("real", file, all);
  }
}

}  // namespace
}  // namespace marvik
