// libxml2, made ready once per process, and kept silent.
#pragma once

#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

namespace cfgex {

// What a handler of the engine's errors gets.
#if LIBXML_VERSION >= 21200
using EngineError = const xmlError;
#else
using EngineError = xmlError;
#endif

// Everything that calls the engine in a way that can report something does so inside one of these.
// It initialises the engine where that is due, and for the time of the scope sends this thread's
// error and warning reports nowhere, whatever handlers the application has set; its end restores
// those.
class EngineScope {
 public:
  EngineScope() noexcept;
  ~EngineScope();
  EngineScope(const EngineScope&) = delete;
  EngineScope& operator=(const EngineScope&) = delete;

 private:
  xmlStructuredErrorFunc m_Structured;
  void* m_StructuredContext;
  xmlGenericErrorFunc m_Generic;
  void* m_GenericContext;
};

}  // namespace cfgex
