#pragma once

#include <span>
#include <string>

#include "picture/picture_formats.h"

namespace marvik {

inline constexpr int kTurnFrames = 72;

// Frames of one size, each a PNG file, as one animated PNG that is played over and over. The first is what programs
// show that know nothing of animation. (Portable Network Graphics Specification, third edition, 11.3.6.) Empty when a
// frame is no PNG file.
std::string AnimatedPng(std::span<const std::string> frames, int milliseconds);

// The subject turning once about the upright axis of the picture, in a frame that holds all of it. Nothing after a
// message.
PictureBytes DrawTurn(PictureSubject& subject, const PictureOptions& options);

}  // namespace marvik
