#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>

#include "chem/bonds/connectivity.h"
#include "crystal/cell_metric.h"
#include "crystal/symmetry.h"
#include "edit/symmetry_commands.h"
#include "files/res/reader.h"
#include "files/res/writer.h"
#include "model/undo.h"

namespace marvik {
namespace {

// A molecular crystal of so many atoms, as scripts/make_big_model.py writes it.
const std::string& ModelText(int64_t atoms) {
  static std::map<int64_t, std::string> texts;
  std::string& text = texts[atoms];
  if (text.empty()) {
    const std::string command = "python3 '" MARVIK_SCRIPTS "/make_big_model.py' " + std::to_string(atoms);
    if (FILE* pipe = popen(command.c_str(), "r")) {
      char block[65536];
      for (size_t n; (n = fread(block, 1, sizeof block, pipe)) > 0;) text.append(block, n);
      pclose(pipe);
    }
  }
  return text;
}

// Nothing to measure without the model.
bool Load(benchmark::State& state, Document& document) {
  RecordingMessages messages;
  InitElementTable(document.elements, false);
  if (!ReadInstructionText(document, ModelText(state.range(0)), messages)) {
    state.SkipWithError("the model could not be made");
    return false;
  }
  Connect(document, messages);
  return true;
}

void Read(benchmark::State& state) {
  Document document;
  if (!Load(state, document)) return;
  RecordingMessages messages;
  for (auto _ : state) ReadInstructionText(document, ModelText(state.range(0)), messages);
}
BENCHMARK(Read)->Arg(2000)->Arg(100000)->Unit(benchmark::kMillisecond);

void Write(benchmark::State& state) {
  Document document;
  if (!Load(state, document)) return;
  RecordingMessages messages;
  std::string text;
  WriteOptions options;
  options.layout = state.range(1) ? FileLayout::Standard : FileLayout::AsRead;
  for (auto _ : state) ComposeInstructionText(document, text, messages, options);
}
BENCHMARK(Write)->ArgNames({"atoms", "standard"})->ArgsProduct({{100000}, {0, 1}})->Unit(benchmark::kMillisecond);

void Connectivity(benchmark::State& state) {
  Document document;
  if (!Load(state, document)) return;
  RecordingMessages messages;
  for (auto _ : state) Connect(document, messages);
}
BENCHMARK(Connectivity)->Arg(9920)->Arg(99200)->Unit(benchmark::kMillisecond);

// Fifty-atom chains that stand on a mirror plane, so that GROW doubles them.
void HalfMolecules(Document& document, int64_t atoms) {
  constexpr int kLength = 50;
  constexpr double kBond = 1.4, kSpacing = 5.0;  // Å
  RecordingMessages messages;
  InitElementTable(document.elements, false);
  document.cell = {300.0, 500.0, 500.0, 90.0, 90.0, 90.0};
  BuildOrthogonalisation(document.cell, document.matrix);
  document.symmetry = ListOperators(-1, {"-X,Y,Z"});
  for (int64_t i = 0; i < atoms; ++i) {
    AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
    atom->name = "C" + std::to_string(i % kLength);
    atom->element = &document.elements[6];
    const int64_t chain = i / kLength;
    atom->fract = {(0.5 * kBond + kBond * static_cast<double>(i % kLength)) / document.cell.a,
                   kSpacing * static_cast<double>(chain % 100) / document.cell.b,
                   kSpacing * static_cast<double>(chain / 100) / document.cell.c};
    atom->position = document.matrix * atom->fract;
    document.atoms.LinkAtTail(atom);
  }
  Connect(document, messages);
}

// The argument is the number of atoms that stand there in the end.
void GrowTo(benchmark::State& state) {
  Document document;
  RecordingMessages messages;
  HalfMolecules(document, state.range(0) / 2);
  size_t added = 0;
  for (auto _ : state) {
    added = Grow(document, messages);
    state.PauseTiming();
    Trim(document, messages);
    state.ResumeTiming();
  }
  if (added != static_cast<size_t>(state.range(0)) / 2) state.SkipWithError("it did not double");
}
BENCHMARK(GrowTo)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void PackTo(benchmark::State& state) {
  Document document;
  RecordingMessages messages;
  HalfMolecules(document, state.range(0) / 2);
  size_t added = 0;
  for (auto _ : state) {
    added = Pack(document, {}, messages).added;
    state.PauseTiming();
    Trim(document, messages);
    state.ResumeTiming();
  }
  if (added == 0) state.SkipWithError("nothing was packed");
}
BENCHMARK(PackTo)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// One edit, its snapshot taken before, and the way back.
void UndoOneEdit(benchmark::State& state) {
  Document document;
  if (!Load(state, document)) return;
  UndoHistory history;
  double shift = 0.0;
  for (auto _ : state) {
    history.Begin(document, "Edit");
    document.atoms.head->fract.x = shift += 1e-6;
    history.Settle(document);
    history.Undo(document);
  }
}
BENCHMARK(UndoOneEdit)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace marvik
