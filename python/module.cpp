// The compiled part of the Python package: it hands arrays and bytes over, and python/marvik gives them their names.
#include <complex>
#include <exception>
#include <pybind11/complex.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <sstream>

#include "app/cli/batch_session.h"
#include "app/reports.h"
#include "app/version.h"
#include "base/files.h"
#include "chem/bonds/crowding.h"
#include "chem/geometry/atom_geometry.h"
#include "chem/geometry/structure_geometry.h"
#include "crystal/space_group.h"
#include "crystal/symmetry.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "model/coded_values.h"
#include "phase/completion/completion.h"
#include "refine/job/includes.h"
#include "refine/job/session.h"
#include "refine/output/refined_uncertainties.h"

namespace py = pybind11;

namespace marvik {
namespace {

struct Fault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// An array of these numbers, `columns` to a row; one-dimensional for 0.
template <class Number>
py::array_t<Number> ArrayOf(const std::vector<Number>& numbers, size_t columns = 0) {
  std::vector<size_t> shape{numbers.size()};
  if (columns > 0) shape = {numbers.size() / columns, columns};
  py::array_t<Number> array(shape);
  std::copy(numbers.begin(), numbers.end(), array.mutable_data());
  return array;
}

py::array_t<double> CellOf(const CellParameters& c) {
  return ArrayOf<double>({c.a, c.b, c.c, c.alpha, c.beta, c.gamma});
}

py::dict AtomsOf(const Document& document, const UncertaintySource* source) {
  std::vector<std::string> names, elements;
  std::vector<double> xyz, xyzSu, cartesian, occupancy, occupancySu, u, uSu, ueq;
  std::vector<int> part, residue;
  const auto known = [](double su) { return su > 0.0 ? su : kNone; };
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const AtomUncertainty* su = source && !atom->IsRiding() ? source->Of(*atom) : nullptr;
    names.push_back(Utf8Of(atom->name));
    elements.emplace_back(atom->IsPeak() ? "Q" : atom->element->Symbol());
    for (int i = 0; i < 3; ++i) {
      xyz.push_back(atom->fract[i]);
      xyzSu.push_back(su ? known(su->fract[static_cast<size_t>(i)]) : kNone);
      cartesian.push_back(atom->position[i]);
    }
    std::vector<double> listed = ListedU(document, *atom);
    for (size_t i = 0; i < 6; ++i) {
      u.push_back(i < listed.size() ? listed[i] : kNone);
      uSu.push_back(su && i < listed.size() ? known(su->u[i]) : kNone);
    }
    ueq.push_back(ListedUeq(document, *atom));
    occupancy.push_back(DecodedOccupancy(*atom, document.instructions));
    occupancySu.push_back(su ? known(su->occupancy) : kNone);
    part.push_back(atom->part);
    residue.push_back(atom->residue < 0 ? 0 : document.residues[static_cast<size_t>(atom->residue)].number);
  }
  py::dict atoms;
  atoms["name"] = names;
  atoms["element"] = elements;
  atoms["xyz"] = ArrayOf(xyz, 3);
  atoms["xyz_su"] = ArrayOf(xyzSu, 3);
  atoms["cartesian"] = ArrayOf(cartesian, 3);
  atoms["occupancy"] = ArrayOf(occupancy);
  atoms["occupancy_su"] = ArrayOf(occupancySu);
  atoms["u"] = ArrayOf(u, 6);
  atoms["u_su"] = ArrayOf(uSu, 6);
  atoms["ueq"] = ArrayOf(ueq);
  atoms["part"] = ArrayOf(part);
  atoms["residue"] = ArrayOf(residue);
  return atoms;
}

py::dict ValuesOf(const Document& document, const std::string& kind, const UncertaintySource* source) {
  if (const AtomRecord* crowded = FindCrowded(document))
    throw Fault(CrowdedText(*crowded) + "no geometry can be listed.");
  const StructureBonds bonds(document);
  const GeometryUncertainty uncertainty(document, source);
  std::vector<GeometryValue> values;
  if (kind == "bonds") {
    values = BondsOf(document, bonds, uncertainty);
  } else if (kind == "angles") {
    values = AnglesOf(document, bonds, uncertainty);
  } else if (kind == "torsions") {
    values = TorsionsOf(document, bonds, uncertainty);
  } else {
    throw Fault("bonds, angles or torsions, not " + kind);
  }
  py::list atoms, symmetry;
  std::vector<double> value, su;
  for (const GeometryValue& one : values) {
    py::tuple names(one.sites.size()), codes(one.sites.size());
    for (size_t i = 0; i < one.sites.size(); ++i) {
      names[i] = Utf8Of(one.sites[i].atom->name);
      codes[i] = SymmetryText(one.sites[i].symmetryCode);
    }
    atoms.append(names);
    symmetry.append(codes);
    value.push_back(one.value);
    su.push_back(one.su.value_or(kNone));
  }
  py::dict result;
  result["atoms"] = atoms;
  result["symmetry"] = symmetry;
  result["value"] = ArrayOf(value);
  result["su"] = ArrayOf(su);
  return result;
}

// Lets Ctrl+C end long work that goes on without Python's lock, and passes on what the work says. Throws what Python
// raised.
class Listener {
 public:
  explicit Listener(py::object told) : told_(std::move(told)) {}
  template <class... What>
  void operator()(const What&... what) const {
    const py::gil_scoped_acquire python;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    if (!told_.is_none()) told_(what...);
  }

 private:
  py::object told_;
};

// A file as the command line has it, kept open.
class OpenStructure {
 public:
  explicit OpenStructure(const std::string& path) : options_(Parsed({"--report", "atoms"}, path)) {
    session_ = std::make_unique<BatchSession>(options_, "", out_, err_);
    if (!session_->Open()) Fail();
  }

  // The command line's words for actions, without the file: what it would print. Findings are no fault.
  py::bytes Do(const std::vector<std::string>& words) {
    options_ = Parsed(words, options_.file);
    Workbench& bench = session_->bench;
    bench.RenditionMode = options_.rendition.value_or(bench.RenditionMode);
    bench.LabelsOn = options_.labels.value_or(bench.LabelsOn);
    bench.ShowCell |= options_.cell;
    if (options_.look) bench.SetLook(*options_.look);
    out_.str("");
    err_.str("");
    session_->Turn();
    for (const CommandStep& step : options_.commands)
      if (RunCommand(bench, step.id, step.argument) == Outcome::Failed) Fail();
    for (const BatchAction& action : options_.actions)
      if (!action.row->run || (!action.row->run(*session_, action) && out_.str().empty())) Fail();
    return out_.str();
  }

  std::string Said() const { return Utf8Of(err_.str()); }
  const Document& Model() const { return session_->bench.document; }
  py::dict AtomArrays() { return AtomsOf(Model(), Uncertainties().get()); }
  py::dict Geometry(const std::string& kind) { return ValuesOf(Model(), kind, Uncertainties().get()); }
  py::bytes Instructions() {
    std::string text;
    if (!ComposeInstructionText(session_->bench.document, text, session_->messages, {})) Fail();
    return text;
  }

 private:
  static CommandLineOptions Parsed(std::vector<std::string> words, const std::string& path) {
    words.push_back(path);
    CommandLineOptions options = ParseCommandLine(words);
    if (!options.error.empty()) throw Fault(options.error);
    return options;
  }
  [[noreturn]] void Fail() const { throw Fault(Said()); }
  std::shared_ptr<const UncertaintySource> Uncertainties() {
    return FindUncertainties(Model(), session_->bench.reports.uncertainties);
  }

  CommandLineOptions options_;  // the session looks at these
  std::ostringstream out_, err_;
  std::unique_ptr<BatchSession> session_;
};

py::dict SymmetryOf(const Document& document) {
  std::vector<int> rotations;
  std::vector<double> translations;
  std::vector<std::string> texts;
  for (const SymmetryOperator& op : document.symmetry) {
    for (size_t row = 0; row < 3; ++row) {
      rotations.insert(rotations.end(), op.r[row].begin(), op.r[row].end());
      translations.push_back(op.Translation(row));
    }
    texts.push_back(OperatorText(op));
  }
  py::dict result;
  result["rotations"] = ArrayOf(rotations).reshape({-1, 3, 3});
  result["translations"] = ArrayOf(translations, 3);
  result["text"] = texts;
  std::string problem;
  const auto group = MakeSpaceGroup(document.latticeCode, document.symmetry, problem);
  result["space_group"] = group ? group->symbol : "";
  result["number"] = group ? group->number : 0;
  return result;
}

// A refinement in memory.
class Refinement {
 public:
  Refinement(const std::string& instructions, const std::string& reflections, const std::string& directory,
             std::optional<int> cycles, const py::object& progress) {
    const Listener listener(progress);
    const py::gil_scoped_release others;
    const LineSink print = [&](const std::string& line) {
      said_ += line + "\n";
      listener(Utf8Of(line));
    };
    PrintedMessages messages(print);
    if (!ReadInstructionText(s_.document, TakeIncludes(instructions, directory, s_.notes), messages))
      throw Fault("not an instruction file with a possible cell\n" + said_);
    s_.document.WorkingDirectory = directory;
    HklFile file = ParseHklFile(reflections, ParseHklf(s_.document.instructions.hklfLine));
    std::string problem;
    if (!PrepareSession(s_, file.reflections, print, problem)) throw Fault(problem);
    s_.job.cycles = cycles.value_or(s_.job.cycles);
    if (!RefineSession(s_, print)) throw Fault(s_.result.problem);
    text_ = ComposeResult(s_, messages);
    if (s_.result.covariance.Size() > 0)
      known_ = std::make_unique<RefinedUncertainties>(s_.structure, s_.parametrisation, s_.result.covariance,
                                                      CellSigmas(s_.document.instructions.zerrLine));
  }

  py::bytes Text() const { return text_; }
  std::string Said() const { return Utf8Of(said_); }
  py::dict Figures() const {
    const RefinementResult& r = s_.result;
    py::dict figures;
    figures["r1"] = r.final.r1;
    figures["r1_all"] = r.final.r1All;
    figures["wr2"] = r.final.wR2;
    figures["goof"] = r.final.goof;
    figures["restrained_goof"] = r.restrainedGoof;
    figures["data"] = r.final.all;
    figures["strong"] = r.final.strong;
    figures["parameters"] = r.parameters;
    figures["restraints"] = r.restraints;
    figures["last_shift"] = r.lastShift;
    figures["problem"] = r.problem;
    return figures;
  }
  py::dict Reflections() const {
    const Calculated& c = s_.result.calculated;
    std::vector<int> hkl;
    std::vector<std::complex<double>> f;
    for (size_t i = 0; i < c.fo2.size(); ++i) {
      const Miller& h = s_.observations.indices[0][i];
      hkl.insert(hkl.end(), h.begin(), h.end());
      f.emplace_back(c.a[i], c.b[i]);
    }
    py::dict reflections;
    reflections["hkl"] = ArrayOf(hkl, 3);
    reflections["fo2"] = ArrayOf(c.fo2);
    reflections["fo2_su"] = ArrayOf(c.sigma);
    reflections["fc2"] = ArrayOf(c.fc2);
    reflections["fc"] = ArrayOf(f);
    return reflections;
  }
  // wR2, R1, S and the largest shift over its s.u. of each cycle.
  py::array_t<double> Cycles() const {
    std::vector<double> rows;
    for (const CycleReport& c : s_.result.cycles)
      rows.insert(rows.end(), {c.before.wR2, c.before.r1, c.before.goof, c.largestShift});
    return ArrayOf(rows, 4);
  }
  py::tuple Peaks(bool holes) const {
    std::vector<double> xyz, height;
    for (const Peak& peak : holes ? s_.holes : s_.peaks) {
      for (int i = 0; i < 3; ++i) xyz.push_back(peak.x[i]);
      height.push_back(peak.height);
    }
    return py::make_tuple(ArrayOf(xyz, 3), ArrayOf(height));
  }
  py::array_t<float> Map(const std::string& kind) const {
    const std::map<std::string, MapKind> kinds{
        {"difference", MapKind::Difference}, {"observed", MapKind::Observed}, {"2fo-fc", MapKind::TwiceObserved}};
    const auto found = kinds.find(kind);
    if (found == kinds.end()) throw Fault("difference, observed or 2fo-fc, not " + kind);
    const DensityMap map = MapOf(s_, found->second);
    py::array_t<float> array({map.size[0], map.size[1], map.size[2]});
    std::copy(map.values.begin(), map.values.end(), array.mutable_data());
    return array;
  }
  py::dict AtomArrays() const { return AtomsOf(s_.document, known_.get()); }
  py::dict Geometry(const std::string& kind) const { return ValuesOf(s_.document, kind, known_.get()); }

 private:
  Session s_;
  std::string text_, said_;
  std::unique_ptr<RefinedUncertainties> known_;
};

py::list SolveProblem(const std::string& instructions, const std::string& reflections, bool complete, bool asGiven,
                      unsigned seed, const py::object& progress) {
  phase::Problem problem;
  std::string sentence;
  if (!phase::MakeProblem(instructions, reflections, problem, sentence)) throw Fault(sentence);
  const Listener listener(progress);
  std::exception_ptr raised;
  phase::SolveOptions options;
  options.groupAsGiven = asGiven;
  options.seed = seed;
  options.progress = [&](const std::string& what, double share) {
    try {
      listener(what, share);
    } catch (...) {
      raised = std::current_exception();
    }
    return !raised;
  };
  phase::Solution solution;
  phase::Completion completion;
  {
    const py::gil_scoped_release others;
    solution = phase::Solve(problem, options);
    if (solution.solved && complete && !raised)
      completion = phase::Complete(problem, solution.candidates[0], options.progress);
  }
  if (raised) std::rethrow_exception(raised);
  if (!solution.solved) throw Fault(solution.sentence);
  py::list found;
  const auto add = [&](const std::string& text, const std::string& what, const std::string& group, double r1,
                       double wR2) {
    py::dict model;
    model["text"] = py::bytes(text);
    model["what"] = what;
    model["space_group"] = group;
    model["r1"] = r1;
    model["wr2"] = wR2;
    found.append(model);
  };
  if (!completion.steps.empty()) {
    const phase::CompletionStep& last = completion.steps.back();
    add(last.text, "completed", solution.candidates[0].group.symbol, last.r1, last.wR2);
  }
  for (const phase::Candidate& c : solution.candidates)
    add(ComposeInstructions(problem, c), "candidate", c.group.symbol, c.r1, c.wR2);
  return found;
}

}  // namespace
}  // namespace marvik

PYBIND11_MODULE(_marvik, module) {
  using namespace marvik;
  py::register_exception<Fault>(module, "Error");
  module.attr("__version__") = kProgramVersion;
  py::class_<OpenStructure>(module, "OpenStructure")
      .def(py::init<const std::string&>())
      .def("do", &OpenStructure::Do)
      .def_property_readonly("said", &OpenStructure::Said)
      .def_property_readonly("title", [](const OpenStructure& s) { return Utf8Of(s.Model().instructions.title); })
      .def_property_readonly("cell", [](const OpenStructure& s) { return CellOf(s.Model().cell); })
      .def_property_readonly("cell_su",
                             [](const OpenStructure& s) {
                               const auto su = CellSigmas(s.Model().instructions.zerrLine);
                               return ArrayOf<double>({su.begin(), su.end()});
                             })
      .def("atoms", &OpenStructure::AtomArrays)
      .def("geometry", &OpenStructure::Geometry)
      .def("symmetry", [](const OpenStructure& s) { return SymmetryOf(s.Model()); })
      .def("instructions", &OpenStructure::Instructions);
  py::class_<Refinement>(module, "Refinement")
      .def(
          py::init<const std::string&, const std::string&, const std::string&, std::optional<int>, const py::object&>())
      .def_property_readonly("text", &Refinement::Text)
      .def_property_readonly("said", &Refinement::Said)
      .def("figures", &Refinement::Figures)
      .def("cycles", &Refinement::Cycles)
      .def("reflections", &Refinement::Reflections)
      .def("peaks", &Refinement::Peaks)
      .def("map", &Refinement::Map)
      .def("atoms", &Refinement::AtomArrays)
      .def("geometry", &Refinement::Geometry);
  module.def("solve", &SolveProblem);
}
