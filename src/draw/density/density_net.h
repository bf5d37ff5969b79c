#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/vec3.h"
#include "crystal/crystal.h"
#include "crystal/density_map.h"
#include "draw/canvas/canvas.h"

namespace marvik {

enum class NetTone : uint8_t { Plus, Minus, Observed, Zero };
inline constexpr size_t kNetTones = 4;
// Green and red, blue and orange for colour-blind eyes; blue for maps that are not differences; grey for zero.
Rgb ColourOf(NetTone tone, bool onLight, bool safe);

// Lines of electron density in the model's frame, Å: nets on surfaces of one density, contours in a plane with texts
// that name their levels.
struct NetLine {
  Cartesian a;
  Cartesian b;
  NetTone tone = NetTone::Plus;
};
struct NetText {
  Cartesian at;
  std::string text;
  NetTone tone = NetTone::Plus;
};
struct DensityNet {
  std::vector<NetLine> lines;
  std::vector<NetText> texts;
  bool whole = true;  // false: there would have been more lines than kMostNetLines
};
inline constexpr size_t kMostNetLines = 1000000;

// The net where the density is `level` (e/Å³; of a negative level what is below it), no further than `radius` Å from
// one of the places: section contours in the three sets of planes of the map's grid. Where the box about all places is
// vast nothing is drawn, and the net is not whole.
void AddNet(const DensityMap& map, const OrthogonalisationMatrix& matrix, std::span<const Cartesian> around,
            double radius, double level, NetTone tone, DensityNet& net);

// A rectangle: origin + s·u + t·v, s from 0 to width, t from 0 to height; u and v are unit vectors at right angles.
struct SectionPlane {
  Cartesian origin;
  Cartesian u;
  Cartesian v;
  double width = 0.0;  // Å
  double height = 0.0;
};
// That through the places' plane of least squares with this normal, `margin` Å around them, the first two along u.
// Without a width where there are fewer than three.
SectionPlane SectionThrough(std::span<const Cartesian> places, const Cartesian& normal, double margin);

// Contours in the plane at the multiples of `step` e/Å³, each level named once and again; 0 for one, two or five times
// a power of ten that gives some eight. The step is given back, 0 where the plane is flat. Without `difference` the
// levels are above zero.
double AddContours(const DensityMap& map, const OrthogonalisationMatrix& matrix, const SectionPlane& plane, double step,
                   bool difference, DensityNet& net);

}  // namespace marvik
