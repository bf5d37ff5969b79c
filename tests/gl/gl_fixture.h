#pragma once

#include <cmath>
#include <gtest/gtest.h>

#include "crystal/cell_metric.h"
#include "draw/canvas/colours.h"
#include "draw/canvas/scanline_canvas.h"
#include "gl/gl_context.h"
#include "gl/gl_picture.h"

#include "support/structures.h"

namespace marvik::test {

// A document, a view of it in which one view unit is 11 Å, and what to draw of it. x runs to the left and y downward in
// the picture, greater Cartesian z is farther.
struct GlStage {
  Document document;
  ViewState view;
  GlPictureOptions options;
  RecordingMessages messages;

  GlStage() {
    InitElementTable(document.elements, false);
    document.cell = {10, 10, 10, 90, 90, 90};
    BuildOrthogonalisation(document.cell, document.matrix);
    view.FitView(10.0, Cartesian{});
    options.labels = false;
    options.printing = true;
    options.settings = DefaultOpenGlSettings();
  }
  AtomRecord* Add(std::string_view name, double x, double y, double z) { return AddAtomAt(document, name, {x, y, z}); }
  // Root mean square amplitudes along the Cartesian axes, Å.
  AtomRecord* AddEllipsoid(std::string_view name, const Cartesian& at, const Cartesian& lengths) {
    AtomRecord* atom = AddAtomAt(document, name, at);
    atom->uCount = 6;
    atom->u = {lengths.x * lengths.x, lengths.y * lengths.y, lengths.z * lengths.z, 0, 0, 0};
    return atom;
  }
  GlPicture Draw(int size, const KeepGoing& keepGoing = nullptr) {
    return RenderGlPicture(document, view, size, options, keepGoing, nullptr);
  }
  // Fails the test, and gives a black picture, when there is none.
  Image Picture(int size) {
    GlPicture picture = Draw(size);
    EXPECT_EQ(picture.error, "");
    EXPECT_TRUE(picture.complete);
    return picture.image ? std::move(*picture.image) : Image(size, size);
  }
  Image InteractivePicture(int size) {
    Image image(size, size);
    ScanlineCanvas canvas(image, nullptr);
    ViewState fitted = view;
    fitted.drawingSize = size;
    fitted.FitView(view.viewRadius, std::nullopt);
    RenderOptions screen;
    screen.mode = options.mode;
    screen.labels = false;
    screen.whiteBackground = true;
    InteractiveRenderer renderer;
    renderer.Render(document, fitted, screen, canvas, nullptr);
    return image;
  }
};

// Root mean square difference of the channels as a share of full scale.
inline double Difference(const Image& a, const Image& b) {
  if (a.width != b.width || a.height != b.height || a.pixels.empty()) return 1.0;
  double sum = 0.0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    for (int shift = 0; shift < 24; shift += 8) {
      const double d =
          static_cast<double>(a.pixels[i] >> shift & 255) - static_cast<double>(b.pixels[i] >> shift & 255);
      sum += d * d;
    }
  }
  return std::sqrt(sum / (3.0 * static_cast<double>(a.pixels.size()))) / 255.0;
}

// Number of the pixels that a colour test accepts, and the middle of the rectangle that holds them.
struct Blob {
  CanvasPoint middle;
  int count = 0;
};
template <class Accepts>
Blob BlobOf(const Image& image, Accepts accepts) {
  Blob blob;
  CanvasPoint low{1e9, 1e9};
  CanvasPoint high{-1e9, -1e9};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (!accepts(ColourOf(image.At(x, y)))) continue;
      low = {std::min<double>(low.x, x), std::min<double>(low.y, y)};
      high = {std::max<double>(high.x, x), std::max<double>(high.y, y)};
      ++blob.count;
    }
  }
  blob.middle = {0.5 * (low.x + high.x), 0.5 * (low.y + high.y)};
  return blob;
}

}  // namespace marvik::test
