// Counted pointers to platform objects, and the counting that the objects share.
//
// The rules of counting: a new object has one count, which its maker owns. A ComPtr owns one count.
// A raw pointer is borrowed.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

#include "cfgex/com_error.h"
#include "cfgex/unknown.h"

namespace cfgex::internal {

// A pointer that owns one count, or nothing. Any use of an absent object raises _com_error.
template <class I>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}
  // Adds a count of its own.
  explicit ComPtr(I* object) noexcept : m_p(object) {
    if (m_p != nullptr) m_p->AddRef();
  }
  // Takes over the count that the caller has.
  static ComPtr Adopt(I* object) noexcept {
    ComPtr result;
    result.m_p = object;
    return result;
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.m_p) {}
  ComPtr(ComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
  template <class D>
  ComPtr(const ComPtr<D>& other) noexcept : ComPtr(other.get()) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(m_p, other.m_p);
    return *this;
  }
  ~ComPtr() {
    if (m_p != nullptr) m_p->Release();
  }

  I* get() const noexcept { return m_p; }
  explicit operator bool() const noexcept { return m_p != nullptr; }
  I* operator->() const {
    if (m_p == nullptr) throw _com_error(_com_error::kPointer, "call on an absent object");
    return m_p;
  }
  I& operator*() const { return *operator->(); }
  // Passes the count to the caller.
  I* Detach() noexcept { return std::exchange(m_p, nullptr); }

  template <class D>
  bool operator==(const ComPtr<D>& other) const noexcept {
    return m_p == other.get();
  }

 private:
  I* m_p = nullptr;
};

// Another interface of an object; null if it does not have that, or there is no object.
template <class I>
ComPtr<I> As(IUnknown* object) noexcept {
  return ComPtr<I>(dynamic_cast<I*>(object));
}
template <class I, class D>
ComPtr<I> As(const ComPtr<D>& object) noexcept {
  return As<I>(object.get());
}

// Counting for a class that implements the interface `I`.
template <class I>
class Counted : public I {
 public:
  unsigned long AddRef() noexcept override {
    return m_RefCount.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  unsigned long Release() noexcept override {
    const unsigned long left = m_RefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

 private:
  std::atomic<unsigned long> m_RefCount{1};
};

// Makes a counted object. The result owns its first count.
template <class T, class... Args>
ComPtr<T> MakeCounted(Args&&... args) {
  return ComPtr<T>::Adopt(new T(std::forward<Args>(args)...));
}

}  // namespace cfgex::internal
