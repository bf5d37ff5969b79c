#pragma once

#include "app/workbench.h"
#include "gl/gl_picture.h"

namespace marvik {

// Whether the rendition is one that the OpenGL renderer draws; false after the message that it is not.
bool IsOpenGlRendition(const Workbench& bench);
bool RefuseOtherRenditions(Workbench& bench);

// The picture of the drawing area's square as the settings say. It may have been stopped on the way.
GlPicture DrawScreenPicture(Workbench& bench, bool colour, const KeepGoing& keepGoing);

}  // namespace marvik
