/// @file
/// The library's lock and its scoped holder.
#pragma once

#include <cstdint>
#include <mutex>

#include "cfgex/export.h"

/// A recursive lock: the thread that holds it may take it again and releases it as often as it
/// took it. Not copyable.
class CFGEX_API CSLock {
 public:
  CSLock();
  virtual ~CSLock();
  CSLock(const CSLock&) = delete;
  CSLock& operator=(const CSLock&) = delete;

  /// Waits until no other thread holds the lock, and takes it.
  void Lock() { m_Section.lock(); }
  /// REQUIRES: the calling thread holds the lock.
  void Unlock() { m_Section.unlock(); }

 private:
  std::recursive_mutex m_Section;
};

/// Holds a lock from its construction to the end of its scope.
template <class LockType>
class Guard {
 public:
  /// Takes the lock.
  explicit Guard(LockType& lock) : m_pLock(&lock) {
    m_pLock->Lock();
    m_Held = 0;
  }
  /// Releases it.
  virtual ~Guard() {
    if (m_Held != -1) {
      m_Held = -1;
      m_pLock->Unlock();
    }
  }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  LockType* m_pLock;
  std::int32_t m_Held = -1;  // 0 while held, -1 once released
};
