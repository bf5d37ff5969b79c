#include "base/parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace marvik {

size_t ThreadCount(int wanted) {
  if (wanted > 0) return static_cast<size_t>(wanted);
  return std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 64);
}

void ForEachInParallel(size_t threads, size_t count, const std::function<void(size_t, size_t)>& work) {
  threads = std::min(threads, count);
  std::atomic<size_t> next{0};
  std::exception_ptr thrown;
  std::mutex guard;
  const auto loop = [&](size_t thread) {
    try {
      for (size_t i = next++; i < count; i = next++) work(i, thread);
    } catch (...) {
      next = count;
      const std::scoped_lock lock(guard);
      thrown = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> others;
    try {
      for (size_t t = 1; t < threads; ++t) others.emplace_back(loop, t);
    } catch (const std::system_error&) {
    }
    loop(0);
  }
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace marvik
