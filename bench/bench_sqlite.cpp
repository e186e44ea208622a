// SQLite: a table of columns per category, with tables for values that repeat and for references.
// CHECKs hold enumerations, flags, lengths and numbers, foreign keys hold the references, also the
// category of their target; patterns and dates are not checked. A commit updates one alarm rule and
// its references in a transaction with synchronous=FULL; only the changed pages are written.
// Measured with a write-ahead log and with a rollback journal. Reading gives rows, joined into a
// plain text.
#include <sqlite3.h>

#include <map>
#include <memory>
#include <optional>
#include <set>

#include "bench/bench.h"

namespace bench {
namespace {

// A prepared statement, run again and again.
class Statement {
 public:
  Statement(sqlite3* c_base, const std::string& sql) {
    Require(sqlite3_prepare_v3(c_base, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &m_Statement,
                               nullptr) == SQLITE_OK,
            "prepare: " + sql + ": " + sqlite3_errmsg(c_base));
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(m_Statement); }

  Statement& Bind(const std::vector<std::string>& values) {
    Require(sqlite3_reset(m_Statement) == SQLITE_OK, "reset a statement");
    int index = 0;
    for (const std::string& value : values)
      sqlite3_bind_text(m_Statement, ++index, value.data(), static_cast<int>(value.size()),
                        SQLITE_TRANSIENT);
    return *this;
  }
  // True while there are rows.
  bool Step() {
    const int result = sqlite3_step(m_Statement);
    Require(result == SQLITE_ROW || result == SQLITE_DONE, "step a statement");
    if (result == SQLITE_DONE)
      Require(sqlite3_reset(m_Statement) == SQLITE_OK, "reset a statement");
    return result == SQLITE_ROW;
  }
  void Row(std::string& text) const {
    for (int column = 0; column < sqlite3_column_count(m_Statement); ++column) {
      const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(m_Statement, column));
      text.append(value != nullptr ? value : "").append("\n");
    }
  }
  std::string Text(int column) const {
    return reinterpret_cast<const char*>(sqlite3_column_text(m_Statement, column));
  }

 private:
  sqlite3_stmt* m_Statement = nullptr;
};

using Columns = std::vector<std::pair<std::string, const Field*>>;

// The simple fields of an instance with those of its objects, as "Trigger_Limit".
void Flatten(const std::vector<Field>& fields, const std::string& prefix, Columns& columns) {
  for (const Field& field : fields) {
    if (field.kind < Kind::kReference) columns.emplace_back(prefix + field.name, &field);
    if (field.kind == Kind::kObject) Flatten(field.children, prefix + field.name + "_", columns);
  }
}

std::string Check(const std::string& name, Kind kind) {
  static const std::map<std::string, std::string> kSets = {
      {"Severity", "'notice','warning','critical'"},
      {"Role", "'viewer','operator','administrator'"},
      {"Protocol", "'modbus','bacnet','knx'"},
      {"Trigger_Direction", "'above','below'"},
      {"Format", "'pdf','csv','html'"}};
  const std::string quoted = "\"" + name + "\"";
  if (const auto set = kSets.find(name); set != kSets.end())
    return "TEXT NOT NULL CHECK(" + quoted + " IN (" + set->second + "))";
  switch (kind) {
    case Kind::kNumber:
      return "INTEGER NOT NULL CHECK(typeof(" + quoted + ")='integer')";
    case Kind::kFlag:
      return "TEXT NOT NULL CHECK(" + quoted + " IN ('true','false'))";
    default:
      return "TEXT CHECK(length(" + quoted + ") <= 200)";
  }
}

class Base {
 public:
  Base(const std::filesystem::path& path, const std::string& journal) {
    Require(sqlite3_open(path.c_str(), &m_Base) == SQLITE_OK, "open a database");
    Run("PRAGMA journal_mode=" + journal);
    Run("PRAGMA synchronous=FULL");
    Run("PRAGMA foreign_keys=ON");
  }
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  ~Base() { sqlite3_close_v2(m_Base); }

  void Run(const std::string& sql) {
    Require(sqlite3_exec(m_Base, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
            sql + ": " + sqlite3_errmsg(m_Base));
  }

  void Fill(const StoreData& data) {
    Run("CREATE TABLE item(id TEXT PRIMARY KEY CHECK(length(id) BETWEEN 1 AND 128),"
        " category TEXT NOT NULL, UNIQUE(id, category)) WITHOUT ROWID;"
        "CREATE TABLE reference(holder TEXT NOT NULL REFERENCES item(id), field TEXT NOT NULL,"
        " position INTEGER NOT NULL, category TEXT NOT NULL, target TEXT NOT NULL,"
        " PRIMARY KEY(holder, field, position),"
        " FOREIGN KEY(target, category) REFERENCES item(id, category)) WITHOUT ROWID;"
        "CREATE INDEX referring ON reference(target, category);"
        "CREATE TABLE value(holder TEXT NOT NULL REFERENCES item(id), field TEXT NOT NULL,"
        " position INTEGER NOT NULL, value, PRIMARY KEY(holder, field, position)) WITHOUT ROWID;");
    CreateCategories(data);
    Run("BEGIN");
    Statement item(m_Base, "INSERT INTO item VALUES(?,?)");
    for (const Instance& instance : data.instances)
      item.Bind({instance.id, instance.category}).Step();
    for (const Instance& instance : data.instances) {
      InsertColumns(instance);
      InsertLists(instance.id, "", instance.fields);
    }
    Run("COMMIT");
  }

  void CommitRule(const Instance& rule) {
    if (!m_UpdateRule) PrepareRule(rule);
    Run("BEGIN IMMEDIATE");
    Columns columns;
    Flatten(rule.fields, "", columns);
    std::vector<std::string> values;
    for (const auto& [name, field] : columns) values.push_back(field->text);
    values.push_back(rule.id);
    m_UpdateRule->Bind(values).Step();
    m_DropReferences->Bind({rule.id}).Step();
    m_DropValues->Bind({rule.id}).Step();
    InsertLists(rule.id, "", rule.fields);
    Run("COMMIT");
  }

  std::string ReadRule(const std::string& id) {
    if (!m_ReadRule) {
      m_ReadRule.emplace(m_Base, "SELECT * FROM AlarmRule WHERE id=?");
      m_ReadSensor.emplace(m_Base, "SELECT * FROM Sensor WHERE id=?");
      m_ReadUser.emplace(m_Base, "SELECT * FROM User WHERE id=?");
      m_ReadValues.emplace(
          m_Base,
          "SELECT field, position, value FROM value WHERE holder=? ORDER BY field, position");
      m_ReadReferences.emplace(m_Base,
                               "SELECT category, target, field FROM reference WHERE holder=?"
                               " ORDER BY field, position");
    }
    std::string text;
    Rows(*m_ReadRule, id, text);
    Rows(*m_ReadValues, id, text);
    std::set<std::pair<std::string, std::string>> targets;
    m_ReadReferences->Bind({id});
    while (m_ReadReferences->Step()) {
      m_ReadReferences->Row(text);
      targets.emplace(m_ReadReferences->Text(0), m_ReadReferences->Text(1));
    }
    for (const auto& [category, target] : targets) {
      Rows(category == "Sensor" ? *m_ReadSensor : *m_ReadUser, target, text);
      Rows(*m_ReadValues, target, text);
    }
    return text;
  }

 private:
  static void Rows(Statement& statement, const std::string& id, std::string& text) {
    statement.Bind({id});
    while (statement.Step()) statement.Row(text);
  }

  void CreateCategories(const StoreData& data) {
    // A category's columns are all that any of its instances has.
    std::map<std::string, std::map<std::string, Kind>> tables;
    for (const Instance& instance : data.instances) {
      Columns columns;
      Flatten(instance.fields, "", columns);
      for (const auto& [name, field] : columns)
        tables[instance.category].emplace(name, field->kind);
    }
    for (const auto& [category, columns] : tables) {
      std::string sql = "CREATE TABLE " + category + "(id TEXT PRIMARY KEY REFERENCES item(id)";
      for (const auto& [name, kind] : columns) sql += ", \"" + name + "\" " + Check(name, kind);
      Run(sql + ") WITHOUT ROWID");
    }
  }

  void InsertColumns(const Instance& instance) {
    Columns columns;
    Flatten(instance.fields, "", columns);
    std::string names = "id";
    std::string places = "?";
    std::vector<std::string> values{instance.id};
    for (const auto& [name, field] : columns) {
      names += ",\"" + name + "\"";
      places += ",?";
      values.push_back(field->text);
    }
    const std::string sql =
        "INSERT INTO " + instance.category + "(" + names + ") VALUES(" + places + ")";
    m_Inserts.try_emplace(sql, m_Base, sql).first->second.Bind(values).Step();
  }

  void InsertLists(const std::string& holder, const std::string& prefix,
                   const std::vector<Field>& fields) {
    for (const Field& field : fields) {
      const std::string name = prefix + field.name;
      if (field.kind == Kind::kReference) InsertReference(holder, name, 0, field);
      if (field.kind == Kind::kObject) InsertLists(holder, name + "_", field.children);
      std::size_t position = 0;
      for (const Field& child : field.children) {
        if (field.kind == Kind::kReferences) InsertReference(holder, name, position, child);
        if (field.kind == Kind::kValues) InsertValue(holder, name, position, child.text);
        if (field.kind == Kind::kObjects) {
          for (const Field& part : child.children) {
            const std::string path = name + "_" + part.name;
            if (part.kind == Kind::kReference)
              InsertReference(holder, path, position, part);
            else
              InsertValue(holder, path, position, part.text);
          }
        }
        ++position;
      }
    }
  }
  void InsertReference(const std::string& holder, const std::string& field, std::size_t position,
                       const Field& reference) {
    if (reference.text.empty()) return;
    const std::string sql = "INSERT INTO reference VALUES(?,?,?,?,?)";
    m_Inserts.try_emplace(sql, m_Base, sql)
        .first->second
        .Bind({holder, field, std::to_string(position), reference.category, reference.text})
        .Step();
  }
  void InsertValue(const std::string& holder, const std::string& field, std::size_t position,
                   const std::string& value) {
    const std::string sql = "INSERT INTO value VALUES(?,?,?,?)";
    m_Inserts.try_emplace(sql, m_Base, sql)
        .first->second.Bind({holder, field, std::to_string(position), value})
        .Step();
  }

  void PrepareRule(const Instance& rule) {
    Columns columns;
    Flatten(rule.fields, "", columns);
    std::string sql = "UPDATE AlarmRule SET ";
    for (const auto& [name, field] : columns) sql += "\"" + name + "\"=?,";
    sql.back() = ' ';
    m_UpdateRule.emplace(m_Base, sql + "WHERE id=?");
    m_DropReferences.emplace(m_Base, "DELETE FROM reference WHERE holder=?");
    m_DropValues.emplace(m_Base, "DELETE FROM value WHERE holder=?");
  }

  sqlite3* m_Base = nullptr;
  std::map<std::string, Statement> m_Inserts;
  std::optional<Statement> m_UpdateRule, m_DropReferences, m_DropValues;
  std::optional<Statement> m_ReadRule, m_ReadSensor, m_ReadUser, m_ReadValues, m_ReadReferences;
};

std::filesystem::path FilledBase(const std::string& subject, std::size_t size,
                                 const std::string& journal) {
  const auto path = Directory(subject, size) / "main.db";
  Base(path, journal).Fill(Data(size));
  return path;
}

Base& SharedBase(const std::string& journal, std::size_t size) {
  static std::map<std::pair<std::string, std::size_t>, std::unique_ptr<Base>> bases;
  std::unique_ptr<Base>& base = bases[{journal, size}];
  if (!base) base = std::make_unique<Base>(FilledBase("sqlite-" + journal, size, journal), journal);
  return *base;
}

}  // namespace

void RegisterSqlite() {
  for (const std::size_t size : g_Settings.stores) {
    for (const std::string journal : {"wal", "delete"}) {
      const std::string subject = "sqlite-" + journal;
      Register("read", subject, size, 0, [size, journal](benchmark::State& state) {
        Base& base = SharedBase(journal, size);
        const std::vector<std::size_t> rules = SpreadRules(Data(size));
        std::size_t next = 0;
        for (auto _ : state) {
          const Instance& rule = Data(size).instances[rules[next++ % rules.size()]];
          Require(base.ReadRule(rule.id).size() > 300, "read a rule with SQLite");
        }
      });
      Register("commit", subject, size, 20, [size, journal](benchmark::State& state) {
        Base& base = SharedBase(journal, size);
        std::vector<Instance> rules;
        for (const char* message : kMessages) {
          for (const std::size_t index : SpreadRules(Data(size))) {
            rules.push_back(Data(size).instances[index]);
            for (Field& field : rules.back().fields) {
              if (field.name == "Message") field.text = message;
            }
          }
        }
        std::size_t next = 0;
        for (auto _ : state) base.CommitRule(rules[next++ % rules.size()]);
      });
    }
    Register("open", "sqlite-wal", size, 10, [size](benchmark::State& state) {
      static std::map<std::size_t, std::filesystem::path> paths;
      auto& path = paths[size];
      if (path.empty()) path = FilledBase("sqlite-open", size, "wal");
      const std::string id = Data(size).instances[Data(size).rules[0]].id;
      for (auto _ : state) {
        Base base(path, "wal");
        Require(!base.ReadRule(id).empty(), "read a rule with SQLite");
      }
    });
  }
}

}  // namespace bench
