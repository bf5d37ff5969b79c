#include "base/stop.h"

#include <utility>

namespace marvik {
namespace {

thread_local std::stop_token current;

}  // namespace

StopScope::StopScope(std::stop_token stop) : before_(std::exchange(current, std::move(stop))) {}

StopScope::~StopScope() {
  current = before_;
}

const std::stop_token& CurrentStop() {
  return current;
}

}  // namespace marvik
