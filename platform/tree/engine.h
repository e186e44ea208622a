// libxml2, made ready once per process, and kept silent.
#pragma once

#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#include <cerrno>
#include <new>

namespace cfgex::internal {

// What a handler of the engine's errors gets.
#if LIBXML_VERSION >= 21200
using EngineError = const xmlError;
#else
using EngineError = xmlError;
#endif

// For owners of what the engine frees by one of its functions.
template <auto Free>
struct FreedBy {
  void operator()(auto* c_object) const noexcept { Free(c_object); }
};

// Everything that calls the engine in a way that can report something does so inside one of these.
// It initialises the engine where that is due, and for the time of the scope keeps this thread's
// error and warning reports to itself, whatever handlers the application has set; its end restores
// those.
//
// Without memory the engine goes on with what it has, and what it then answers says nothing: what
// is asked of it goes through AskEngine. A scope around another learns of what that one was told.
class EngineScope {
 public:
  EngineScope() noexcept;
  ~EngineScope();
  EngineScope(const EngineScope&) = delete;
  EngineScope& operator=(const EngineScope&) = delete;

  // Takes a report that goes to a handler other than the thread's. Outside of all scopes it is
  // dropped.
  static void Note(EngineError* error) noexcept;

  // Whether the engine told of a lack of memory since the scope began, or of a state of its own
  // that it has no answer to.
  bool IsShort() const noexcept { return m_IsShort; }
  // Whether an allocation was refused, as the C library notes it. The engine passes over some of
  // them without a word. But the C library may note it also where it found memory elsewhere.
  bool MayBeShort() const noexcept { return errno == ENOMEM; }

 private:
  static void Take(void* scope, EngineError* error) noexcept;

  mutable bool m_IsShort = false;  // a scope is const to its users
  int m_Errno;
  xmlStructuredErrorFunc m_Structured;
  void* m_StructuredContext;
  xmlGenericErrorFunc m_Generic;
  void* m_GenericContext;
};

// What `ask`, which runs the engine, gives once nothing speaks against its answer. It may be called
// several times. Raises std::bad_alloc when there was not memory enough for an answer.
template <class Ask>
auto AskEngine(Ask&& ask) {
  for (int attempt = 1;; ++attempt) {
    const EngineScope scope;
    auto answer = ask();
    if (!scope.IsShort() && !scope.MayBeShort()) return answer;
    if (scope.IsShort() || attempt == 3) throw std::bad_alloc();
  }
}

}  // namespace cfgex::internal
