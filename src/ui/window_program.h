#pragma once

#include <string>

namespace marvik {

// Runs the window until it is closed, with `file` opened in it unless that is empty. Gives the program's exit status;
// where there is no display a line on standard error says so.
int RunWindow(int argc, char** argv, const std::string& file);

// The same for the plain-text editor alone.
int RunTextEditor(int argc, char** argv, const std::string& file);

}  // namespace marvik
