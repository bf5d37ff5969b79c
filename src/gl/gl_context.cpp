#include "gl/gl_context.h"

#include <cstdlib>

#include "gl/gl_calls.h"
#include "gl/gl_light.h"

namespace marvik {
namespace {

constexpr char kNoContext[] = "Could not initialize the device context.";

class EglContext : public GlContext {
 public:
  EglContext(EGLDisplay display, EGLContext context, EGLSurface surface)
      : display_(display), context_(context), surface_(surface) {}
  ~EglContext() override {
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (surface_ != EGL_NO_SURFACE) eglDestroySurface(display_, surface_);
    eglDestroyContext(display_, context_);
    // The display is shared by the whole process and stays initialised.
  }

 private:
  EGLDisplay display_;
  EGLContext context_;
  EGLSurface surface_;
};

EGLDisplay OpenDisplay(EGLDisplay display) {
  return display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr) == EGL_TRUE ? display : EGL_NO_DISPLAY;
}

// Eight bits a channel; the depth that counts is that of the frame drawn into. A context without surfaces asks for
// none.
bool ChoosePixelFormat(EGLDisplay display, bool surfaceless, EGLConfig& config, std::string& error) {
  const EGLint wanted[] = {EGL_SURFACE_TYPE,
                           surfaceless ? 0 : EGL_PBUFFER_BIT,
                           EGL_RENDERABLE_TYPE,
                           EGL_OPENGL_BIT,
                           EGL_RED_SIZE,
                           8,
                           EGL_GREEN_SIZE,
                           8,
                           EGL_BLUE_SIZE,
                           8,
                           EGL_NONE};
  EGLint count = 0;
  if (eglChooseConfig(display, wanted, &config, 1, &count) == EGL_TRUE && count == 1) return true;
  error = "OpenGL Error: Failed to find acceptable pixel format.";
  return false;
}

std::unique_ptr<GlContext> MakeContext(EGLDisplay display, bool surfaceless, std::string& error) {
  error = kNoContext;
  if (display == EGL_NO_DISPLAY || eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) return nullptr;
  EGLConfig config = nullptr;
  if (!ChoosePixelFormat(display, surfaceless, config, error)) return nullptr;
  EGLSurface surface = EGL_NO_SURFACE;
  if (!surfaceless) {
    const EGLint size[] = {EGL_WIDTH, 8, EGL_HEIGHT, 8, EGL_NONE};
    surface = eglCreatePbufferSurface(display, config, size);
    if (surface == EGL_NO_SURFACE) {
      error = "OpenGL Error: Failed to set pixel format.";
      return nullptr;
    }
  }
  const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
  if (context == EGL_NO_CONTEXT) {
    if (surface != EGL_NO_SURFACE) eglDestroySurface(display, surface);
    return nullptr;
  }
  auto made = std::make_unique<EglContext>(display, context, surface);
  if (eglMakeCurrent(display, surface, surface, context) != EGL_TRUE) return nullptr;
  error.clear();
  return made;
}

}  // namespace

std::unique_ptr<GlContext> MakeOffscreenContext(std::string& error) {
#ifdef EGL_PLATFORM_SURFACELESS_MESA
  const EGLDisplay bare = OpenDisplay(eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr));
  if (auto context = MakeContext(bare, true, error)) return context;
#endif
  std::string second;
  const EGLDisplay standard = eglGetDisplay(EGL_DEFAULT_DISPLAY);
  EGLDisplay display = OpenDisplay(standard);
  if (display == EGL_NO_DISPLAY) {
    // The driver of an X display gives up where there is no graphics card unless it is told to do without.
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 0);
    display = OpenDisplay(standard);
  }
  auto context = MakeContext(display, false, second);
  if (context || error.empty()) error = second;
  return context;
}

bool InitGlContext() {
  while (glGetError() != GL_NO_ERROR) {
  }
  for (const GLenum on :
       {GL_NORMALIZE, GL_DITHER, GL_COLOR_MATERIAL, GL_LIGHTING, GL_LIGHT0, GL_DEPTH_TEST, GL_CULL_FACE})
    glEnable(on);
  glClearColor(1.0f, 1.0f, 1.0f, 0.0f);
  glShadeModel(GL_SMOOTH);
  glColorMaterial(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE);
  glLightfv(GL_LIGHT0, GL_POSITION, kLightPosition);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  for (const GLenum coordinate : {GL_S, GL_T}) glTexGeni(coordinate, GL_TEXTURE_GEN_MODE, GL_EYE_LINEAR);
  glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
  return glGetError() == GL_NO_ERROR;
}

GlTarget::GlTarget(int width, int height) {
  glGenFramebuffers(1, &frame_);
  glBindFramebuffer(GL_FRAMEBUFFER, frame_);
  const auto add = [&](unsigned& buffer, GLenum format, GLenum place) {
    glGenRenderbuffers(1, &buffer);
    glBindRenderbuffer(GL_RENDERBUFFER, buffer);
    glRenderbufferStorage(GL_RENDERBUFFER, format, width, height);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, place, GL_RENDERBUFFER, buffer);
  };
  add(colour_, GL_RGBA8, GL_COLOR_ATTACHMENT0);
  add(depth_, GL_DEPTH_COMPONENT32F, GL_DEPTH_ATTACHMENT);
  complete_ = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE && glGetError() == GL_NO_ERROR;
}

GlTarget::~GlTarget() {
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDeleteFramebuffers(1, &frame_);
  glDeleteRenderbuffers(1, &colour_);
  glDeleteRenderbuffers(1, &depth_);
}

void GlTarget::Read(int width, int height, std::vector<uint32_t>& colours, std::vector<float>& depths) {
  const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
  colours.resize(count);
  depths.resize(count);
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_INT_8_8_8_8_REV, colours.data());
  glReadPixels(0, 0, width, height, GL_DEPTH_COMPONENT, GL_FLOAT, depths.data());
}

}  // namespace marvik
