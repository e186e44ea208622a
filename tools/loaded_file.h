// A schema, and a configuration file read as it is.
//
// No store is opened: that would copy the file to its backup, and replace a damaged file by the
// backup. Commands that only read must not do that. They use the document alone, read by the
// library's rules and bound to the schema.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cfgex/cfgex.h"
#include "platform/dom/explained_document.h"
#include "platform/os/file.h"
#include "src/reference_walk.h"
#include "tools/finding.h"
#include "tools/frame.h"

namespace cfgexctl {

using Element = ComPtr<IXMLDOMElement>;

// How many faults are written out at most; the others are counted.
inline constexpr std::size_t kMostFindings = 1000;

// The schema, compiled. Stops with kMissing or kFailed if it cannot be read, and with kInvalid and
// its faults if it does not compile.
CCfgOption OpenSchema(const std::wstring& path);
// The file's content, and its state at that time. Stops with kMissing or kFailed.
std::string ReadFileBytes(const std::wstring& path, FileState* state = nullptr);

struct Edge {
  Element from;        // the instance
  std::wstring field;  // the path of the reference in it
  Element element;     // the reference itself
  InstanceName target;
};

class LoadedFile {
 public:
  // Reads and binds the file. A text that the library refuses stops with kInvalid.
  LoadedFile(CCfgOption option, const std::wstring& path);
  // The same for a content that was already read from `path`.
  LoadedFile(CCfgOption option, const std::wstring& path, std::string bytes,
             ExplainedDocument document);

  // Validates the document.
  FaultList Validate(std::size_t limit) const;
  // Stops with kInvalid and the faults unless it is valid; `hint` says what to do instead.
  void RequireValid(std::wstring_view hint) const;

  CCfgOption Option() const { return m_Option; }
  const std::wstring& Path() const { return m_Path; }
  const std::string& Bytes() const { return m_Bytes; }
  Element Root() const { return m_Root; }
  Place PlaceOf(const Element& element) const { return m_Document.PlaceOf(element); }

  // Calls for every instance, in document order.
  void ForEachInstance(const std::function<void(const Element&)>& visit) const;
  // The instance that an argument names: its id, or "CATEGORY:ID". None, or stops with kMissing.
  Element TryFind(const std::wstring& name) const;
  Element Find(const std::wstring& name) const;
  // The instance that a reference names; none if it leads nowhere.
  Element Target(const InstanceName& reference) const;

 private:
  CCfgOption m_Option;
  std::wstring m_Path;
  std::string m_Bytes;
  ExplainedDocument m_Document;
  Element m_Root;
};

// The references that an instance holds, in document order.
std::vector<Edge> ReferencesOf(const Element& instance);

// "CATEGORY:ID" in two parts; the category is empty where there is no colon.
InstanceName ParseName(const std::wstring& name);
// An instance as one word, and as the beginning of a JSON object.
std::wstring NameOf(const Element& instance);
Json JsonName(const std::wstring& category, const std::wstring& id);
Json JsonName(const Element& instance);

}  // namespace cfgexctl
