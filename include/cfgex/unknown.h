/// @file
/// The counted base of every platform object that crosses the library's boundary.
#pragma once

#include "cfgex/export.h"

/// An object of the XML platform: an element, a document, a schema cache. It is alive as long as
/// somebody holds a count on it; an element in turn keeps its document alive.
///
/// An application meets it in CCfgObject::GetRawInterface, CCfgObject::Initialize(IUnknown*, bool)
/// and CCfgOption::GetSchemaCache, and has no other use for it than to hold it and hand it back.
///
/// Threads: counting is atomic. Everything else about an object belongs to one thread at a time.
class CFGEX_API IUnknown {
 public:
  /// @{
  /// Adds one count, or gives one up; both return the count as it was left, for diagnostics only.
  /// The Release that takes the count to 0 destroys the object.
  virtual unsigned long AddRef() noexcept = 0;
  virtual unsigned long Release() noexcept = 0;
  /// @}

  IUnknown(const IUnknown&) = delete;
  IUnknown& operator=(const IUnknown&) = delete;

 protected:
  IUnknown() = default;
  virtual ~IUnknown();
};
