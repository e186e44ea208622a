// The README's ten lines. Run it in a directory with the files of examples/building.
// [all]
#include <cfgex/cfgex.h>

int main() {
  CCfgEx_Initialization(L"building.xsd");
  CCfgConfigurationEx store;
  store.Initialize(L"building.xml");  // restored from its backup if damaged

  OS::x_wstring xml;
  store.GetConfiguration(L"zone-server-room", xml);  // the zone and all that it refers to
  CCfgInstance zone(xml);
  zone.SetFieldValue(L"Name", L"Server room, north");  // false if the schema's type differs
  zone.GetXml(xml);
  return store.SetConfiguration(xml, nullptr, nullptr) ? 0 : 1;  // validated, then on disk
}
// [end]
