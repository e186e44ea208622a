// A seam for tests: every operation of the platform layer that the outside world can make fail
// passes here first, under its name, and fails as it would in earnest when the hook says so. The
// hook may also end the process there, or note what is done to files.
#pragma once

#include <atomic>
#include <cstddef>

#include "cfgex/com_error.h"

namespace cfgex::internal {

// What the hook is told. A call on files says what it works on, as far as its kind has that.
struct FaultPoint {
  const char* operation;  // "fsync", "appendChild"; a literal
  const char* path = nullptr;
  const char* newPath = nullptr;  // of "rename", "renameat2" and "link"
  int descriptor = -1;
  std::size_t size = 0;  // of "write", in bytes: the hook may lessen it, so that no more is written
  int error = 0;         // the hook may set the `errno` with which a call on files fails
};

// True makes the operation fail. Null for none.
using FaultHook = bool (*)(FaultPoint& point) noexcept;
inline std::atomic<FaultHook> g_FaultHook{nullptr};

inline bool FaultHere(FaultPoint& point) noexcept {
  const FaultHook hook = g_FaultHook.load(std::memory_order_relaxed);
  return hook != nullptr && hook(point);
}

inline bool FaultHere(const char* operation) noexcept {
  FaultPoint point{operation};
  return FaultHere(point);
}

// For operations whose failure is a _com_error.
inline void RaiseFaultHere(const char* operation) {
  if (FaultHere(operation)) throw _com_error(_com_error::kFail, operation);
}

}  // namespace cfgex::internal
