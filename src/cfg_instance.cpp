#include "cfgex/cfg_instance.h"

CCfgInstance::CCfgInstance(CCfgOption option) : CCfgObject(option) {}
CCfgInstance::CCfgInstance(const wchar_t* xml, CCfgOption option) : CCfgObject(xml, option) {}
CCfgInstance::~CCfgInstance() = default;

OS::x_wstring CCfgInstance::GetCategory() const { return CCfgObject::GetCategory(); }
OS::x_wstring CCfgInstance::GetInstanceId() const { return CCfgObject::GetInstanceId(); }
bool CCfgInstance::SetInstanceId(const wchar_t* id) { return CCfgObject::SetInstanceId(id); }
bool CCfgInstance::GetXml(OS::x_wstring& xml) const { return CCfgObject::GetXml(xml); }
bool CCfgInstance::SaveToFile(const wchar_t* path) const { return CCfgObject::SaveToFile(path); }
