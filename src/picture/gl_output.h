#pragma once

#include <optional>

#include "gl/gl_picture.h"
#include "picture/picture_options.h"
#include "picture/picture_subject.h"

namespace marvik {

// What the OpenGL renderer is to draw of the subject: its rendition, labels and cell box, with labels of the size that
// is proper for the picture. The usual background is that of the settings.
GlPictureOptions GlOptionsOf(const PictureSubject& subject, const PictureOptions& picture);

// Draws with a progress box, which can stop it; nothing is told of what came of it.
GlPicture DrawWithProgress(PictureSubject& subject, const GlPictureOptions& options, int size);

// The picture; nothing after a message. One that was stopped on the way is nothing either, and told as such.
std::optional<Image> DrawGlImage(PictureSubject& subject, const PictureOptions& picture);

void SayPictureStopped(UserMessages& messages);

}  // namespace marvik
