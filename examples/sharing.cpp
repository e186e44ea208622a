// Instances that several others refer to: the ways in which one vanishes, how to keep it, and when
// views are cut off. Works on building.xsd and building.xml in the current directory, and on a copy
// of the latter.
#include <cfgex/cfgex.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

constexpr const wchar_t* kZone = L"zone-server-room";
constexpr const wchar_t* kLobby = L"{DD7474D1-354C-4098-86A8-BA48EC2D1716}";
constexpr const wchar_t* kSite = L"site-harbour-house";        // of both, as of other zones
constexpr const wchar_t* kContact = L"user-facility-manager";  // of the site
constexpr const wchar_t* kOtherSensor = L"{62FE07F9-F98E-420D-AB36-96BC5EE219B8}";
constexpr const wchar_t* kNorthCampus = L"{F347D505-2461-40D8-B798-C9C399324933}";

void Check(bool done, const char* what) {
  if (!done) throw std::runtime_error(what);
}

CCfgInstance Open(CCfgConfigurationEx& store, const wchar_t* id) {
  OS::x_wstring xml;
  Check(store.GetConfiguration(id, xml), "there is no such instance");
  return CCfgInstance(xml);
}

OS::x_wstring TextOf(const CCfgInstance& instance) {
  OS::x_wstring xml;
  Check(instance.GetXml(xml), "the instance is bound to nothing");
  return xml;
}

void Store(CCfgConfigurationEx& store, const CCfgInstance& instance) {
  Check(store.SetConfiguration(TextOf(instance), nullptr, nullptr), "the instance is refused");
}

bool IsStored(CCfgConfigurationEx& store, const wchar_t* id) {
  OS::x_wstring xml;
  return store.GetConfiguration(id, xml);
}

OS::x_wstring IdIn(const CCfgInstance& instance, const wchar_t* reference) {
  OS::x_wstring id;
  Check(instance.GetFieldValue(reference, id), "there is no such reference");
  return id;
}

CCfgConfigurationEx Fresh() {
  std::filesystem::copy_file("building.xml", "sharing.xml",
                             std::filesystem::copy_options::overwrite_existing);
  CCfgConfigurationEx store;
  Check(store.Initialize(L"sharing.xml"), "the configuration is not valid");
  return store;
}

void WriteBackAnOlderText() {
  CCfgConfigurationEx store = Fresh();
  // [older]
  const CCfgInstance old = Open(store, kZone);

  // Meanwhile the zone gets the schedule of the lobby.
  CCfgInstance zone = Open(store, kZone);
  const OS::x_wstring schedule = IdIn(Open(store, kLobby), L"Schedule/InstanceId");
  Check(zone.SetFieldValue(L"Schedule", Open(store, schedule)), "Schedule");
  Store(store, zone);

  Store(store, old);  // takes the lobby's schedule away
  std::wcout << L"after an older text: " << IsStored(store, schedule) << L"\n";
  // [end]
}

void Remove() {
  CCfgConfigurationEx store = Fresh();
  // [remove]
  Check(store.RemoveConfiguration(TextOf(Open(store, kZone)), nullptr), "the removal");
  std::wcout << L"after a removal: " << IsStored(store, kContact) << L"\n";
  // [end]
}

void CopyOver() {
  CCfgConfigurationEx store = Fresh();
  // [copy]
  CCfgInstance hall;  // of no site
  Check(CCfgCategory(L"Zone").CreateInstance(hall), "the schema makes no zone");
  Store(store, hall);
  Check(store.CopyConfiguration(hall.GetInstanceId(), kZone, false, nullptr, nullptr), "the copy");
  std::wcout << L"after a copy: " << IsStored(store, kContact) << L"\n";
  // [end]
}

void SetReference() {
  CCfgConfigurationEx store = Fresh();
  // [reference]
  CCfgInstance zone = Open(store, kZone);
  Check(zone.SetFieldValue(L"Site", Open(store, kNorthCampus)), "Site");
  Store(store, zone);
  std::wcout << L"after a reference: " << IsStored(store, kSite) << L"\n";
  // [end]
}

// [put-back]
// Stores the text that an interrupted removal left behind. Call it after each opening.
void PutBack(CCfgConfigurationEx& store) {
  std::ifstream file("kept.xml");
  if (!file) return;
  const std::string utf8{std::istreambuf_iterator<char>(file), {}};
  file.close();
  const CVar text = CVar::Shared(utf8.c_str());
  Check(store.SetConfiguration(text, nullptr, nullptr), "kept.xml is refused");
  std::filesystem::remove("kept.xml");
}

// Removes an instance, and keeps another one with all that it reaches.
void RemoveBut(CCfgConfigurationEx& store, const wchar_t* id, const wchar_t* kept) {
  Check(Open(store, kept).SaveToFile(L"kept.xml"), "kept.xml cannot be written");
  Check(store.RemoveConfiguration(TextOf(Open(store, id)), nullptr), "the removal");
  PutBack(store);  // or, if the program ends before this, after the next opening
}
// [end]

void KeepWhenRemoving() {
  CCfgConfigurationEx store = Fresh();
  RemoveBut(store, kZone, kSite);
  std::wcout << L"after a removal: zone " << IsStored(store, kZone) << L", contact "
             << IsStored(store, kContact) << L"\n";
}

void KeepWhenSettingReference() {
  CCfgConfigurationEx store = Fresh();
  // [reference-as-text]
  CCfgInstance zone = Open(store, kLobby);
  const OS::x_wstring schedule = IdIn(Open(store, kZone), L"Schedule/InstanceId");
  Check(zone.SetFieldValue(L"Schedule/InstanceId", schedule), "Schedule");
  Store(store, zone);
  // [end]
  CCfgInstance target;
  Check(Open(store, kLobby).GetFieldValue(L"Schedule", target), "the schedule");
}

void KeepViews() {
  CCfgConfigurationEx store = Fresh();
  // [views]
  const auto firstSensor = [](const CCfgInstance& of) {
    CCfgInstanceArray sensors;
    CCfgInstance sensor;
    Check(of.GetFieldValue(L"Sensors", sensors), "Sensors");
    sensors.GetItem(0, sensor);
    return sensor;
  };
  CCfgInstance zone = Open(store, kZone);
  CCfgInstance sensor = firstSensor(zone);

  // A further sensor from the store, behind the first.
  CCfgInstanceArray sensors;
  sensors.AddItem(sensor);
  sensors.AddItem(Open(store, kOtherSensor));
  Check(zone.SetFieldValue(L"Sensors", sensors), "Sensors");

  OS::x_wstring name;
  std::wcout << L"set: " << sensor.SetFieldValue(L"Name", L"Rack 3");
  Check(firstSensor(zone).GetFieldValue(L"Name", name), "Name");
  std::wcout << L", and in the zone's document: " << name.c_str() << L"\n";

  sensor = firstSensor(zone);
  std::wcout << L"set anew: " << sensor.SetFieldValue(L"Name", L"Rack 3");
  Check(firstSensor(zone).GetFieldValue(L"Name", name), "Name");
  std::wcout << L", and in the zone's document: " << name.c_str() << L"\n";
  // [end]
}

}  // namespace

int main() {
  try {
    Check(CCfgEx_Initialization(L"building.xsd"), "the schema is not accepted");
    std::wcout << std::boolalpha << L"== ways\n";
    WriteBackAnOlderText();
    Remove();
    CopyOver();
    SetReference();
    std::wcout << L"== kept\n";
    KeepWhenRemoving();
    KeepWhenSettingReference();
    std::wcout << L"== views\n";
    KeepViews();
    CCfgEx_Uninitialization();
    return 0;
  } catch (const OS::CException& error) {
    std::wcerr << L"sharing: " << error.GetErrorMsg().c_str() << L"\n";
  } catch (const std::exception& error) {
    std::wcerr << L"sharing: " << error.what() << L"\n";
  }
  return 1;
}
