#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <string>

#include "draw/canvas/scanline_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/labels/label_placer.h"
#include "draw/renderer/interactive_renderer.h"
#include "gl/gl_picture.h"

namespace marvik {
namespace {

constexpr int kSide = 900;

// A made-up molecular solid: chains of ten atoms, each bonded to the last in a new direction, scattered over a cube
// with the density of an organic crystal.
Document Chains(int atoms) {
  Document document;
  RecordingMessages messages;
  InitElementTable(document.elements, false);
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  const double edge = std::cbrt(atoms * 12.0);
  std::uniform_real_distribution<double> place(0.0, edge);
  constexpr int kRows[] = {6, 6, 7, 6, 8, 6, 1, 6, 1, 1};
  Cartesian at;
  for (int i = 0; i < atoms; ++i) {
    AtomRecord* atom = document.atoms.CreateAtom(document.elements, messages);
    const int row = kRows[i % 10];
    atom->element = &document.elements[row];
    atom->name = std::string(document.elements[row].Symbol()) + std::to_string(i % 1000);
    at = i % 10 == 0 ? Cartesian{place(random), place(random), place(random)}
                     : at + Normalised(Cartesian{normal(random), normal(random), normal(random)}) * 1.4;
    atom->position = at;
    if (i % 10 != 0) document.atoms.PushBond(document.atoms.tail, atom, messages);
    atom->uCount = row == 1 ? 1 : 6;
    atom->u = {0.04, 0.05, 0.03, 0.004, -0.006, 0.002};
    document.atoms.LinkAtTail(atom);
  }
  return document;
}

void Frame(benchmark::State& state) {
  Document document = Chains(static_cast<int>(state.range(0)));
  ViewState view;
  view.drawingSize = kSide;
  ResetView(view, document);
  RenderOptions options;
  options.mode = static_cast<int>(state.range(1));
  options.labels = state.range(2) != 0;
  Image image(kSide, kSide);
  LabelFont font(12.0);
  ScanlineCanvas canvas(image, &font);
  InteractiveRenderer renderer;
  for (auto _ : state) {
    view.RotateView(1.0, {0, 1, 0}, true);
    renderer.Render(document, view, options, canvas, nullptr);
    benchmark::DoNotOptimize(image.pixels.data());
  }
}
BENCHMARK(Frame)
    ->ArgNames({"atoms", "mode", "labels"})
    ->Unit(benchmark::kMillisecond)
    ->Args({100, kBallAndStick, 1})
    ->Args({100, kThermalEllipsoid, 1})
    ->Args({1500, kBallAndStick, 1})
    ->Args({10000, kWireFrame, 0})
    ->Args({10000, kBallAndStick, 0})
    ->Args({10000, kBallAndStick, 1})
    ->Args({10000, kThermalEllipsoid, 0})
    ->Args({10000, kPipes, 0})
    ->Args({20000, kWireFrame, 1})
    ->Args({20000, kBallAndStick, 1})
    ->Args({100000, kWireFrame, 0})
    ->Args({100000, kWireFrame, 1});

// Labels of all atoms of a made-up solid in a figure whose area is `room` times that of the labels.
void PlaceLabels(benchmark::State& state) {
  const auto count = static_cast<size_t>(state.range(0));
  const CanvasPoint size{22.0, 10.0};
  const double side = std::sqrt(static_cast<double>(count) * size.x * size.y * static_cast<double>(state.range(1)));
  const Document document = Chains(static_cast<int>(count));
  const double edge = std::cbrt(static_cast<double>(count) * 12.0);
  const double scale = side / edge;
  std::vector<LabelRequest> labels;
  std::vector<EllipseShape> bodies;
  std::vector<LabelStick> sticks;
  const auto at = [&](const AtomRecord& atom) { return CanvasPoint{atom.position.x * scale, atom.position.y * scale}; };
  for (const AtomRecord* atom = document.atoms.head; atom; atom = atom->next) {
    bodies.push_back({at(*atom), {0.2 * scale, 0.0}, {0.0, 0.15 * scale}});
    LabelRequest& label = labels.emplace_back();
    label.size = size;
    label.body = bodies.back();
    label.importance = static_cast<int>(labels.size() % 3);
    if (!atom->bonds) continue;
    sticks.push_back({at(*atom), at(*atom->bonds->partner), 0.05 * scale, false});
  }
  LabelPlacer placer;
  int64_t shown = 0;
  for (auto _ : state)
    shown = std::ranges::count_if(placer.Place(labels, bodies, sticks, {0, 0}, {side, side}, 2.0), &LabelPlace::shown);
  state.counters["shown"] = static_cast<double>(shown);
}
BENCHMARK(PlaceLabels)->ArgNames({"labels", "room"})->Unit(benchmark::kMillisecond)->Args({1000, 30})->Args({1000, 5});

// The context is made anew for each picture, as in the program.
void OpenGlPicture(benchmark::State& state) {
  Document document = Chains(static_cast<int>(state.range(0)));
  ViewState view;
  ResetView(view, document);
  GlPictureOptions options;
  options.mode = static_cast<int>(state.range(1));
  options.settings = DefaultOpenGlSettings();
  options.settings.layerCount = static_cast<int>(state.range(3));
  options.labels = false;
  options.direct = state.range(4) != 0;
  for (auto _ : state) {
    const GlPicture picture =
        RenderGlPicture(document, view, static_cast<int>(state.range(2)), options, nullptr, nullptr);
    if (!picture.image) state.SkipWithError(picture.error.c_str());
  }
}
BENCHMARK(OpenGlPicture)
    ->ArgNames({"atoms", "mode", "size", "layers", "direct"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Args({60, kThermalEllipsoid, 600, 1, 0})
    ->Args({60, kThermalEllipsoid, 600, 4, 0})
    ->Args({60, kThermalEllipsoid, 600, 12, 0})
    ->Args({60, kThermalEllipsoid, 600, 12, 1})
    ->Args({60, kThermalEllipsoid, 600, 40, 0})
    ->Args({60, kThermalEllipsoid, 2000, 12, 0})
    ->Args({500, kBallAndStick, 600, 12, 0})
    ->Args({5000, kBallAndStick, 600, 12, 0})
    ->Args({5000, kBallAndStick, 2000, 12, 0});

}  // namespace
}  // namespace marvik
