#include "cfgex/cfg_Option.h"

#include <mutex>
#include <string>
#include <vector>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "platform/os/file.h"
#include "platform/os/system.h"
#include "platform/schema/schema_model.h"
#include "src/frame.h"
#include "src/instance_document.h"
#include "src/prog_id.h"

namespace {

// Held while the library is initialised and uninitialised, so that neither closes the holder that
// the other uses. It is never destroyed: static data of others may outlive that of the library.
constinit std::mutex g_StartOrEnd;

}  // namespace

class CCfgOption::CImpl : public CountedImpl {
 public:
  bool Initialize(const wchar_t* schemaFile);
  bool Uninitialize();

  ComPtr<IXMLDOMSchemaCollection2> m_pSchemaCache;
  ComPtr<IXMLDOMDocument2> m_pSchemaDocument;
  std::wstring m_TargetNamespace;
  std::wstring m_SchemaFile;
  bool m_bInitialized = false;
  std::uint32_t m_Major = 0;
  std::uint32_t m_Minor = 0;
  std::uint32_t m_Revision = 0;

 private:
  void ReadTargetNamespace();
  void ReadVersion(const std::wstring& version);

  std::mutex m_Changing;  // held by Initialize and Uninitialize
};

bool CCfgOption::CImpl::Initialize(const wchar_t* schemaFile) {
  const std::lock_guard lock(m_Changing);
  if (m_bInitialized) return true;
  if (schemaFile == nullptr) return false;
  const auto initialize = [&] {
    m_SchemaFile = schemaFile;
    m_pSchemaDocument = NewDocument();
    const wchar_t* cacheProgId = SelectSchemaCacheProgId();
    m_pSchemaCache = nullptr;
    if (cacheProgId != nullptr)
      m_pSchemaCache = CreateObject<IXMLDOMSchemaCollection2>(cacheProgId);
    if (!m_pSchemaDocument || !m_pSchemaCache) return;

    if (!m_pSchemaDocument->load(m_SchemaFile)) return;
    ReadTargetNamespace();
    m_pSchemaCache->add(m_TargetNamespace, m_pSchemaDocument);
    const ComPtr<ISchema> schema = m_pSchemaCache->getSchema(m_TargetNamespace);
    if (!schema) return;
    ReadVersion(schema->get_version());
    m_bInitialized = true;
  };
  try {
    Guarded(initialize);
  } catch (const FileNotRead&) {  // NOLINT(bugprone-empty-catch): as for a file that is missing
  }
  return m_bInitialized;
}

void CCfgOption::CImpl::ReadTargetNamespace() {
  m_TargetNamespace.clear();
  Guarded([&] {
    m_TargetNamespace =
        AttributeText(m_pSchemaDocument->get_documentElement()->getAttribute(L"targetNamespace"));
  });
}

// A number is set only if another one follows it.
void CCfgOption::CImpl::ReadVersion(const std::wstring& version) {
  std::vector<OS::x_wstring> tokens;
  OS::SplitStringToTokensW(&tokens, OS::x_wstring(version), L".");
  if (tokens.size() > 1) m_Major = OS::_wtoi(tokens[0]);
  if (tokens.size() > 2) m_Minor = OS::_wtoi(tokens[1]);
  if (tokens.size() > 3) m_Revision = OS::_wtoi(tokens[2]);
}

bool CCfgOption::CImpl::Uninitialize() {
  const std::lock_guard lock(m_Changing);
  m_pSchemaCache = nullptr;
  m_pSchemaDocument = nullptr;
  m_TargetNamespace.clear();
  m_SchemaFile.clear();
  m_bInitialized = false;
  m_Major = m_Minor = m_Revision = 0;
  return true;
}

CSLock CCfgOption::m_Lock;
CCfgOption::AtomicPointer CCfgOption::m_pInstance{nullptr};

CFGEX_DEFINE_HANDLE(CCfgOption)

CCfgOption::CCfgOption() : m_pImpl(MakeImpl<CImpl>(L"cfg_Option", __LINE__)) {}

CCfgOption* CCfgOption::Instance() {
  if (CCfgOption* instance = m_pInstance) return instance;
  const Guard<CSLock> guard(m_Lock);
  if (m_pInstance == nullptr) m_pInstance = new CCfgOption;
  return m_pInstance;
}

void CCfgOption::CloseSingleton() {
  const Guard<CSLock> guard(m_Lock);
  delete m_pInstance.exchange(nullptr);
}

bool CCfgOption::Initialize(const wchar_t* schemaFile) { return m_pImpl->Initialize(schemaFile); }

bool CCfgOption::Uninitialize() { return m_pImpl->Uninitialize(); }

IUnknown* CCfgOption::GetSchemaCache() const {
  return m_pImpl->m_bInitialized ? m_pImpl->m_pSchemaCache.get() : nullptr;
}

void CCfgOption::GetSchemaVersion(unsigned long& major, unsigned long& minor,
                                  unsigned long& revision) const {
  major = m_pImpl->m_Major;
  minor = m_pImpl->m_Minor;
  revision = m_pImpl->m_Revision;
}

OS::x_wstring CCfgOption::GetSchemaFile() { return OS::x_wstring(m_pImpl->m_SchemaFile); }

OS::x_wstring CCfgOption::GetTargetNamespace() const {
  return OS::x_wstring(m_pImpl->m_TargetNamespace);
}

bool CCfgEx_Initialization(const wchar_t* schemaFile) {
  const std::lock_guard lock(g_StartOrEnd);
  return CCfgOption::Instance()->Initialize(schemaFile);
}

bool CCfgEx_Uninitialization() {
  const std::lock_guard lock(g_StartOrEnd);
  CCfgOption::Instance()->Uninitialize();
  CCfgOption::CloseSingleton();
  return true;
}
