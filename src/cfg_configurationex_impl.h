// The state behind CCfgConfigurationEx, and its operations.
//
// 1. m_bLoaded is set exactly while m_pDocument holds a configuration, which was valid when it
//    was loaded. A change in which memory runs out ends that.
// 2. m_pDocument may become invalid by a commit that fails; it stays so until a change makes it
//    valid again. The main file always holds a configuration that was valid when it was written.
// 3. Everything but the first test of m_bLoaded in readers happens with m_ConfigLock held. The lock
//    is recursive: copying calls the other operations with it held.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "cfgex/cfg_configurationex.h"
#include "cfgex/cslock.h"
#include "platform/dom/dom.h"
#include "src/config_file_set.h"
#include "src/frame.h"
#include "src/instance_document.h"

class CCfgConfigurationEx::CImpl : public CountedImpl {
 public:
  using IdList = std::vector<OS::x_wstring>;

  explicit CImpl(CCfgOption& option) : m_Option(option) {}
  ~CImpl();

  bool Initialize(const wchar_t* path);
  bool GetConfiguration(const wchar_t* instanceId, OS::x_wstring& xml);
  bool GetConfiguration(const wchar_t* instanceId, const wchar_t* category, OS::x_wstring& xml);
  // `save`: whether a successful change is written to the file.
  bool SetConfiguration(const wchar_t* xml, IdList* changedIds, IdList* reservedIds, bool save);
  bool RemoveConfiguration(const wchar_t* xml, IdList* changedIds, bool save);
  bool CopyConfiguration(const wchar_t* sourceId, const wchar_t* targetId, bool deep,
                         IdList* changedIds, IdList* reservedIds);

 private:
  // The document of one file, if that holds a configuration; none if it does not, or is missing.
  // Raises FileNotRead and _com_error.
  ComPtr<IXMLDOMDocument2> ReadConfiguration(const wchar_t* path);
  // Loads one file and makes it current; if it is no configuration, copies it to a bad file. Raises
  // FileNotRead, with all files as they were.
  bool LoadConfigurationFile(const wchar_t* path);
  // At the end of the store: refreshes the backup, or keeps an invalid document as a bad file.
  void CheckOnClose();
  // At the end: copies the main file over the backup, if it is the one that this store read or
  // wrote last, or is read now and good. May release the document.
  void RefreshBackup();

  // The instance `source` of the store, and all it reaches, as a stand-alone document about
  // `instanceId`.
  bool ExportInstance(const ComPtr<IXMLDOMElement>& source, const wchar_t* instanceId,
                      OS::x_wstring& xml);

  // The two cases of a write. Both may raise _com_error, with a part of the change done.
  void ReplaceInstance(const ComPtr<IXMLDOMElement>& storedElement,
                       const IncomingInstance& incoming, IdList* changedIds);
  void InsertInstance(const IncomingInstance& incoming, IdList* changedIds);

  // An instance of the removed one's category that stays, with all that it reaches: always, or only
  // if the removed instance reaches it. A null id is none.
  struct Survivor {
    const wchar_t* id = nullptr;
    bool always = false;
  };
  // RemoveConfiguration, except that the survivor stays.
  bool RemoveInstance(const wchar_t* xml, const Survivor& survivor, IdList* changedIds, bool save);

  // The commit of a change that was made in memory: validates the whole document, counts, and on
  // every tenth time copies the main file to the snapshot. False when the document is not
  // valid. The caller then saves, if it is to.
  bool Commit();
  void Save();  // raises _com_error when the file cannot be written

  // Runs a change of the document. An exception that passes the guards, lack of memory above all,
  // may leave half of the change: then the store holds nothing any more, and the file stays.
  template <class Change>
  auto WholeOrDropped(Change&& change) {
    try {
      return change();
    } catch (const _com_error&) {
      throw;
    } catch (...) {
      m_bLoaded = false;
      m_pDocument = nullptr;
      throw;
    }
  }

  CSLock m_ConfigLock;
  std::wstring m_ConfigFile;  // where the document came from, and where it is saved
  ComPtr<IXMLDOMDocument2> m_pDocument;
  std::atomic<bool> m_bLoaded{false};
  CCfgOption m_Option;
  CConfigFileSet m_FileSet;
  std::uint32_t m_SaveCount = 0;            // commits of this store, saved or not
  const std::uint32_t m_TempInterval = 10;  // commits
};
