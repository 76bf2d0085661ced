// A fresh database file with the mail tables, built through the engine's own schema
// objects the way the maintenance pass does it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/db/dao.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "support/test_support.h"

namespace ravelin::dao::test {

inline std::shared_ptr<Field> AddField(TableDef& t, const std::u16string& name, int32_t type, int32_t size = 0,
                                       bool zero = false, bool required = false, const char16_t* def = nullptr,
                                       int32_t attributes = 0) {
  auto f = t.CreateField(name, type, size);
  if (attributes) f->SetAttributes(attributes);
  if (zero) f->SetAllowZeroLength(true);
  if (required) f->SetRequired(true);
  if (def) f->SetDefaultValue(Value(def));
  t.Fields().Append(f);
  return f;
}

inline void AddPrimary(TableDef& t, const std::u16string& name, const std::u16string& field) {
  auto ix = t.CreateIndex(name);
  ix->SetPrimary(true);
  ix->Fields().Append(ix->CreateField(field));
  t.Indexes().Append(ix);
}

// The eight tables of the mail store (the columns the tests need).
inline void BuildMailTables(Database& db) {
  {
    auto t = db.CreateTableDef(u"Letters");
    AddField(*t, u"key", dbLong, 0, false, false, nullptr, dbAutoIncrField);
    AddField(*t, u"Subject", dbText, 255, true);
    AddField(*t, u"From", dbText, 255);
    AddField(*t, u"DateReceived", dbDate);
    AddField(*t, u"DateWrote", dbDate);
    AddField(*t, u"To", dbText, 255);
    AddField(*t, u"MailFolder", dbText, 255);
    AddField(*t, u"OldMailFolder", dbText, 255, true);
    AddField(*t, u"Message", dbMemo, 0, true);
    AddField(*t, u"Read", dbBoolean);
    AddField(*t, u"Size", dbLong);
    AddPrimary(*t, u"key", u"key");
    db.TableDefs().Append(t);
  }
  {
    auto t = db.CreateTableDef(u"Files");
    AddField(*t, u"N", dbLong);
    AddField(*t, u"type", dbText, 255, true);
    AddField(*t, u"subtype", dbText, 255, true);
    AddField(*t, u"Charset", dbText, 255, true);
    AddField(*t, u"Data", dbLongBinary);
    AddField(*t, u"filename", dbText, 255, true);
    AddField(*t, u"Content-ID", dbMemo);
    AddField(*t, u"Content-Disposition", dbText, 50, true);
    AddField(*t, u"AVPchecked", dbByte, 0, false, false, u"0");
    db.TableDefs().Append(t);
  }
  {
    auto t = db.CreateTableDef(u"Packs");
    AddField(*t, u"N", dbLong, 0, false, false, nullptr, dbAutoIncrField);
    AddField(*t, u"Name", dbText, 255);
    AddField(*t, u"Deleted", dbBoolean, 0, false, false, u"False");
    AddField(*t, u"Comments", dbText, 255, true);
    AddPrimary(*t, u"N", u"N");
    db.TableDefs().Append(t);
  }
  {
    auto t = db.CreateTableDef(u"PackItems");
    AddField(*t, u"Pack_N", dbLong);
    AddField(*t, u"Msg_N", dbLong);
    db.TableDefs().Append(t);
  }
  {
    auto t = db.CreateTableDef(u"Projects");
    AddField(*t, u"Obj ID", dbLong);
    AddField(*t, u"ObjType", dbLong, 0, false, false, u"0");
    AddField(*t, u"Project", dbText, 255, true);
    AddField(*t, u"InsArcPrj", dbBoolean, 0, false, false, u"False");
    db.TableDefs().Append(t);
  }
  {
    auto t = db.CreateTableDef(u"Accounts");
    AddField(*t, u"Flags", dbLong, 0, false, false, u"1");
    AddField(*t, u"boxName", dbText, 255);
    AddField(*t, u"User", dbText, 255, false, true);
    AddField(*t, u"@after", dbText, 255);
    AddField(*t, u"POPport", dbLong, 0, false, false, u"110");
    db.TableDefs().Append(t);
  }
  {
    auto t = db.CreateTableDef(u"MailFolders");
    AddField(*t, u"MailFolder", dbText, 50);
    db.TableDefs().Append(t);
  }
}

// A test with a fresh mail database open as `db`.
class MailDbTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path = dir.File("EmailW.mdb");
    db = CreateDatabase(path, dbLangGeneral, dbVersion40 | dbEncrypt);
    BuildMailTables(*db);
  }
  void TearDown() override {
    while (Engine().TransactionDepth() > 0) Engine().Rollback();
  }

  // Adds a letter and returns its key.
  int32_t AddLetter(const std::u16string& subject, const std::u16string& folder = u"Inbox",
                    double dateWrote = 0) {
    auto rs = db->OpenRecordset(u"Letters", dbOpenDynaset);
    rs->AddNew();
    int32_t key = rs->Fields(u"key").Value().AsLong();
    rs->Fields(u"Subject") = Value(subject);
    rs->Fields(u"MailFolder") = Value(folder);
    if (dateWrote != 0) rs->Fields(u"DateWrote") = Value(OleDate{dateWrote});
    rs->Update();
    return key;
  }
  void Exec(const std::u16string& sql) { db->Execute(sql); }
  int32_t CountOf(const std::u16string& source) {
    auto rs = db->OpenRecordset(source);
    if (rs->RecordCount() > 0) rs->MoveLast();
    return rs->RecordCount();
  }

  ravelin::test::TempDir dir;
  std::u16string path;
  std::shared_ptr<Database> db;
};

// The error number a call throws, or 0.
inline int32_t ErrorOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

}  // namespace ravelin::dao::test
