#include "tests/process/scenario.h"

// For the host: null, or what went wrong.
extern "C" [[gnu::visibility("default")]] const char* UseLibrary() {
  static std::string failure;
  try {
    process::UseEverything();
    return nullptr;
  } catch (const std::exception& error) {
    failure = error.what();
    return failure.c_str();
  }
}
