#include <benchmark/benchmark.h>
#include <random>
#include <string>
#include <vector>

#include "draw/canvas/png_writer.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/labels/label_font.h"
#include "draw/view/view_state.h"

namespace marvik {
namespace {

constexpr int kSide = 900;

// Half bonds of a crowded wire frame: 3 to 30 pixels long, anywhere.
std::vector<LinePiece> HalfBonds(size_t count) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> place(0, kSide - 1);
  std::uniform_int_distribution<int> step(-12, 12);
  std::vector<LinePiece> pieces(count);
  for (LinePiece& p : pieces) {
    p.x1 = static_cast<int16_t>(place(random));
    p.y1 = static_cast<int16_t>(place(random));
    p.x2 = static_cast<int16_t>(p.x1 + step(random));
    p.y2 = static_cast<int16_t>(p.y1 + step(random));
  }
  return pieces;
}

void ThinLines(benchmark::State& state) {
  Image image(kSide, kSide);
  ScanlineCanvas canvas(image, nullptr, {state.range(1) != 0});
  const auto pieces = HalfBonds(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    canvas.Clear({});
    canvas.Lines(pieces, {{205, 205, 0}});
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ThinLines)->ArgNames({"pieces", "smooth"})->Args({200000, 0})->Args({20000, 0})->Args({20000, 1});

void ThickLines(benchmark::State& state) {
  Image image(kSide, kSide);
  ScanlineCanvas canvas(image, nullptr, {state.range(0) != 0});
  const auto pieces = HalfBonds(10000);
  for (auto _ : state) {
    canvas.Lines(pieces, {{205, 205, 0}, 5.0});
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(ThickLines)->ArgName("smooth")->Arg(0)->Arg(1);

void Ellipses(benchmark::State& state) {
  Image image(kSide, kSide);
  ScanlineCanvas canvas(image, nullptr, {state.range(0) != 0});
  const Pen outline{{255, 255, 255}, state.range(1) ? 1.0 : 0.0};
  const auto places = HalfBonds(10000);
  for (auto _ : state) {
    for (const LinePiece& p : places) {
      canvas.FillEllipse({{p.x1 + 0.3, p.y1 + 0.6}, {10.0, 2.0}, {-2.0, 10.0}}, {40, 120, 200}, outline);
    }
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(Ellipses)->ArgNames({"smooth", "outline"})->Args({0, 0})->Args({0, 1})->Args({1, 0})->Args({1, 1});

void Strips(benchmark::State& state) {
  Image image(kSide, kSide);
  ScanlineCanvas canvas(image);
  const auto places = HalfBonds(10000);
  for (auto _ : state) {
    for (const LinePiece& p : places) {
      const double x = p.x1;
      const double y = p.y1;
      const CanvasPoint corners[] = {{x, y}, {x + 20.2, y + 15.1}, {x + 18.1, y + 18.4}, {x - 2.1, y + 3.3}};
      canvas.Polygon(corners, {200, 60, 60}, {{}, 0.0});
    }
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(Strips);

void Arcs(benchmark::State& state) {
  Image image(kSide, kSide);
  ScanlineCanvas canvas(image);
  const auto places = HalfBonds(1000);
  for (auto _ : state) {
    for (const LinePiece& p : places) {
      canvas.Arc({{p.x1 + 0.3, p.y1 + 0.6}, {10.0, 2.0}, {-1.0, 6.0}}, 0.0, 3.14, {{255, 255, 255}});
    }
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(Arcs);

void Balls(benchmark::State& state) {
  Image image(kSide, kSide);
  ScanlineCanvas canvas(image);
  const double radius = static_cast<double>(state.range(0));
  std::vector<Disc> discs;
  for (int i = 0; i < 8; ++i) {
    discs.push_back({{-0.4 * i, -0.4 * i}, radius - i * radius / 8, {static_cast<uint8_t>(100 + 20 * i), 60, 60}});
  }
  const auto places = HalfBonds(10000);
  for (auto _ : state) {
    for (const LinePiece& p : places) {
      canvas.DiscStack({static_cast<double>(p.x1), static_cast<double>(p.y1)}, discs);
    }
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(Balls)->ArgName("radius")->Arg(8)->Arg(20);

void FontStart(benchmark::State& state) {
  for (auto _ : state) {
    LabelFont font(13.0);
    benchmark::DoNotOptimize(font.Width("C12 H13A O2"));
  }
}
BENCHMARK(FontStart);

void Labels(benchmark::State& state) {
  Image image(kSide, kSide);
  LabelFont font(13.0);
  ScanlineCanvas canvas(image, &font);
  const auto places = HalfBonds(10000);
  for (auto _ : state) {
    for (const LinePiece& p : places) {
      canvas.Text({static_cast<double>(p.x1), static_cast<double>(p.y1)}, TextAnchor::BottomLeft, "C12A",
                  Rgb{200, 0, 0});
    }
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(Labels);

void Project(benchmark::State& state) {
  ViewState view;
  view.RotateView(33.0, {1, 2, 3}, true);
  view.FitView(40.0, std::nullopt);
  std::vector<Cartesian> atoms(100000);
  std::mt19937 random(1);
  std::uniform_real_distribution<double> place(-40.0, 40.0);
  for (Cartesian& atom : atoms) atom = {place(random), place(random), place(random)};
  std::vector<PixelPoint> pixels(atoms.size());
  for (auto _ : state) {
    for (size_t i = 0; i < atoms.size(); ++i) pixels[i] = view.ToPixel(view.TransformPoint(atoms[i]));
    benchmark::DoNotOptimize(pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(atoms.size()));
}
BENCHMARK(Project);

// A picture as the program makes it: dark, some balls and lines.
void Png(benchmark::State& state) {
  Image image(600, 600);
  ScanlineCanvas canvas(image);
  std::vector<Disc> discs;
  for (int i = 0; i < 8; ++i) discs.push_back({{-0.7 * i, -0.7 * i}, 20.0 - 2.2 * i, {200, 60, 60}});
  for (const LinePiece& p : HalfBonds(120)) {
    canvas.Line({p.x1 * 0.6, p.y1 * 0.6}, {p.x1 * 0.6 + 40, p.y1 * 0.6 + 20}, {{180, 180, 180}, 5.0});
    canvas.DiscStack({p.x1 * 0.6, p.y1 * 0.6}, discs);
  }
  size_t size = 0;
  for (auto _ : state) size = EncodePng(image)->size();
  state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(Png)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace marvik
