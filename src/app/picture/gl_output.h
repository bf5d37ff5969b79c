#pragma once

#include <optional>
#include <string>

#include "app/workbench.h"
#include "gl/gl_picture.h"
#include "picture/picture_options.h"

namespace marvik {

// What the OpenGL renderer is to draw of the workbench: its rendition, labels and cell box, with the settings of
// "opengl.prf" and labels of the size that is proper for the picture. The usual background is that of the settings.
GlPictureOptions GlOptionsOf(Workbench& bench, const PictureOptions& picture);

// Draws with a progress box, which can stop it; nothing is told of what came of it.
GlPicture DrawWithProgress(Workbench& bench, const GlPictureOptions& options, int size);

// The picture; nothing after a message. One that was stopped on the way is nothing either, and told as such.
std::optional<Image> DrawGlImage(Workbench& bench, const PictureOptions& picture);

// The same as the bytes of a file, "png" or "jpg". A JPEG knows no transparency: it is white there.
std::optional<std::string> DrawGlFile(Workbench& bench, const PictureOptions& picture, const std::string& format);

}  // namespace marvik
