#include "cfgex/cfg_configurationex.h"

#include "src/cfg_configurationex_impl.h"

using namespace cfgex;

CCfgConfigurationEx::CImpl::~CImpl() {
  // Nothing can be told to anybody here; without memory the files stay as they are.
  try {
    CheckOnClose();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
  }
}

bool CCfgConfigurationEx::CImpl::Initialize(const wchar_t* path) {
  if (path == nullptr) return false;
  const Guard<CSLock> guard(m_ConfigLock);
  Guarded([&] {
    if (m_bLoaded) {
      m_bLoaded = false;
      m_pDocument = nullptr;
    }
    m_FileSet.DeriveFileNames(path);
    if (LoadConfigurationFile(path)) return;
    m_FileSet.RestoreFromBackup();
    LoadConfigurationFile(m_FileSet.GetRecoveryFile().c_str());
  });
  return m_bLoaded;
}

bool CCfgConfigurationEx::CImpl::LoadConfigurationFile(const wchar_t* path) {
  if (path == nullptr) return false;
  bool loaded = false;
  Guarded([&] {
    const ComPtr<IXMLDOMDocument2> document = NewDocument(m_Option);
    if (!document || !document->load(path)) return;
    std::wstring reason;
    if (!ValidateDocument(document, reason)) return;
    // First what may fail: one file's document must not stand with another file's path.
    m_ConfigFile = path;
    m_pDocument = document;
    m_FileSet.CopyToBackup();
    m_bLoaded = loaded = true;
  });
  if (!loaded) m_FileSet.CopyToBadFile(path);
  return loaded;
}

void CCfgConfigurationEx::CImpl::CheckOnClose() {
  if (!m_bLoaded) return;
  std::wstring reason;
  if (ValidateDocument(m_pDocument, reason)) {
    m_FileSet.CopyToBackup();
    return;
  }
  Guarded([&] { m_FileSet.WriteBadFile(m_pDocument->get_documentElement()->get_xml().c_str()); });
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
