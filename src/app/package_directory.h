#pragma once

#include <string>

namespace marvik {

// The running program's own file, links resolved; `argv0` where the system does not say.
std::string ExecutablePath(const std::string& argv0);

// What an installation brings for the package directory: share/marvik beside the folder of the program. Empty when it
// is not there.
std::string TemplateDirectory(const std::string& executable);

// The user's own package directory, with its last separator: under the platform's place for a user's data. Empty when
// the system names no such place.
std::string UserPackageDirectory();

// Sets the package directory's variable for this process and those it starts: to `chosen` when that is not empty, else,
// when the variable is missing, to the user's own directory, which is made from the template on first use. Where that
// cannot be made the template itself serves; without one the variable stays unset.
void SetUpPackageDirectory(const std::string& executable, const std::string& chosen);

}  // namespace marvik
