/// Runs the tests under the locale that the environment names, as a host application would, so that a
/// locale with a decimal comma reaches the library.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <locale>

#ifdef KELVANE_SANITIZED
/// The runtime of OpenMP keeps what it allocates for its threads.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libomp.so\n"; }
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (std::getenv("LC_ALL") != nullptr) {
    if (std::setlocale(LC_ALL, "") == nullptr) {
      std::fprintf(stderr, "the locale LC_ALL=%s is not installed\n", std::getenv("LC_ALL"));
      return 1;
    }
    std::locale::global(std::locale(""));
  }
  return RUN_ALL_TESTS();
}
