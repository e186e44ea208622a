#include "platform/tree/engine.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/xmlschemastypes.h>

#include <mutex>
#include <utility>

namespace cfgex::internal {
namespace {

void IgnoreGeneric(void* /*context*/, const char* /*format*/, ...) {}

// Each time, since an application may have cleaned the engine up in between. The second has no lock
// of its own; both return at once when there is nothing to do.
void InitialiseEngine() noexcept {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  xmlInitParser();
  xmlSchemaInitTypes();
}

}  // namespace

// The engine raises some errors, those of character encodings among them, without the context of
// the parser at work; they go to the thread's handlers, whatever the parser was told.
EngineScope::EngineScope() noexcept {
  InitialiseEngine();
  m_Structured = xmlStructuredError;
  m_StructuredContext = xmlStructuredErrorContext;
  m_Generic = xmlGenericError;
  m_GenericContext = xmlGenericErrorContext;
  xmlSetStructuredErrorFunc(this, Take);
  xmlSetGenericErrorFunc(nullptr, IgnoreGeneric);
  m_Errno = std::exchange(errno, 0);
}

EngineScope::~EngineScope() {
  xmlSetStructuredErrorFunc(m_StructuredContext, m_Structured);
  xmlSetGenericErrorFunc(m_GenericContext, m_Generic);
  if (m_IsShort && m_Structured == Take)
    static_cast<EngineScope*>(m_StructuredContext)->m_IsShort = true;
  errno = m_Errno;
}

void EngineScope::Take(void* scope, EngineError* error) noexcept {
  if (error == nullptr) return;
  if (error->code == XML_ERR_NO_MEMORY || error->code == XML_SCHEMAV_INTERNAL)
    static_cast<EngineScope*>(scope)->m_IsShort = true;
}

void EngineScope::Note(EngineError* error) noexcept {
  if (xmlStructuredError == Take) Take(xmlStructuredErrorContext, error);
}

}  // namespace cfgex::internal
