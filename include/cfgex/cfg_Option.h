/// @file
/// The schema holder, and the library's start and end.
#pragma once

#include <atomic>

#include "cfgex/cslock.h"
#include "cfgex/export.h"
#include "cfgex/os_string.h"
#include "cfgex/unknown.h"

/// Holds the one XML Schema (https://www.w3.org/TR/xmlschema-1/, version 1.0) that describes an
/// application's configuration. Every other class holds a CCfgOption and asks it for the schema.
/// A process normally has one, the singleton that CCfgEx_Initialization fills; the public
/// constructor makes further, independent ones.
///
/// A handle: copies share one state, and Initialize or Uninitialize through one acts for all copies
/// and for every object that holds one. The state lives as long as any of them.
///
/// Threads: any number of threads may call Initialize and Uninitialize at once; they run one after
/// the other. Everything else reads the state without a lock: a thread uses the holder, and what is
/// made with it, once an Initialize of its own has returned true or another thread's has ended, and
/// Uninitialize runs while no other thread uses either. Instance and CloseSingleton may run at any
/// time, but a pointer from Instance is good only until the singleton is closed.
class CFGEX_API CCfgOption {
 public:
  /// A pointer that one thread may read while another sets it; used like a plain one.
  struct AtomicPointer : std::atomic<CCfgOption*> {
    using std::atomic<CCfgOption*>::atomic;
    using std::atomic<CCfgOption*>::operator=;
    CCfgOption* operator->() const noexcept { return load(); }  ///< The holder's members.
    CCfgOption& operator*() const noexcept { return *load(); }  ///< The holder.
  };

  /// A new, uninitialised holder. Raises CCfgExException, -92004, if it cannot be allocated.
  CCfgOption();
  /// @{
  /// Another handle of the state that `other` is one of.
  CCfgOption(const CCfgOption& other);
  CCfgOption& operator=(const CCfgOption& other);
  /// @}

  /// The last handle ends the state.
  virtual ~CCfgOption();

  /// The process-wide holder, made on the first call. Raises as the constructor does.
  static CCfgOption* Instance();
  /// Destroys the process-wide holder, if there is one; copies of it live on.
  static void CloseSingleton();

  /// Loads and compiles the schema in the file `schemaFile`. True when a schema is in use
  /// afterwards: an initialised holder answers true at once and keeps the schema it has.
  /// False when `schemaFile` is null (nothing changes), when the file cannot be read, is no
  /// well-formed XML, holds a document type declaration, is no acceptable schema, or includes or
  /// imports something that is not a readable local file with the same properties. After such a
  /// false the holder is uninitialised and may be tried again.
  bool Initialize(const wchar_t* schemaFile);
  /// Forgets the schema. Always true. Objects go on with the documents that they have.
  bool Uninitialize();

  /// The compiled schema, or null when uninitialised. The caller gets no count of its own; the
  /// object lives as long as the holder is initialised.
  IUnknown* GetSchemaCache() const;
  /// The numbers of the schema's `version` attribute, 32 bits each; 0 where not set. Each number
  /// needs one more dotted piece than the one it is in: "1.2.3.4" gives 1, 2, 3, "1.2" gives 1,
  /// 0, 0 and "7" gives 0, 0, 0.
  void GetSchemaVersion(unsigned long& major, unsigned long& minor, unsigned long& revision) const;
  /// The path as it was given to the last Initialize that tried to load one, whether it succeeded
  /// or not; a relative path stays relative. Empty before that, and after Uninitialize.
  OS::x_wstring GetSchemaFile();
  /// The schema's target namespace; empty if it has none. Configuration schemas have none.
  OS::x_wstring GetTargetNamespace() const;

  /// Guards the making and the end of the singleton; never held while a store's lock is.
  static CSLock m_Lock;
  /// The singleton; null when there is none.
  static AtomicPointer m_pInstance;

 private:
  class CFGEX_PRIVATE CImpl;
  void _AddRef();
  void _Free();

  CImpl* m_pImpl;
};

/// Makes the process-wide holder and initialises it: CCfgOption::Instance()->Initialize. So the
/// first schema stays: a second call answers true at once, whatever path it is given, and
/// CCfgOption::GetSchemaFile tells which one is in use. Calls are not counted, and one
/// CCfgEx_Uninitialization ends the holder for all. After a false another call may follow, with the
/// same path or another.
///
/// Any number of threads may call this and CCfgEx_Uninitialization at once, as plug-ins do.
CFGEX_API bool CCfgEx_Initialization(const wchar_t* schemaFile);
/// Clears the process-wide holder and ends it. Always true, also without a prior initialisation.
/// Runs while no other thread uses the schema.
CFGEX_API bool CCfgEx_Uninitialization();
