#pragma once

#include "app/workbench.h"

namespace marvik {

// The state of the document that something drawn was made for.
struct SeenState {
  unsigned changes = ~0u;
  uint64_t state = ~0ull;
  std::optional<FileStamp> stamp;

  // Whether the document is another one now; from then on that is the one seen. Undo back to what the file holds is no
  // change, and a file opened again is another document.
  bool IsLate(const Workbench& bench) {
    const uint64_t now = bench.history.State();
    if (bench.changes == changes && now == state && bench.document.stamp == stamp) return false;
    changes = bench.changes;
    state = now;
    stamp = bench.document.stamp;
    return true;
  }
};

}  // namespace marvik
