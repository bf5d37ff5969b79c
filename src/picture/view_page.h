#pragma once

#include <optional>
#include <string>

#include "draw/canvas/canvas.h"
#include "picture/picture_subject.h"

namespace marvik {

// Where the square of the picture lies on paper, in hundredths of a millimetre.
struct PagePlace {
  double scale = 1.0;  // below 1 where the paper is smaller than the picture
  CanvasPoint corner;  // of the paper's upper left, in the units of what is drawn: (page unit - corner) · scale
};
PagePlace PlaceOnPage(double width, double height);

// Draws the view in page units, hundredths of a millimetre. The font's size is that of the labels, in page units too.
inline constexpr double kPageLabelSize = 406.0;
bool DrawPage(PictureSubject& subject, Canvas& canvas);

// One page of A4 as PDF. Nothing after a message, when it was stopped.
std::optional<std::string> DrawPdfPage(PictureSubject& subject);

}  // namespace marvik
