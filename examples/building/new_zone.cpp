#include "new_zone.h"

#include <ctime>
#include <iostream>

#include "checked.h"
#include "zone_report.h"

namespace demo {

namespace {

constexpr const wchar_t* kZoneId = L"zone-battery-room";

tm Date(int year, int month, int day) {
  tm date{};
  date.tm_year = year - 1900;
  date.tm_mon = month - 1;
  date.tm_mday = day;
  date.tm_hour = 8;
  return date;
}

CCfgInstance NewSensor() {
  CCfgInstance sensor = NewInstance(L"Sensor", L"sensor-battery-room-temperature");
  Change(sensor, L"Name", L"Battery room temperature");
  Change(sensor, L"SerialNumber", L"TE-470815");
  Change(sensor, L"Register", 40101U);
  Change(sensor, L"Thresholds", ArrayOf<CCfgIntegerArray>({-50L, 0L, 280L, 350L}));
  return sensor;
}

CCfgInstance NewController(const CCfgInstance& technician) {
  CCfgInstance controller = NewInstance(L"Controller", L"controller-battery-room");
  Change(controller, L"Name", L"Battery room controller");
  Change(controller, L"Model", L"RC-220");
  Change(controller, L"Host", L"ctl-13.automation.example");
  Change(controller, L"Registers", ArrayOf<CCfgUnsignedIntegerArray>({40101UL, 40102UL}));
  Change(controller, L"InputsInUse", ArrayOf<CCfgBooleanArray>({true, false, true}));

  // An embedded object can be made separately, filled, and written to the field. Until then its
  // fields have no types.
  CCfgObject maintenance;
  Require(CCfgCategory(L"Controller").CreateObject(L"Maintenance", maintenance),
          L"the schema makes no maintenance");
  Change(maintenance, L"Next", Date(2024, 9, 17));
  Change(maintenance, L"EveryDays", 30U);
  Change(controller, L"Maintenance", maintenance);

  // Setting a reference copies the instance with all that it refers to in turn.
  Change(controller, L"Maintenance/Technician", technician);
  return controller;
}

void FillFields(CCfgInstance& zone) {
  Change(zone, L"Name", L"Battery room");
  Change(zone, L"Description", L"Uninterruptible power, beside the server room");
  Change(zone, L"Kind", L"technical");
  Change(zone, L"Floor", -1);
  Change(zone, L"SetPoint", 200);
  Change(zone, L"Area", 18U);
  Change(zone, L"MaximumOccupants", 2U);
  Change(zone, L"LastInspection", Date(2024, 5, 2));
  Change(zone, L"Tags", ArrayOf<CCfgStringArray>({L"critical", L"hydrogen", L"no open fire"}));

  // An embedded object that is read is a view: what is changed through it changes in the zone.
  CCfgObject comfort = Field<CCfgObject>(zone, L"Comfort");
  Change(comfort, L"Coolest", 150);
  Change(comfort, L"Warmest", 280);
  Require(Field<int>(zone, L"Comfort/Warmest") == 280, L"the view is none");
}

}  // namespace

void AddBatteryRoom(CCfgConfigurationEx& store) {
  Heading(L"A new zone");
  CCfgInstance zone = NewInstance(L"Zone", kZoneId);
  std::wcout << L"as the schema makes it:\n";
  PrintZone(zone);
  FillFields(zone);

  // The room next door is in the same building and shares its cooler and one of its sensors.
  const CCfgInstance neighbour = OpenInstance(store, L"zone-server-room", L"Zone");
  Change(zone, L"Site", Field<CCfgInstance>(neighbour, L"Site"));
  Change(zone, L"Schedule", OpenInstance(store, L"schedule-always-on", L"Schedule"));
  const auto controller = Field<CCfgInstance>(neighbour, L"Controller");
  Change(zone, L"Controller",
         NewController(Field<CCfgInstance>(controller, L"Maintenance/Technician")));
  Change(zone, L"Sensors",
         ArrayOf<CCfgInstanceArray>(
             {NewSensor(), OpenInstance(store, L"sensor-server-room-humidity", L"Sensor")}));
  Change(zone, L"Actuators", Field<CCfgInstanceArray>(neighbour, L"Actuators"));

  std::wcout << L"written, with the instances in reach:\n";
  PrintIds(StoreInstance(store, zone));
}

void ShowBatteryRoom(CCfgConfigurationEx& store) {
  Heading(L"The new zone, read from the file");
  const CCfgInstance zone = OpenInstance(store, kZoneId, L"Zone");
  PrintZone(zone);
  PrintDevices(zone);
}

}  // namespace demo
