#pragma once

#include <optional>
#include <string>

#include "draw/canvas/canvas.h"
#include "draw/canvas/image.h"
#include "picture/picture_options.h"
#include "picture/picture_subject.h"

namespace marvik {

// What all kinds of picture files have in common; none of it is encoded yet.

// Shows the text as a fault of a file; gives nothing.
std::nullopt_t RefusePicture(UserMessages& messages, const std::string& text);

// Of a figure made of lines, in points.
int VectorSide(const PictureOptions& picture);
// By the resolution; without one the picture counts as being printed 450 points wide.
double PointsPerPixel(const PictureOptions& picture);
// Size of the labels' type.
double LabelPoints(const PictureSubject& subject, const PictureOptions& picture);

// The view fitted into a square of that side; what was moved by hand moves as far on the larger picture.
ViewState FittedView(const PictureSubject& subject, double side);
// What is drawn on pixels beside the clearing; and of figures made of lines.
RenderOptions PixelOptions(const PictureSubject& subject, const PictureOptions& picture);
RenderOptions LineOptions(const PictureSubject& subject, const PictureOptions& picture);

// On a canvas that counts points, in a square of that side. False after a message: stopped or failed.
bool DrawLines(PictureSubject& subject, const PictureOptions& picture, double side, Canvas& canvas,
               InteractiveRenderer& renderer);
// The square cut to the rows that are kept, by the renderer that the options name. Nothing after a message.
std::optional<Image> DrawPixels(PictureSubject& subject, const PictureOptions& picture);
// The same by a renderer that remembers where labels stood; OpenGL has its own.
std::optional<Image> DrawPixels(PictureSubject& subject, const PictureOptions& picture, InteractiveRenderer& renderer);
Image KeptRows(Image& image, const PictureOptions& picture);

// False after a message.
bool WriteLabelReport(const PictureSubject& subject, const PictureOptions& picture, const InteractiveRenderer& renderer,
                      int side, double pointsPerUnit);

// Finds the rows of a square in which there is anything, with a margin above and below, by drawing it all with a
// renderer that then remembers its labels. False after a message.
bool FindContent(PictureSubject& subject, bool lines, double side, PictureOptions& picture,
                 InteractiveRenderer& renderer);

}  // namespace marvik
