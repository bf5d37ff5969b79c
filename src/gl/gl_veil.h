#pragma once

#include "gl/gl_layers.h"
#include "gl/gl_scene.h"

namespace marvik {

// Mixes the faces of a scene into samples of it, the farthest first, wherever nothing lies before them. `left` and
// `bottom` are the corner of the samples in pixels of the picture, margins included. On the bare background a face is a
// body of its own. Then the scene's fog.
void VeilSamples(const GlScene& scene, int size, int left, int bottom, GlSamples& samples);

}  // namespace marvik
