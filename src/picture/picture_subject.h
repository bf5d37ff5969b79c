#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/user_messages.h"
#include "draw/renderer/interactive_renderer.h"
#include "draw/view/view_state.h"
#include "gl/gl_settings.h"
#include "model/document.h"

namespace marvik {

// What is to be drawn, whoever shows it.
struct PictureSubject {
  Document& document;
  ViewState view;      // of a drawing area of any size: pictures fit it into their own
  RenderOptions look;  // rendition, labels, cell box and probability; the rest is the picture's business
  std::string title;
  std::function<const OpenGlSettings&()> openGl;  // asked by the OpenGL renderer alone
  UserMessages& messages;
  KeepGoing goOn;  // may be empty
  // Another model of the structure, which the picture swings from and back to; null for a picture at rest.
  std::shared_ptr<const Document> swingFrom{};
};

}  // namespace marvik
