#pragma once

#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glu.h>

#include "base/late_library.h"

namespace marvik {

// The calls that pictures need, loaded with the first of them. clang-format is kept off the lists.
// clang-format off
#define MARVIK_EGL_CALLS(X) \
  X(eglBindAPI) X(eglChooseConfig) X(eglCreateContext) X(eglCreatePbufferSurface) X(eglDestroyContext) \
  X(eglDestroySurface) X(eglGetDisplay) X(eglGetPlatformDisplay) X(eglInitialize) X(eglMakeCurrent)
#define MARVIK_GL_CALLS(X) \
  X(glAttachShader) X(glBegin) X(glBindFramebuffer) X(glBindRenderbuffer) X(glBindTexture) X(glBlendFunc) \
  X(glCallList) X(glCheckFramebufferStatus) X(glClear) X(glClearColor) X(glColor4d) X(glColorMaterial) \
  X(glCompileShader) X(glCreateProgram) X(glCreateShader) X(glDeleteFramebuffers) X(glDeleteLists) \
  X(glDeleteProgram) X(glDeleteRenderbuffers) X(glDeleteShader) X(glDeleteTextures) X(glDisable) X(glEnable) \
  X(glEnd) X(glEndList) X(glFinish) X(glFramebufferRenderbuffer) X(glGenFramebuffers) X(glGenLists) \
  X(glGenRenderbuffers) X(glGenTextures) X(glGetError) X(glGetProgramiv) X(glLightfv) X(glLineWidth) \
  X(glLinkProgram) X(glLoadIdentity) X(glMaterialf) X(glMaterialfv) X(glMatrixMode) X(glMultMatrixd) \
  X(glNewList) X(glNormal3d) X(glOrtho) X(glPixelStorei) X(glPolygonOffset) X(glPopMatrix) X(glPushMatrix) \
  X(glReadPixels) X(glRenderbufferStorage) X(glRotated) X(glScaled) X(glShadeModel) X(glShaderSource) \
  X(glTexEnvi) X(glTexGeni) X(glTexImage2D) X(glTexParameteri) X(glTranslated) X(glUseProgram) X(glVertex3d) \
  X(glViewport)
#define MARVIK_GLU_CALLS(X) \
  X(gluCylinder) X(gluDeleteQuadric) X(gluDisk) X(gluLookAt) X(gluNewQuadric) X(gluPartialDisk) \
  X(gluQuadricDrawStyle) X(gluQuadricNormals) X(gluQuadricOrientation) X(gluSphere)
// clang-format on
MARVIK_EGL_CALLS(MARVIK_LATE_DECLARATION)
MARVIK_GL_CALLS(MARVIK_LATE_DECLARATION)
MARVIK_GLU_CALLS(MARVIK_LATE_DECLARATION)

// To be asked before any of them; false where the system lacks one.
bool LoadGlCalls();

}  // namespace marvik
