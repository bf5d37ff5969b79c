#include <cmath>
#include <gtest/gtest.h>

#include "crystal/cell_metric.h"
#include "draw/canvas/scanline_canvas.h"
#include "draw/canvas/svg_canvas.h"

#include "render_helpers.h"

namespace marvik::test {
namespace {

size_t Count(const std::string& text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// Corners of the facets that an atom with neighbours at these places has.
std::vector<size_t> FacetsOf(const std::vector<Cartesian>& places) {
  Scene scene(kBallAndStick);
  scene.view.RotateView(31, {1, 2, 3}, true);
  AtomRecord* centre = scene.Add("TI1", 0, 0, 0);
  for (const Cartesian& at : places) {
    AtomRecord* corner = scene.Add("O1", at.x, at.y, at.z);
    scene.document.atoms.AddBond(centre, corner, {0, 0}, 1, 0, 0.1f, 0, scene.messages);
  }
  scene.options.figure.polyhedra = {22};
  scene.options.exact = true;
  LabelFont font(9.0);
  SvgCanvas canvas(600, font);
  scene.renderer.Render(scene.document, scene.view, scene.options, canvas, nullptr);
  const std::string svg = canvas.Document();
  std::vector<size_t> corners;
  for (size_t at = svg.find("fill-opacity"); at != svg.npos; at = svg.find("fill-opacity", at + 1)) {
    const size_t points = svg.find("points=\"", at);
    corners.push_back(Count(svg.substr(points, svg.find("\"/>", points) - points), ","));
  }
  return corners;
}

TEST(Polyhedra, HaveTheFacesOfTheirShape) {
  const double d = 1.2;
  EXPECT_EQ(FacetsOf({{2, 0, 0}, {-2, 0, 0}, {0, 2, 0}, {0, -2, 0}, {0, 0, 2}, {0, 0, -2}}), std::vector<size_t>(8, 3));
  EXPECT_EQ(
      FacetsOf({{d, d, d}, {d, d, -d}, {d, -d, d}, {d, -d, -d}, {-d, d, d}, {-d, d, -d}, {-d, -d, d}, {-d, -d, -d}}),
      std::vector<size_t>(6, 4));
  EXPECT_EQ(FacetsOf({{2, 0, 0}, {-2, 0, 0}, {0, 2, 0}, {0, -2, 0}}), std::vector<size_t>(1, 4)) << "flat";
  EXPECT_TRUE(FacetsOf({{2, 0, 0}, {-2, 0, 0}, {0, 2, 0}}).empty());
}

TEST(Polyhedra, LeaveOutBondsBetweenMetals) {
  for (const DisplayMode mode : {kWireFrame, kBallAndStick}) {
    Scene scene(mode);
    scene.options.exact = true;
    AtomRecord* atoms[]{scene.Add("TI1", 0, 0, 0), scene.Add("TI2", 3, 0, 0), scene.Add("O1", 0, 2, 0)};
    for (const int other : {1, 2})
      scene.document.atoms.AddBond(atoms[0], atoms[other], {0, 0}, 1, 0, 0.1f, 0, scene.messages);
    for (const bool polyhedra : {false, true}) {
      if (polyhedra) scene.options.figure.polyhedra = {22};
      LabelFont font(9.0);
      SvgCanvas canvas(600, font);
      scene.renderer.Render(scene.document, scene.view, scene.options, canvas, nullptr);
      EXPECT_EQ(Count(canvas.Document(), "TI1-TI2") > 0, !polyhedra) << mode;
      EXPECT_GT(Count(canvas.Document(), "TI1-O1"), 0u) << mode;
    }
  }
}

TEST(Polyhedra, LetThroughWhatIsBehindThem) {
  Image image(20, 20);
  ScanlineCanvas canvas(image);
  canvas.Clear({255, 255, 255});
  const std::vector<CanvasPoint> square{{2, 2}, {17, 2}, {17, 17}, {2, 17}};
  canvas.Facet(square, {0, 0, 0}, 0.5, {{0, 0, 0}, 1.0, LineStyle::Solid});
  EXPECT_NEAR(ColourOf(image.At(10, 10)).r, 128, 2);
  EXPECT_EQ(ColourOf(image.At(0, 0)).r, 255);
}

// Edges that lie flat have arms of 7 % of the side, however long they are; one toward the viewer has only its letter.
TEST(Corners, ATripodHasArmsWhereTheyAreSeen) {
  Scene scene;
  scene.document.cell = {5.0, 20.0, 9.0, 90.0, 90.0, 60.0};
  ASSERT_TRUE(BuildOrthogonalisation(scene.document.cell, scene.document.matrix));
  scene.options.figure.tripod = true;
  EXPECT_EQ(Only(scene.Draw(), "line"),
            "line 66.81 533.19 30.558 554.12 #ff3737 w1.2\nline 66.81 533.19 66.81 575.05 #00c800 w1.2\n"
            "line 66.81 533.19 66.81 533.19 #6161ff w1.2\n");
  EXPECT_EQ(scene.canvas.Count("text"), 3);
}

TEST(Corners, TheBarIsAsLongAsItSays) {
  Scene scene;
  scene.Add("C1", 0, 0, 0);
  scene.options.figure.scaleBar = true;
  scene.options.exact = true;
  LabelFont font(9.0);
  for (const auto& [radius, words] : {std::pair{10.0, "2 Å"}, std::pair{1.0, "0.2 Å"}, std::pair{30.0, "10 Å"}}) {
    scene.view.FitView(radius, std::nullopt);
    SvgCanvas canvas(600, font);
    scene.renderer.Render(scene.document, scene.view, scene.options, canvas, nullptr);
    const std::string svg = canvas.Document();
    EXPECT_NE(svg.find(words), svg.npos) << svg;
    const size_t at = svg.find("<polyline");
    double x[4]{}, y[4]{};
    ASSERT_EQ(std::sscanf(svg.c_str() + svg.find("points=\"", at), "points=\"%lf,%lf %lf,%lf %lf,%lf %lf,%lf", x, y,
                          x + 1, y + 1, x + 2, y + 2, x + 3, y + 3),
              8);
    // One view unit, half the square less a pixel, is 1.1 radii.
    EXPECT_NEAR(x[2] - x[1], std::atof(words) * 299.0 / (1.1 * radius), 0.1);
  }
}

TEST(Corners, ColoursGoByWhatIsAskedAndTheLegendSaysIt) {
  Scene scene(kBallAndStick);
  AtomRecord* first = scene.Add("C1", 0, 0, 0);
  AtomRecord* second = scene.Add("C2", 3, 0, 0);
  second->part = 2;
  first->u[0] = 0.02;
  second->u[0] = 0.10;
  second->occupancy = 10.25;
  scene.options.figure.legend = true;
  const auto drawn = [&](ColourBy by) {
    scene.options.figure.colourBy = by;
    return scene.Draw();
  };
  const std::string elements = drawn(ColourBy::Element);
  EXPECT_NE(elements.find("C"), elements.npos);
  for (const auto& [by, low, high] :
       {std::tuple{ColourBy::Part, "part 0", "part 2"}, std::tuple{ColourBy::Displacement, "U 0.020", "0.100 Å²"},
        std::tuple{ColourBy::Occupancy, "occupancy 0.25", "1.00"}}) {
    const std::string picture = drawn(by);
    EXPECT_NE(picture, elements);
    EXPECT_NE(picture.find(low), picture.npos) << picture;
    EXPECT_NE(picture.find(high), picture.npos) << picture;
  }
}

}  // namespace
}  // namespace marvik::test
