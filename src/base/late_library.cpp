#include "base/late_library.h"

#include <dlfcn.h>

namespace marvik {

LateLibrary::LateLibrary(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (!handle_) handle_ = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  }
  whole_ = handle_ != nullptr;
}

void* LateLibrary::Symbol(const char* name) const {
  return handle_ ? dlsym(handle_, name) : nullptr;
}

}  // namespace marvik
