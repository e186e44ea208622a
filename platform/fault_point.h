// A seam for tests: every operation of the platform layer that the outside world can make fail
// passes here first, under its name, and fails as it would in earnest when the hook says so.
#pragma once

#include <atomic>

#include "cfgex/com_error.h"

namespace cfgex {

// Gets the name of the operation ("fsync", "appendChild"); true makes it fail. Null for none.
using FaultHook = bool (*)(const char* operation) noexcept;
inline std::atomic<FaultHook> g_FaultHook{nullptr};

inline bool FaultHere(const char* operation) noexcept {
  const FaultHook hook = g_FaultHook.load(std::memory_order_relaxed);
  return hook != nullptr && hook(operation);
}

// For operations whose failure is a _com_error.
inline void RaiseFaultHere(const char* operation) {
  if (FaultHere(operation)) throw _com_error(_com_error::kFail, operation);
}

}  // namespace cfgex
