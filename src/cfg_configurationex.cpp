#include "cfgex/cfg_configurationex.h"

#include "platform/os/file.h"
#include "src/cfg_configurationex_impl.h"

namespace {

// A write or a removal may leave an empty `Category`. Without this a file would collect them over
// the years. No schema that a store can use requires one.
void DropEmptyGroups(const ComPtr<IXMLDOMDocument2>& document) {
  constexpr long kMostEmpty = 100;
  const ComPtr<IXMLDOMNodeList> empty =
      document->selectNodes(L"/Configuration/Category[not(node()) and not(@*)]");
  const long count = empty->get_length();
  if (count <= kMostEmpty) return;
  const ComPtr<IXMLDOMElement> root = document->get_documentElement();
  for (long i = 0; i < count; ++i) root->removeChild(empty->get_item(i));
}

}  // namespace

CCfgConfigurationEx::CImpl::~CImpl() {
  // A destructor can report nothing. If memory runs out, the files stay as they are.
  try {
    CheckOnClose();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
  }
}

bool CCfgConfigurationEx::CImpl::Initialize(const wchar_t* path) {
  if (path == nullptr) return false;
  const Guard<CSLock> guard(m_ConfigLock);
  const auto open = [&] {
    m_bLoaded = false;
    m_pDocument = nullptr;
    m_FileSet.DeriveFileNames(path);
    if (LoadConfigurationFile(path)) return;
    m_FileSet.RestoreFromBackup();
    LoadConfigurationFile(m_FileSet.GetRecoveryFile().c_str());
  };
  WholeOrDropped([&] {
    try {
      Guarded(open);
    } catch (const FileNotRead&) {  // NOLINT(bugprone-empty-catch): what was not read is left alone
    }
  });
  return m_bLoaded;
}

ComPtr<IXMLDOMDocument2> CCfgConfigurationEx::CImpl::ReadConfiguration(const wchar_t* path) {
  const ComPtr<IXMLDOMDocument2> document = NewDocument(m_Option);
  if (!document || !document->load(path)) return nullptr;
  // The schema may accept other roots, but the store's paths find nothing below them.
  if (!document->selectSingleNode(L"/Configuration")) return nullptr;
  std::wstring reason;
  return ValidateDocument(document, reason) ? document : nullptr;
}

bool CCfgConfigurationEx::CImpl::LoadConfigurationFile(const wchar_t* path) {
  if (path == nullptr) return false;
  bool loaded = false;
  Guarded([&] {
    const ComPtr<IXMLDOMDocument2> document = ReadConfiguration(path);
    if (!document) return;
    DropEmptyGroups(document);
    // What may fail comes first: a document must not be kept with another file's path.
    m_ConfigFile = path;
    m_pDocument = document;
    m_FileSet.CopyToBackup(document->get_file().identity);
    m_bLoaded = loaded = true;
  });
  if (!loaded) m_FileSet.CopyToBadFile(path);
  return loaded;
}

void CCfgConfigurationEx::CImpl::CheckOnClose() {
  if (!m_bLoaded) return;
  std::wstring reason;
  if (ValidateDocument(m_pDocument, reason)) {
    Guarded([&] { RefreshBackup(); });
    return;
  }
  Guarded([&] { m_FileSet.WriteBadFile(m_pDocument->get_documentElement()->get_xml().c_str()); });
}

void CCfgConfigurationEx::CImpl::RefreshBackup() {
  if (!m_FileSet.HasCompanions()) return;
  const FileState file = m_pDocument->get_file();
  if (file.isSettled && m_FileSet.CopyToBackup(file.identity)) return;
  // Another program has written it, or may have done so in the same moment as this store.
  m_pDocument = nullptr;
  if (const auto document = ReadConfiguration(m_ConfigFile.c_str()))
    m_FileSet.CopyToBackup(document->get_file().identity);
}

bool CCfgConfigurationEx::CImpl::Commit() {
  std::wstring reason;
  if (!ValidateDocument(m_pDocument, reason)) return false;
  if (++m_SaveCount % m_TempInterval == 0) m_FileSet.CopyToTemp();
  return true;
}

void CCfgConfigurationEx::CImpl::Save() { m_pDocument->save(m_ConfigFile); }

CFGEX_DEFINE_HANDLE(CCfgConfigurationEx)

CCfgConfigurationEx::CCfgConfigurationEx(CCfgOption& option)
    : m_pImpl(MakeImpl<CImpl>(L"cfg_configurationex", __LINE__, option)) {}

bool CCfgConfigurationEx::Initialize(const wchar_t* path) { return m_pImpl->Initialize(path); }

bool CCfgConfigurationEx::GetConfiguration(const wchar_t* instanceId, OS::x_wstring& xml) {
  return m_pImpl->GetConfiguration(instanceId, xml);
}

bool CCfgConfigurationEx::GetConfiguration(const wchar_t* instanceId, const wchar_t* category,
                                           OS::x_wstring& xml) {
  return m_pImpl->GetConfiguration(instanceId, category, xml);
}

bool CCfgConfigurationEx::SetConfiguration(const wchar_t* xml,
                                           std::vector<OS::x_wstring>* changedIds,
                                           std::vector<OS::x_wstring>* reservedIds) {
  return m_pImpl->SetConfiguration(xml, changedIds, reservedIds, true);
}

bool CCfgConfigurationEx::RemoveConfiguration(const wchar_t* xml,
                                              std::vector<OS::x_wstring>* changedIds) {
  return m_pImpl->RemoveConfiguration(xml, changedIds, true);
}

bool CCfgConfigurationEx::CopyConfiguration(const wchar_t* sourceId, const wchar_t* targetId,
                                            bool deep, std::vector<OS::x_wstring>* changedIds,
                                            std::vector<OS::x_wstring>* reservedIds) {
  return m_pImpl->CopyConfiguration(sourceId, targetId, deep, changedIds, reservedIds);
}
