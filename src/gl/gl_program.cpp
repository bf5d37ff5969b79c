#include "gl/gl_program.h"

#include "gl/gl_calls.h"

namespace marvik {
namespace {

constexpr char kVertexSource[] = R"(#version 120
varying vec3 normal;
varying vec3 place;
void main() {
  vec4 eye = gl_ModelViewMatrix * gl_Vertex;
  normal = gl_NormalMatrix * gl_Normal;
  place = eye.xyz;
  gl_FrontColor = gl_Color;
  gl_Position = gl_ProjectionMatrix * eye;
}
)";

constexpr char kFragmentSource[] = R"(#version 120
varying vec3 normal;
varying vec3 place;
void main() {
  vec3 n = normalize(normal);
  vec3 toLight = normalize(gl_LightSource[0].position.xyz - place);
  float facing = max(dot(n, toLight), 0.0);
  float shine = max(dot(n, normalize(toLight + vec3(0.0, 0.0, 1.0))), 0.0);
  vec3 colour = gl_Color.rgb * (gl_LightModel.ambient.rgb + gl_LightSource[0].ambient.rgb +
                                gl_LightSource[0].diffuse.rgb * facing);
  if (facing > 0.0)
    colour += gl_FrontMaterial.specular.rgb * gl_LightSource[0].specular.rgb *
              pow(shine, gl_FrontMaterial.shininess);
  colour += gl_FrontMaterial.emission.rgb;
  gl_FragColor = vec4(colour, gl_Color.a);
}
)";

unsigned Compile(GLenum kind, const char* source) {
  const unsigned shader = glCreateShader(kind);
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  return shader;
}

}  // namespace

unsigned MakeShadingProgram() {
  const unsigned vertex = Compile(GL_VERTEX_SHADER, kVertexSource);
  const unsigned fragment = Compile(GL_FRAGMENT_SHADER, kFragmentSource);
  unsigned program = glCreateProgram();
  glAttachShader(program, vertex);
  glAttachShader(program, fragment);
  glLinkProgram(program);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  GLint linked = GL_FALSE;
  glGetProgramiv(program, GL_LINK_STATUS, &linked);
  if (linked == GL_TRUE) return program;
  glDeleteProgram(program);
  while (glGetError() != GL_NO_ERROR) {
  }
  return 0;
}

void DeleteProgram(unsigned program) {
  if (program != 0) glDeleteProgram(program);
}

void UseProgram(unsigned program) {
  glUseProgram(program);
}

}  // namespace marvik
