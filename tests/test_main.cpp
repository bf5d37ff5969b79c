#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <gtest/gtest.h>
#include <locale>

// Takes the locale that MARVIK_TEST_LOCALE names, for C and C++ alike, as a toolkit does at start-up. One that is asked
// for and missing, or without a decimal comma, is a failure: the run would show nothing.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (const char* name = std::getenv("MARVIK_TEST_LOCALE")) {
    try {
      std::locale::global(std::locale(name));
    } catch (const std::exception& error) {
      std::fprintf(stderr, "locale %s: %s\n", name, error.what());
      return 1;
    }
#ifdef LC_MESSAGES
    std::setlocale(LC_MESSAGES, "C");  // the system's words are compared as they stand
#endif
    if (*std::localeconv()->decimal_point != ',') {
      std::fprintf(stderr, "locale %s has no decimal comma\n", name);
      return 1;
    }
  }
  return RUN_ALL_TESTS();
}
