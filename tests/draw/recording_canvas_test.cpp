#include "draw/canvas/recording_canvas.h"

#include <cmath>
#include <gtest/gtest.h>

namespace marvik {
namespace {

TEST(RecordingCanvas, WritesOneLineACall) {
  RecordingCanvas canvas;
  const Rgb grey{128, 128, 128};
  const Pen pen{{205, 205, 0}};
  const LinePiece pieces[] = {{1, 2, 3, 4}, {-5, 6, 7, 8}};
  const EllipseShape shape{{5, 5.0625}, {3, 0}, {-1e-9, 3}};
  const CanvasPoint points[] = {{0, 0}, {1.5, NAN}};
  const Disc discs[] = {{{-1, -1}, 3.0, grey}, {{0, 0}, 0.5, grey}};
  canvas.Clear({});
  canvas.Lines(pieces, {{255, 0, 16}, 1.0, LineStyle::Dashed});
  canvas.BeginGroup("C1");
  canvas.Line({1, 2}, {3, 4.5}, pen);
  canvas.FillEllipse(shape, grey, {grey, 0.0});
  canvas.FillEllipse(shape, grey, pen);
  canvas.DiscStack({10, 20}, discs);
  canvas.EndGroup();
  canvas.Arc(shape, 0.0, 3.14159, {grey, 2.0, LineStyle::Dotted});
  canvas.Polygon(points, grey, pen);
  canvas.Polyline(points, pen);
  canvas.Text({7, 8}, TextAnchor::Centre, "C1", grey);
  canvas.Text({7, 8}, TextAnchor::BottomLeft, "", grey);
  EXPECT_EQ(canvas.Recorded(),
            "clear #000000\n"
            "piece 1 2 3 4 #ff0010 w1 dashed\n"
            "piece -5 6 7 8 #ff0010 w1 dashed\n"
            "begin C1\n"
            "line 1 2 3 4.5 #cdcd00 w1\n"
            "ellipse 5 5.062 p 3 0 q 0 3 #808080\n"
            "ellipse 5 5.062 p 3 0 q 0 3 #808080 outline #cdcd00 w1\n"
            "disc 9 19 r 3 #808080\n"
            "disc 10 20 r 0.5 #808080\n"
            "end\n"
            "arc 5 5.062 p 3 0 q 0 3 from 0 to 3.142 #808080 w2 dotted\n"
            "polygon 0 0, 1.5 nan #808080 outline #cdcd00 w1\n"
            "polyline 0 0, 1.5 nan #cdcd00 w1\n"
            "text 7 8 centre #808080 C1\n"
            "text 7 8 left #808080 \n");
  EXPECT_EQ(canvas.Count("piece"), 2);
  EXPECT_EQ(canvas.Count("end"), 1);
  EXPECT_EQ(canvas.Count("e"), 0);
  canvas.Forget();
  EXPECT_EQ(canvas.Count("piece"), 0);
}

}  // namespace
}  // namespace marvik
