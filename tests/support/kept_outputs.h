#pragma once

#include <string>
#include <vector>

namespace marvik::test {

// That the program says the same as it did of the same input. For each output the file outputs/GROUP.txt keeps a mark
// of its words and a sum over its numbers, each in the measure of its size, which may differ by rounding. One that
// changed is put beside the temporary files, to be looked at; with MARVIK_KEEP_OUTPUTS=1 the file takes what comes.
void ExpectKept(const std::string& group, const std::string& name, const std::string& output);
// Whether these are the real files that the marks of "real" are of. Others come and go, and one file's outcome depends
// on those before it: then there is nothing to compare with.
bool AreKept(const std::vector<std::string>& realFiles);

}  // namespace marvik::test
