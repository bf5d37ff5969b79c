#pragma once

#include "publish/publication.h"

namespace marvik {

// Loops that a user has are edited as text: a row is a line, its cells are parted by "|", and a line that begins with a
// blank goes on with the cell before.
std::vector<std::string> ColumnsOf(const PublicationField& field);
bool IsLoopOf(const KnownItems::Loop& loop, const PublicationField& field);
std::string LinesOfLoop(const KnownItems::Loop& loop, const PublicationField& field);
// As a change, without columns that no row needs; no lines give one "?".
std::string LoopOfLines(std::string_view lines, const PublicationField& field);
// A sentence for a line with too many cells, else "".
std::string LoopFault(std::string_view lines, const PublicationField& field);

}  // namespace marvik
