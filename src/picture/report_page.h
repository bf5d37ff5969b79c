#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "picture/picture_subject.h"

namespace marvik {

// One page of A4 as PDF: a text in Markdown (headings, paragraphs, tables, **bold**, ^raised^ and ~lowered~) with the
// view at its upper right where the text has a picture. The type shrinks until all of it is on the page; what does not
// fit at 6 points is left out, and the last line says so. Nothing after a message.
std::optional<std::string> DrawReportPage(PictureSubject& subject, std::string_view markdown);

}  // namespace marvik
