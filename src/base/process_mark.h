#pragma once

#include <string>
#include <string_view>

namespace marvik {

// Letters, digits and dashes that stand for this process and no other: machine, number, time of its start. Good in
// names of files.
std::string ProcessMark();
// Whether the process of a mark may still live: unless it was one of this machine and is gone.
bool ProcessLives(std::string_view mark);

}  // namespace marvik
