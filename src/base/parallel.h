#pragma once

#include <cstddef>
#include <functional>

namespace marvik {

// As many threads as are wanted; as the machine has, 64 at most, for 0 or less.
size_t ThreadCount(int wanted);

// Calls work(index, thread) for every index below `count`, each once, in any order on up to `threads` threads, the
// calling one among them as thread 0; with fewer where the system gives no more. Returns when all is done. What a call
// throws is thrown here, one of several, when the others have ended; indices not begun by then are left out.
void ForEachInParallel(size_t threads, size_t count, const std::function<void(size_t index, size_t thread)>& work);

}  // namespace marvik
