// Where tests make operations fail. Each operation of the platform layer that can fail for reasons
// outside of the program passes its fault point first. If the hook says so, it fails there in its
// usual way. The hook may also end the process, or record what is done to files.
#pragma once

#include <atomic>
#include <cstddef>

#include "cfgex/com_error.h"

namespace cfgex::internal {

// The fault points, each with its name in messages.
#define CFGEX_FAULT_POINTS(POINT)              \
  /* Calls on files (file_calls.h). */         \
  POINT(kOpen, "open")                         \
  POINT(kClose, "close")                       \
  POINT(kDup, "dup")                           \
  POINT(kRead, "read")                         \
  POINT(kWrite, "write")                       \
  POINT(kLseek, "lseek")                       \
  POINT(kFtruncate, "ftruncate")               \
  POINT(kFsync, "fsync")                       \
  POINT(kFstat, "fstat")                       \
  POINT(kLstat, "lstat")                       \
  POINT(kReadlink, "readlink")                 \
  POINT(kAccess, "access")                     \
  POINT(kFchmod, "fchmod")                     \
  POINT(kFchown, "fchown")                     \
  POINT(kFgetxattr, "fgetxattr")               \
  POINT(kFlistxattr, "flistxattr")             \
  POINT(kFsetxattr, "fsetxattr")               \
  POINT(kFremovexattr, "fremovexattr")         \
  POINT(kFlock, "flock")                       \
  POINT(kRename, "rename")                     \
  POINT(kRenameat2, "renameat2")               \
  POINT(kLink, "link")                         \
  POINT(kUnlink, "unlink")                     \
  /* Memory and random bytes. */               \
  POINT(kCImpl, "CImpl")                       \
  POINT(kSysAllocString, "SysAllocString")     \
  POINT(kNewNode, "newNode")                   \
  POINT(kNewName, "newName")                   \
  POINT(kNewValidator, "newValidator")         \
  POINT(kCreateObject, "CreateObject")         \
  POINT(kGetrandom, "getrandom")               \
  /* Documents and their nodes. */             \
  POINT(kParse, "parse")                       \
  POINT(kLoad, "load")                         \
  POINT(kLoadXML, "loadXML")                   \
  POINT(kSave, "save")                         \
  POINT(kCreateElement, "createElement")       \
  POINT(kCreateNode, "createNode")             \
  POINT(kGetAttribute, "getAttribute")         \
  POINT(kSetAttribute, "setAttribute")         \
  POINT(kSetAttributeNode, "setAttributeNode") \
  POINT(kSelectSingleNode, "selectSingleNode") \
  POINT(kSelectNodes, "selectNodes")           \
  POINT(kAppendChild, "appendChild")           \
  POINT(kReplaceChild, "replaceChild")         \
  POINT(kRemoveChild, "removeChild")           \
  POINT(kCloneNode, "cloneNode")               \
  POINT(kGetText, "get_text")                  \
  POINT(kPutText, "put_text")                  \
  POINT(kGetXml, "get_xml")                    \
  /* Schemas. */                               \
  POINT(kAdd, "add")                           \
  POINT(kPutrefSchemas, "putref_schemas")      \
  POINT(kGetDeclaration, "getDeclaration")     \
  POINT(kValidate, "validate")

enum class FaultPoint {
#define CFGEX_ENUMERATOR(point, name) point,
  CFGEX_FAULT_POINTS(CFGEX_ENUMERATOR)
#undef CFGEX_ENUMERATOR
};

inline const char* NameOf(FaultPoint point) noexcept {
#define CFGEX_NAME(point, name) name,
  static constexpr const char* kNames[] = {CFGEX_FAULT_POINTS(CFGEX_NAME)};
#undef CFGEX_NAME
  return kNames[static_cast<std::size_t>(point)];
}

// One operation at its fault point. A call on files has the path or descriptor that it works on.
struct Passage {
  FaultPoint point;
  const char* path = nullptr;
  const char* newPath = nullptr;  // of kRename, kRenameat2 and kLink
  int descriptor = -1;
  std::size_t size = 0;  // of kWrite, in bytes; the hook may reduce it
  int error = 0;         // the hook may set the `errno` with which a call on files fails
};

// True makes the operation fail. Null for none.
using FaultHook = bool (*)(Passage& passage) noexcept;
inline std::atomic<FaultHook> g_FaultHook{nullptr};

inline bool FaultHere(Passage& passage) noexcept {
  const FaultHook hook = g_FaultHook.load(std::memory_order_relaxed);
  return hook != nullptr && hook(passage);
}

inline bool FaultHere(FaultPoint point) noexcept {
  Passage passage{point};
  return FaultHere(passage);
}

// For operations whose failure is a _com_error.
inline void RaiseFaultHere(FaultPoint point) {
  if (FaultHere(point)) throw _com_error(_com_error::kFail, NameOf(point));
}

}  // namespace cfgex::internal
