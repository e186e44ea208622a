// How many objects of the document model exist in the process: for tests that hold the library to
// giving back what it took.
#pragma once

#include <atomic>

namespace cfgex::internal {

struct LiveCounts {
  std::atomic<long> documents{0};
  std::atomic<long> nodes{0};  // objects that stand for a node of the engine, documents left out
  std::atomic<long> fragments{0};  // subtrees in no document that somebody holds
};
inline LiveCounts g_LiveCounts;

// A member of this type counts the objects that it is in.
template <std::atomic<long> LiveCounts::*kCount>
class Counter {
 public:
  Counter() noexcept { (g_LiveCounts.*kCount).fetch_add(1, std::memory_order_relaxed); }
  ~Counter() { (g_LiveCounts.*kCount).fetch_sub(1, std::memory_order_relaxed); }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;
};

}  // namespace cfgex::internal
