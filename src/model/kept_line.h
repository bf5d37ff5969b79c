#pragma once

#include <cstdint>
#include <string>

namespace marvik {

// Where a line that the model keeps as text goes in standard layout.
enum class KeptPlace : uint8_t {
  Body,         // behind LIST
  First,        // EQIV: before the others of Body, since they use it
  BeforeSfac,   // NEUT
  AfterSfac,    // DISP
  Fragment,     // FRAG ... FEND, one entry for the block, among those of Body
  UnderTitle,   // the indented comment right below TITL
  Reflections,  // OMIT h k l
  Batches,      // BASF
  BeforeAtom,   // acts from before an atom, or behind the last one
  Here,         // that where it stood among the atoms, Body where it stood before them
  AfterHklf,    // what stood between HKLF and END, which the refinement does not act on
  AfterEnd,     // what stood behind END
};

struct KeptLine {
  KeptPlace place = KeptPlace::Body;
  std::string text;   // as it stood in the file, without the last line end; inner ones are plain line feeds
  int32_t line = -1;  // of the source layout, -1 when the program made it
  friend bool operator==(const KeptLine&, const KeptLine&) = default;
};

}  // namespace marvik
