#pragma once

#include "base/files.h"

namespace marvik {

// More about WriteFileAtomically: two who write the same file at once do not meet, and what a killed process left is
// swept by the next write. Owner, group, permissions and extended attributes of an existing file are kept; one with
// several hard links, or whose owner and attributes a new file could not have, is written in place instead, its backup
// complete before. A backup is never readable by more than the file, and a link under its name is replaced. Pipes and
// devices are written directly.

// The same for what can be made again, pictures and exports: not flushed, so that thousands of them need not wait for
// the disk.
int WriteDerivedFile(const std::string& path, std::string_view content);

}  // namespace marvik
