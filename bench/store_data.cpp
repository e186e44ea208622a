#include "bench/store_data.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <random>
#include <utility>

namespace bench {
namespace {

// How many instances of each category a block has: the proportions of the example.
constexpr std::size_t kSites = 2;
constexpr std::size_t kZones = 14;
constexpr std::size_t kControllers = 6;
constexpr std::size_t kSensors = 27;
constexpr std::size_t kActuators = 23;
constexpr std::size_t kSchedules = 5;
constexpr std::size_t kCalendars = 2;
constexpr std::size_t kRules = 7;
constexpr std::size_t kUsers = 10;
constexpr std::size_t kReports = 4;
static_assert(kSites + kZones + kControllers + kSensors + kActuators + kSchedules + kCalendars +
                  kRules + kUsers + kReports ==
              kBlockSize);
// The last users and sensors of a block belong to its alarm rules.
constexpr std::size_t kStaff = kUsers - kRules;

constexpr std::array kCategories = {"Site",     "Zone",     "Controller", "Sensor", "Actuator",
                                    "Schedule", "Calendar", "AlarmRule",  "User",   "Report"};

class Random {
 public:
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(m_Engine() % limit); }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <std::size_t N>
  const char* Of(const std::array<const char*, N>& values) {
    return values[Below(N)];
  }
  std::string Number(int from, int to) {
    return std::to_string(from + static_cast<int>(Below(static_cast<std::size_t>(to - from + 1))));
  }
  std::string Digits(std::size_t count) {
    std::string result;
    while (result.size() < count) result += static_cast<char>('0' + Below(10));
    return result;
  }
  std::string Flag() { return OneIn(2) ? "true" : "false"; }
  std::string Date() {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "20%02zu-%02zu-%02zuT%02zu:%02zu:00Z", 15 + Below(10),
                  1 + Below(12), 1 + Below(28), Below(24), Below(60));
    return text.data();
  }
  std::string Guid() {
    const std::uint64_t high = m_Engine();
    const std::uint64_t low = m_Engine();
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "{%08X-%04X-%04X-%04X-%012llX}",
                  static_cast<unsigned>(high >> 32), static_cast<unsigned>(high >> 16) & 0xFFFFU,
                  (static_cast<unsigned>(high) & 0x0FFFU) | 0x4000U,
                  (static_cast<unsigned>(low >> 48) & 0x3FFFU) | 0x8000U,
                  static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text.data();
  }

 private:
  std::mt19937_64 m_Engine{20240518};
};

Field Text(std::string name, std::string text) {
  return {std::move(name), Kind::kText, std::move(text), {}, {}};
}
Field Number(std::string name, std::string text) {
  return {std::move(name), Kind::kNumber, std::move(text), {}, {}};
}
Field Flag(std::string name, std::string text) {
  return {std::move(name), Kind::kFlag, std::move(text), {}, {}};
}
Field Date(std::string name, std::string text) {
  return {std::move(name), Kind::kDate, std::move(text), {}, {}};
}
Field Reference(std::string name, std::string category, std::string id) {
  return {std::move(name), Kind::kReference, std::move(id), std::move(category), {}};
}
Field List(std::string name, Kind kind, std::vector<Field> children) {
  return {std::move(name), kind, {}, {}, std::move(children)};
}

constexpr std::array kStreets = {"Am Kaiserkai", "Forschungsring", "Lange Straße", "Hafenweg"};
constexpr std::array kCities = {"Hamburg", "Lübeck", "Bremen", "Kiel"};
constexpr std::array kRooms = {"Office", "Meeting room", "Laboratory", "Archive", "Lobby"};
constexpr std::array kZoneKinds = {"office", "meeting", "laboratory", "storage", "technical"};
constexpr std::array kModels = {"DDC-4200", "DDC-4400 & I/O", "MX 16"};
constexpr std::array kProtocols = {"modbus", "bacnet", "knx"};
constexpr std::array kQuantities = {"temperature", "humidity", "carbon dioxide", "presence"};
constexpr std::array kActuatorKinds = {"valve", "damper", "blind", "light", "cooler"};
constexpr std::array kTags = {"critical", "no water", "south side", "shared", "rented out"};
constexpr std::array kSeverities = {"notice", "warning", "critical"};
constexpr std::array kFirstNames = {"Anna", "Tobias", "Marta", "Jürgen", "Priya", "Niamh"};
constexpr std::array kLastNames = {"Lindqvist", "Krämer", "Nowak", "Seidel", "Raman", "O'Connor"};
constexpr std::array kLogins = {"anna", "tobias", "marta", "juergen", "priya", "niamh"};
constexpr std::array kColumns = {"Zone", "Mean temperature", "Hours outside the band", "Alarms"};

// A block that is being made. The ids of all its instances are known before the first is made.
class Block {
 public:
  Block(Random& random, std::size_t number) : m_Random(random), m_Number(number) {
    constexpr std::array kCounts = {kSites,     kZones,     kControllers, kSensors, kActuators,
                                    kSchedules, kCalendars, kRules,       kUsers,   kReports};
    for (std::size_t category = 0; category < kCounts.size(); ++category) {
      for (std::size_t index = 0; index < kCounts[category]; ++index)
        m_Ids[category].push_back(m_Random.Guid());
    }
  }

  // Appends the instances of the block to the group of each category.
  void Make(std::array<std::vector<Instance>, kCategories.size()>& groups) {
    for (std::size_t category = 0; category < kCategories.size(); ++category) {
      for (std::size_t index = 0; index < m_Ids[category].size(); ++index) {
        groups[category].push_back(
            {kCategories[category], m_Ids[category][index], Fields(category, index)});
      }
    }
  }

 private:
  std::vector<Field> Fields(std::size_t category, std::size_t index) {
    switch (category) {
      case 0:
        return Site();
      case 1:
        return Zone();
      case 2:
        return Controller(index);
      case 3:
        return Sensor();
      case 4:
        return Actuator();
      case 5:
        return Schedule();
      case 6:
        return Calendar();
      case 7:
        return Rule(index);
      case 8:
        return User(index);
      default:
        return Report();
    }
  }

  Field Ref(std::string name, std::size_t category, std::size_t index) {
    return Reference(std::move(name), kCategories[category], m_Ids[category][index]);
  }
  Field AnyRef(std::string name, std::size_t category, std::size_t below) {
    return Ref(std::move(name), category, m_Random.Below(below));
  }
  Field Refs(std::string name, std::size_t category, std::size_t below, std::size_t most) {
    Field list = List(std::move(name), Kind::kReferences, {});
    const std::size_t start = m_Random.Below(below);
    for (std::size_t count = m_Random.Below(most + 1); count > 0; --count)
      list.children.push_back(Ref("Item", category, (start + count) % below));
    return list;
  }
  template <class Make>
  Field Values(std::string name, std::size_t count, Make make) {
    Field list = List(std::move(name), Kind::kValues, {});
    for (std::size_t i = 0; i < count; ++i) list.children.push_back(make(i));
    return list;
  }
  Field Flags(std::string name, std::size_t count) {
    return Values(std::move(name), count,
                  [&](std::size_t) { return Flag("Item", m_Random.Flag()); });
  }
  Field Numbers(std::string name, std::size_t count, int from, int to) {
    return Values(std::move(name), count,
                  [&](std::size_t) { return Number("Item", m_Random.Number(from, to)); });
  }
  Field Name(const std::string& text) { return Text("Name", text + " " + m_Random.Digits(4)); }

  std::vector<Field> Site() {
    return {Name("Site " + std::to_string(m_Number)),
            List("Address", Kind::kObject,
                 {Text("Street", std::string(m_Random.Of(kStreets)) + " " + m_Random.Number(1, 99)),
                  Text("PostalCode", m_Random.Digits(5)), Text("City", m_Random.Of(kCities)),
                  Text("Country", "DE")}),
            Text("TimeZone", "Europe/Berlin"),
            Number("Floors", m_Random.Number(1, 12)),
            Number("FloorArea", m_Random.Number(400, 20000)),
            Date("Commissioned", m_Random.Date()),
            AnyRef("Contact", 8, kStaff),
            AnyRef("Calendar", 6, kCalendars)};
  }

  std::vector<Field> Zone() {
    const std::string room = m_Random.Of(kRooms);
    std::vector<Field> fields = {
        Name(room),
        Text("Description", room + " on the side of the " + m_Random.Of(kStreets)),
        Text("Kind", m_Random.Of(kZoneKinds)),
        AnyRef("Site", 0, kSites),
        Number("Floor", m_Random.Number(-1, 12)),
        Number("SetPoint", m_Random.Number(150, 240)),
        Number("Area", m_Random.Number(10, 400)),
        Number("MaximumOccupants", m_Random.Number(1, 60)),
        Flag("Enabled", m_Random.Flag()),
        Date("LastInspection", m_Random.Date()),
        List("Comfort", Kind::kObject,
             {Number("Coolest", m_Random.Number(150, 200)),
              Number("Warmest", m_Random.Number(210, 270)),
              Number("HumidityLimit", m_Random.Number(40, 70))}),
        AnyRef("Controller", 2, kControllers),
        AnyRef("Schedule", 5, kSchedules),
        Refs("Sensors", 3, kSensors - kRules, 3),
        Refs("Actuators", 4, kActuators, 2),
        Values("Tags", m_Random.Below(3),
               [&](std::size_t) { return Text("Item", m_Random.Of(kTags)); })};
    if (m_Random.OneIn(4)) fields.push_back(Text("Remarks", "Seen to be < 20 °C in winter"));
    return fields;
  }

  std::vector<Field> Controller(std::size_t index) {
    return {Name("Controller"), Text("Model", m_Random.Of(kModels)), Number("SettingsFormat", "3"),
            Text("Protocol", m_Random.Of(kProtocols)),
            Text("Host", "controller-" + std::to_string(index) + ".site-" +
                             std::to_string(m_Number) + ".example"),
            Number("Port", m_Random.Number(500, 48000)),
            Number("PollSeconds", m_Random.Number(1, 60)), Date("Installed", m_Random.Date()),
            List("Maintenance", Kind::kObject,
                 {Date("Next", m_Random.Date()), Number("EveryDays", m_Random.Number(30, 365)),
                  AnyRef("Technician", 8, kStaff)}),
            // The last controller is the standby for all others.
            index + 1 < kControllers ? Ref("Standby", 2, kControllers - 1)
                                     : Reference("Standby", "Controller", {}),
            List("Zones", Kind::kReferences, {}),
            Numbers("Registers", 2 + m_Random.Below(6), 1000, 9999), Flags("InputsInUse", 8)};
  }

  std::vector<Field> Sensor() {
    return {Name("Sensor"),
            Text("Quantity", m_Random.Of(kQuantities)),
            Text("SerialNumber", "TS-" + m_Random.Digits(6)),
            Number("Register", m_Random.Number(1000, 9999)),
            Number("Offset", m_Random.Number(-20, 20)),
            Number("SampleSeconds", m_Random.Number(1, 600)),
            Flag("Enabled", m_Random.Flag()),
            Date("Calibrated", m_Random.Date()),
            Numbers("Thresholds", m_Random.Below(4), -100, 900)};
  }

  std::vector<Field> Actuator() {
    return {Name("Actuator"),
            Text("Kind", m_Random.Of(kActuatorKinds)),
            Text("SerialNumber", "CO-" + m_Random.Digits(6)),
            Number("RestPosition", m_Random.Number(0, 100)),
            Flag("Inverted", m_Random.Flag()),
            Number("TravelSeconds", m_Random.Number(5, 180)),
            Numbers("Channels", 1 + m_Random.Below(3), 0, 31),
            AnyRef("Feedback", 3, kSensors - kRules)};
  }

  std::vector<Field> Schedule() {
    std::vector<Field> fields = {
        Name("Schedule"), AnyRef("Calendar", 6, kCalendars), Flag("Active", m_Random.Flag()),
        Number("Priority", m_Random.Number(1, 9)), Date("ValidFrom", m_Random.Date())};
    if (m_Random.OneIn(2)) fields.push_back(Date("ValidUntil", m_Random.Date()));
    fields.push_back(Flags("Weekdays", 7));
    fields.push_back(Numbers("HourlyOffsets", 24, -40, 40));
    fields.push_back(Number("HolidayOffset", m_Random.Number(-50, 0)));
    return fields;
  }

  std::vector<Field> Calendar() {
    return {Name("Calendar"), Number("Year", m_Random.Number(2020, 2026)),
            Values("Holidays", 9, [&](std::size_t) { return Date("Item", m_Random.Date()); })};
  }

  std::vector<Field> Rule(std::size_t index) {
    return {Name("Rule"),
            Text("Severity", m_Random.Of(kSeverities)),
            Flag("Enabled", m_Random.Flag()),
            Text("Message", "Frost < 4 °C is near: close the gates " + m_Random.Digits(4)),
            List("Trigger", Kind::kObject,
                 {Ref("Sensor", 3, kSensors - kRules + index),
                  Text("Direction", m_Random.OneIn(2) ? "above" : "below"),
                  Number("Limit", m_Random.Number(-100, 900)),
                  Number("HoldSeconds", m_Random.Number(10, 600))}),
            List("Escalation", Kind::kObjects,
                 {Step("0", "email", index), Step("15", "phone", index)})};
  }
  Field Step(std::string minutes, std::string channel, std::size_t rule) {
    return List("Step", Kind::kObject,
                {Number("AfterMinutes", std::move(minutes)), Text("Channel", std::move(channel)),
                 Ref("Recipient", 8, kStaff + rule)});
  }

  std::vector<Field> User(std::size_t index) {
    const std::size_t name = m_Random.Below(kLogins.size());
    const std::string login = std::string(kLogins[name]) + "." + m_Random.Digits(5);
    std::vector<Field> fields = {
        Text("Name", std::string(kFirstNames[name]) + " " + m_Random.Of(kLastNames)),
        Text("Login", login), Text("Email", login + "@harbour-estates.example")};
    if (m_Random.OneIn(2)) fields.push_back(Text("Phone", "+49 40 5550 " + m_Random.Digits(4)));
    fields.push_back(Text("Role", "operator"));
    fields.push_back(Flag("Locked", m_Random.Flag()));
    fields.push_back(Date("PasswordChanged", m_Random.Date()));
    // The deputy of each staff member is the next one; the last one and all others have none.
    fields.push_back(index + 1 < kStaff ? Ref("Deputy", 8, index + 1)
                                        : Reference("Deputy", "User", {}));
    return fields;
  }

  std::vector<Field> Report() {
    return {Name("Report"),
            Text("Format", m_Random.OneIn(2) ? "pdf" : "csv"),
            Date("NextRun", m_Random.Date()),
            Number("KeepDays", m_Random.Number(30, 900)),
            AnyRef("Owner", 8, kStaff),
            Refs("Recipients", 8, kStaff, 2),
            Refs("Zones", 1, kZones, 4),
            Values("Columns", 3, [&](std::size_t) { return Text("Item", m_Random.Of(kColumns)); }),
            Flags("Totals", 3)};
  }

  Random& m_Random;
  std::size_t m_Number;
  std::array<std::vector<std::string>, kCategories.size()> m_Ids;
};

}  // namespace

StoreData MakeStore(std::size_t count) {
  Random random;
  std::array<std::vector<Instance>, kCategories.size()> groups;
  for (std::size_t block = 0; block < count / kBlockSize; ++block)
    Block(random, block).Make(groups);
  StoreData store;
  for (std::vector<Instance>& group : groups) {
    for (Instance& instance : group) {
      if (instance.category == "AlarmRule") store.rules.push_back(store.instances.size());
      store.instances.push_back(std::move(instance));
    }
  }
  return store;
}

void AddChain(StoreData& store, const std::string& firstId, std::size_t length) {
  const auto name = [&](std::size_t index) {
    return index == 0 ? firstId : firstId + "-" + std::to_string(index);
  };
  const auto end =
      std::find_if(store.instances.rbegin(), store.instances.rend(),
                   [](const Instance& instance) { return instance.category == "User"; });
  std::vector<Instance> users(length, *end);
  for (std::size_t index = 0; index < length; ++index) {
    users[index].id = name(index);
    users[index].fields.back() =
        Reference("Deputy", "User", index + 1 < length ? name(index + 1) : std::string());
  }
  store.instances.insert(end.base(), users.begin(), users.end());
}

}  // namespace bench
