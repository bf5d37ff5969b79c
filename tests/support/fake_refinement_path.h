#pragma once

namespace marvik::test {

// The refinement program that does what a test tells it to. Only one source file is compiled with this path, since a
// path in every command would keep ccache from sharing work between checkouts.
extern const char* const kFakeRefinement;

}  // namespace marvik::test
