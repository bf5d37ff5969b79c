#pragma once

#include <functional>
#include <span>
#include <string>

#include "picture/picture_formats.h"

namespace marvik {

inline constexpr int kTurnFrames = 72;
inline constexpr int kSwingFrames = 40;

// Frames of one size, each a PNG file, as one animated PNG that is played over and over. The first is what programs
// show that know nothing of animation. (Portable Network Graphics Specification, third edition, 11.3.6.) Empty when a
// frame is no PNG file.
std::string AnimatedPng(std::span<const std::string> frames, int milliseconds);

// The subject turning once about the upright axis of the picture, in a frame that holds all of it. Nothing after a
// message.
PictureBytes DrawTurn(PictureSubject& subject, const PictureOptions& options);

// The subject going to its other model and back, atoms of the same name along straight lines, their
// displacement parameters with them, and images as what they are images of; what only one of the models has stands
// still or is left out. Nothing after a message.
PictureBytes DrawSwing(PictureSubject& subject, const PictureOptions& options);

// So many frames, each of the subject as `prepare` leaves it for that frame. Nothing after a message.
PictureBytes DrawFilm(PictureSubject& subject, const PictureOptions& options, size_t frames,
                      const std::function<void(size_t frame)>& prepare);

}  // namespace marvik
