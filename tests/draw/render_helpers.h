#pragma once

#include <string>

#include "chem/bonds/connectivity.h"
#include "draw/canvas/recording_canvas.h"
#include "draw/renderer/interactive_renderer.h"

#include "support/structures.h"

namespace marvik::test {

// A document and a view of it: 600 pixels, one view unit is 11 Å, so that 1.1 Å are 29.9 pixels and a carbon ball has a
// radius of 12. x runs to the left and y downward on the screen, greater Cartesian z is farther.
struct Scene {
  Document document;
  ViewState view;
  RenderOptions options;
  InteractiveRenderer renderer;
  RecordingCanvas canvas;
  RecordingMessages messages;

  explicit Scene(int mode = kWireFrame) {
    InitElementTable(document.elements, false);
    view.FitView(10.0, Cartesian{});
    view.depthNear = -1.0;
    view.depthFar = 1.0;
    options.mode = mode;
    options.labels = false;
  }
  AtomRecord* Add(std::string_view name, double x, double y, double z) { return AddAtomAt(document, name, {x, y, z}); }
  AtomRecord* AddEllipsoid(std::string_view name, double x, double y, double z, const std::array<double, 6>& u) {
    AtomRecord* atom = Add(name, x, y, z);
    atom->uCount = 6;
    atom->u = u;
    return atom;
  }
  // Two atoms 1.1 Å apart on the screen, the first nearer by twice the depth, and their bond.
  BondRecord* AddPair(std::string_view first, std::string_view second, double depth = 0.0) {
    AtomRecord* a = Add(first, 0, 0, depth);
    AtomRecord* b = Add(second, -1.1, 0, -depth);
    Connect(document, messages);
    return document.atoms.FindBond(a, b);
  }
  // What is drawn, as text.
  std::string Draw(const KeepGoing& keepGoing = nullptr) {
    canvas.Forget();
    finished = renderer.Render(document, view, options, canvas, keepGoing);
    return canvas.Recorded();
  }
  bool finished = false;
};

// The lines of a recording that begin with a word.
inline std::string Only(const std::string& recording, std::string_view word) {
  std::string result;
  for (size_t at = 0; at < recording.size();) {
    const size_t end = recording.find('\n', at) + 1;
    if (recording.compare(at, word.size(), word) == 0) result += recording.substr(at, end - at);
    at = end;
  }
  return result;
}

}  // namespace marvik::test
