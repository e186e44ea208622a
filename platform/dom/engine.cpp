#include "platform/dom/engine.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/xmlschemastypes.h>

#include <mutex>

namespace cfgex {
namespace {

void IgnoreStructured(void* /*context*/, EngineError* /*error*/) {}
void IgnoreGeneric(void* /*context*/, const char* /*format*/, ...) {}

void InitialiseEngine() noexcept {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    xmlSchemaInitTypes();
  });
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
  xmlSetStructuredErrorFunc(nullptr, IgnoreStructured);
  xmlSetGenericErrorFunc(nullptr, IgnoreGeneric);
}

EngineScope::~EngineScope() {
  xmlSetStructuredErrorFunc(m_StructuredContext, m_Structured);
  xmlSetGenericErrorFunc(m_GenericContext, m_Generic);
}

}  // namespace cfgex
