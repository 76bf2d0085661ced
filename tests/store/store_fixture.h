// A fresh home with its own mail database path, and small helpers to build and read
// database files through the engine.
#pragma once

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "platform/db/dao.h"
#include "runtime/text.h"
#include "support/test_support.h"

namespace ravelin::test {

inline void Exec(dao::Database& db, const std::string& sql) { db.Execute(FromUtf8(sql), dao::dbFailOnError); }

class StoreFixture : public HomeFixture {
 protected:
  std::u16string DbPath() { return mail.GetDatabaseName(); }
  std::shared_ptr<dao::Database> Open(const std::u16string& path) {
    return dao::OpenDatabase(path, false, false, u"Access");
  }
  std::shared_ptr<dao::Database> Open() { return Open(DbPath()); }

  // Values of one column over the rows of a statement, in the statement's order.
  std::vector<int32_t> Column(const std::u16string& sql, const std::u16string& field) {
    std::vector<int32_t> out;
    auto db = Open();
    auto rs = db->OpenRecordset(sql, dao::dbOpenDynaset);
    while (!rs->Eof()) {
      out.push_back(NullConvLng(rs->GetField(field)));
      rs->MoveNext();
    }
    rs->Close();
    db->Close();
    return out;
  }
  std::set<int32_t> ColumnSet(const std::u16string& sql, const std::u16string& field) {
    auto v = Column(sql, field);
    return {v.begin(), v.end()};
  }

  // Names of the tables of the mail (the engine's own catalogue left out).
  static std::set<std::u16string> MailTables(dao::Database& db) {
    std::set<std::u16string> names;
    for (const auto& t : db.TableDefs()) {
      const std::u16string& n = t->Name();
      if (n.rfind(u"MSys", 0) == 0 || n.rfind(u"sqlite_", 0) == 0) continue;
      names.insert(n);
    }
    return names;
  }

  static bool HasColumn(dao::Database& db, const std::u16string& table, const std::u16string& field) {
    return db.TableDefs().Item(table)->Fields().Contains(field);
  }

  // The failures reported so far, one per line, for assertion messages.
  std::string ReportsText() {
    std::string s;
    for (const auto& r : host().Reports())
      s += ToUtf8(r.source) + ": " + std::to_string(r.err.Number) + " " + ToUtf8(r.err.Description) + "\n";
    return s;
  }

  Ravelin mail;
};

}  // namespace ravelin::test
