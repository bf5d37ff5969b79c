#pragma once

namespace marvik {

// A program that lights every pixel by the formulas by which the fixed functions light every corner, so that
// highlights are round however coarse a body is. 0 when the system has none; the fixed functions serve then.
unsigned MakeShadingProgram();
void DeleteProgram(unsigned program);
void UseProgram(unsigned program);

}  // namespace marvik
