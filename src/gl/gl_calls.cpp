#include "gl/gl_calls.h"

namespace marvik {

MARVIK_EGL_CALLS(MARVIK_LATE_CALL)
MARVIK_GL_CALLS(MARVIK_LATE_CALL)
MARVIK_GLU_CALLS(MARVIK_LATE_CALL)

namespace {

bool LoadEgl() {
  LateLibrary library{"libEGL.so.1"};
  MARVIK_EGL_CALLS(MARVIK_FIND_CALL)
  return library.IsWhole();
}

bool LoadGl() {
  LateLibrary library{"libOpenGL.so.0", "libGL.so.1"};
  MARVIK_GL_CALLS(MARVIK_FIND_CALL)
  return library.IsWhole();
}

bool LoadGlu() {
  LateLibrary library{"libGLU.so.1"};
  MARVIK_GLU_CALLS(MARVIK_FIND_CALL)
  return library.IsWhole();
}

}  // namespace

bool LoadGlCalls() {
  static const bool loaded = LoadEgl() && LoadGl() && LoadGlu();
  return loaded;
}

}  // namespace marvik
