// What all handle classes share: counting, and the rule of failure.
//
// 1. A CImpl begins with the count 1, which belongs to the handle whose constructor made it.
// 2. Every handle owns one count: copying a handle adds one, its end or re-assignment gives one up.
// 3. The handle that gives up the last count destroys the CImpl, and nothing else does.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

#include "cfgex/cfg_exception.h"
#include "cfgex/com_error.h"
#include "platform/os/fault_point.h"

namespace cfgex::internal {

// The base of every CImpl.
class CountedImpl {
 public:
  CountedImpl() = default;
  CountedImpl(const CountedImpl&) = delete;
  CountedImpl& operator=(const CountedImpl&) = delete;

  std::atomic<std::int32_t> m_RefCount{1};

 protected:
  ~CountedImpl() = default;
};

// Makes the CImpl of a handle. `file` and `line` are those of the constructor, for the exception
// that reports a failed allocation.
template <class Impl, class... Args>
Impl* MakeImpl(const wchar_t* file, int line, Args&&... args) {
  try {
    if (FaultHere(FaultPoint::kCImpl)) throw std::bad_alloc();
    return new Impl(std::forward<Args>(args)...);
  } catch (const std::bad_alloc&) {
    throw CCfgExException(CFGEX_ERROR_OUT_OF_MEMORY, file, line);
  }
}

// The failure rule: runs `body`, and catches _com_error and nothing else. The result of the
// operation is then the value that its result variable has at that moment. Nothing is undone.
template <class Body>
void Guarded(Body&& body) {
  try {
    std::forward<Body>(body)();
  } catch (const _com_error&) {  // NOLINT(bugprone-empty-catch): the rule above
  }
}

}  // namespace cfgex::internal

// The public classes are outside of all namespaces, and so are the CImpl behind them.
using namespace cfgex::internal;

// The members that every handle class has in the same form, for the class's source, once CImpl is
// complete. (A class's name cannot be in parentheses.)
// NOLINTBEGIN(bugprone-macro-parentheses)
#define CFGEX_DEFINE_HANDLE(Class)                                          \
  Class::Class(const Class& other) : m_pImpl(other.m_pImpl) { _AddRef(); }  \
  Class& Class::operator=(const Class& other) {                             \
    if (this != &other) {                                                   \
      /* `other` may be part of the state that is given up. */              \
      Class kept(other);                                                    \
      _Free();                                                              \
      m_pImpl = std::exchange(kept.m_pImpl, nullptr);                       \
    }                                                                       \
    return *this;                                                           \
  }                                                                         \
  Class::~Class() { _Free(); }                                              \
  void Class::_AddRef() {                                                   \
    if (m_pImpl != nullptr) m_pImpl->m_RefCount.fetch_add(1);               \
  }                                                                         \
  void Class::_Free() {                                                     \
    CImpl* impl = std::exchange(m_pImpl, nullptr);                          \
    if (impl != nullptr && impl->m_RefCount.fetch_sub(1) == 1) delete impl; \
  }
// NOLINTEND(bugprone-macro-parentheses)
