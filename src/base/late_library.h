#pragma once

#include <initializer_list>

namespace marvik {

// A shared library that is loaded when it is needed rather than with every start of the program; it stays until the
// program ends. Its functions are declared as pointers of their own names in our namespace, where they hide the ones of
// the header:
//
//   #define CALLS(X) X(cairo_create) X(cairo_destroy)
//   CALLS(MARVIK_LATE_CALL)
//   bool Load() {
//     static LateLibrary library{"libcairo.so.2"};
//     CALLS(MARVIK_FIND_CALL)
//     return library.IsWhole();
//   }
class LateLibrary {
 public:
  // The first of these that the system has.
  LateLibrary(std::initializer_list<const char*> names);

  template <class Call>
  void Find(Call& call, const char* name) {
    call = reinterpret_cast<Call>(Symbol(name));
    whole_ = whole_ && call;
  }
  // Whether it is there, with every function that was looked for.
  bool IsWhole() const { return whole_; }

 private:
  void* Symbol(const char* name) const;

  void* handle_ = nullptr;
  bool whole_ = true;
};

#define MARVIK_LATE_CALL(name) decltype(&::name) name = nullptr;
#define MARVIK_LATE_DECLARATION(name) extern decltype(&::name) name;
#define MARVIK_FIND_CALL(name) library.Find(name, #name);

}  // namespace marvik
