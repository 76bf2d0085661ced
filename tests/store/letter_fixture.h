// A fresh mail store per test, a controllable clock and small readers of stored rows.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/module1.h"
#include "runtime/dates.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/maintenance.h"
#include "support/test_support.h"

namespace ravelin::test {

class FixedClock : public Clock {
 public:
  int64_t now = 1767225600;  // 2026-01-01 00:00:00 UTC
  int64_t UnixNow() const override { return now; }
};

using Row = std::map<std::u16string, Value>;

class StoreFixture : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    SetClockForTesting(&clock_);
    store::CorrectDB(module1::GetEmailDbPath());
  }
  void TearDown() override {
    SetClockForTesting(nullptr);
    HomeFixture::TearDown();
  }

  std::shared_ptr<dao::Database> Db() { return dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access"); }

  // Every row of a statement, each as field name -> value.
  std::vector<Row> Rows(const std::u16string& source) {
    auto db = Db();
    auto rs = db->OpenRecordset(source, dao::dbOpenSnapshot);
    std::vector<Row> out;
    while (!rs->Eof()) {
      Row r;
      for (int32_t i = 0; i < rs->Fields().Count(); ++i) r[rs->Fields(i).Name()] = rs->Fields(i).Value();
      out.push_back(std::move(r));
      rs->MoveNext();
    }
    return out;
  }
  Row Stored(int32_t key) {
    auto rows = Rows(u"Select * from Letters where key=" + NumToText(key) + u";");
    return rows.empty() ? Row{} : rows.front();
  }
  std::u16string Text(const Row& r, const std::u16string& f) {
    auto it = r.find(f);
    return it == r.end() || it->second.IsNull() ? std::u16string() : it->second.AsText();
  }
  bool IsNull(const Row& r, const std::u16string& f) {
    auto it = r.find(f);
    return it == r.end() || it->second.IsNull();
  }
  size_t Count(const std::u16string& source) { return Rows(source).size(); }

  void AddAccount(const std::u16string& user, const std::u16string& domain) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Accounts", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"User", Value(user));
    rs->SetField(u"@after", Value(domain));
    rs->Update();
  }
  int32_t AddPack(const std::u16string& name, bool deleted = false) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Name", Value(name));
    rs->SetField(u"Deleted", Value(deleted));
    const int32_t n = rs->GetField(u"N").AsLong();
    rs->Update();
    return n;
  }

  static mailHeader Header(const std::u16string& from, const std::u16string& to, const std::u16string& subject) {
    mailHeader h;
    h.From = from;
    h.to = to;
    h.Subject = subject;
    h.Message = u"Body of " + subject;
    h.Content_Type = u"text";
    return h;
  }

  FixedClock clock_;
};

}  // namespace ravelin::test
