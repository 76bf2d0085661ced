// The store's list statements on their indexes: every statement the record-source
// builders make is planned without a full scan of Letters where a folder, pack or letter
// narrows it, and without sorting a folder whose order an index gives; and every one
// gives the same rows in the same order with the indexes as without them.
#include <algorithm>
#include <random>

#include "runtime/vbstring.h"
#include "store/letters.h"
#include "store/list_indexes.h"
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "store/store_fixture.h"

namespace ravelin::test {
namespace {

using Plan = std::vector<std::string>;

std::string Lines(const Plan& plan) {
  std::string s;
  for (const auto& l : plan) s += "    " + l + "\n";
  return s;
}

bool Mentions(const Plan& plan, const std::string& text) {
  return std::any_of(plan.begin(), plan.end(), [&](const std::string& l) { return l.find(text) != std::string::npos; });
}

// A plan step that reads every row of Letters: a scan without an index to narrow or order it.
bool ScansAllLetters(const Plan& plan) {
  return std::any_of(plan.begin(), plan.end(), [](const std::string& l) {
    return l.rfind("SCAN Letters", 0) == 0 && l.find("USING") == std::string::npos;
  });
}

struct Source {
  std::u16string text;
  bool folderList = false;  // a letter list of one folder
  bool indexedOrder = false;  // its order is one that an index gives
  bool allFolders = false;
  bool packList = false;  // a list of packs (their project links are matched by prefix)
  // What the statement orders by: a field, "date" for the date of a pack's letters, or
  // "" (the rows of one letter or pack stand together).
  std::u16string order;
};

// A statement of the rows of one letter or pack, checked for its plan only.
Source RowsOf(std::u16string text) {
  Source s;
  s.text = std::move(text);
  return s;
}

// The value a row is ordered by; rows with equal values may come in any order.
std::string OrderValue(dao::Recordset& rs, const std::u16string& order) {
  Value v;
  if (order.empty()) {
    v = rs.Fields(0).Value();
  } else if (order == u"date") {
    v = rs.GetField(u"DateWrote");
    if (v.IsNull()) v = rs.GetField(u"DateReceived");
  } else {
    v = rs.GetField(order);
  }
  return v.IsNull() ? "Null" : ToUtf8(v.AsText());
}

const char16_t* const kFolders[] = {u"Inbox", u"Outbox", u"Sent", u"Rough copies", u"Recycle"};
const char16_t* const kProjects[] = {u"Work", u"work\\Sub", u"Work\\Sub\\Deep", u"Workshop", u"Home"};

class ListIndexesTest : public StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    ASSERT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Created);
    Seed();
  }

  // 150 letters over the folders with many equal arrival dates (ties must keep their
  // order), some without dates; packs, pack links of both sides, own links written in
  // other cases, several links of one letter, attachments.
  void Seed() {
    auto db = Open();
    std::mt19937 rng(11);
    dao::Engine().BeginTrans();
    auto let = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
    for (int i = 0; i < 150; ++i) {
      let->AddNew();
      let->SetField(u"Subject", Value(u"Letter " + NumToText(rng() % 50)));
      let->SetField(u"From", Value(u"s" + NumToText(i % 7) + u"@example.org"));
      let->SetField(u"MailFolder", Value(kFolders[rng() % 5]));
      if (i % 9 != 0) let->SetField(u"DateReceived", Value(OleDate{44000.0 + static_cast<double>(rng() % 12)}));
      if (i % 4 != 0) let->SetField(u"DateWrote", Value(OleDate{43000.0 + static_cast<double>(rng() % 30)}));
      let->SetField(u"Size", Value(static_cast<int32_t>(rng() % 100)));
      let->Update();
    }
    let->Close();
    for (int p = 1; p <= 12; ++p)
      Exec(*db, "INSERT INTO Packs (Name, Deleted) VALUES (\"pack " + std::to_string(p) + "\", " +
                    (p % 4 == 0 ? "True" : "False") + ")");
    for (int k = 1; k <= 150; k += 3)
      Exec(*db, "INSERT INTO PackItems (Pack_N, Msg_N) VALUES (" + std::to_string(1 + k % 12) + ", " + std::to_string(k) + ")");
    for (int k = 2; k <= 150; k += 5) {
      const std::string project = ToUtf8(kProjects[k % 5]);
      Exec(*db, "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (" + std::to_string(k) + ", 0, \"" +
                    project + "\", " + (k % 3 == 0 ? "True" : "False") + ")");
      if (k % 7 == 0)  // a second link of the same letter
        Exec(*db, "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (" + std::to_string(k) +
                      ", 0, \"Home\", False)");
    }
    for (int p = 1; p <= 12; p += 2)
      Exec(*db, "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (" + std::to_string(p) + ", 1, \"" +
                    ToUtf8(kProjects[p % 5]) + "\", " + (p % 3 == 0 ? "True" : "False") + ")");
    for (int k = 1; k <= 150; k += 4) Exec(*db, "INSERT INTO Files (N, filename) VALUES (" + std::to_string(k) + ", \"f\")");
    dao::Engine().CommitTrans();
    db->Close();
  }

  // Every statement the builders make for this store.
  std::vector<Source> Sources() {
    const auto F = store::FieldsOf(DbPath());
    std::vector<Source> out;
    const std::u16string orders[] = {u"DateReceived", u"key desc", u"DateReceived desc", u"Subject"};
    for (const auto& order : orders) {
      const bool indexed = order != u"Subject";
      const std::u16string field = Split(order, u" ")[0];
      for (const char16_t* folder : kFolders) {
        for (int32_t flags : {0, 1, 0 | HidePackItems, 0 | NotDeleted})
          out.push_back({store::GetRecordSource(F, folder, u"", flags, order, false), true, indexed, false, false, field});
        for (const char16_t* project : {u"Work", u"work\\sub"})
          for (bool arc : {false, true})
            for (int32_t flags : {2, 2 | HidePackItems})
              out.push_back({store::GetRecordSource(F, folder, project, flags, order, arc), true, indexed, false, false,
                             field});
      }
      for (int32_t flags : {0 | AllmFolders, 4 | AllmFolders, 1 | AllmFolders, 4 | AllmFolders | NotDeleted})
        for (bool arc : {false, true})
          out.push_back({store::GetRecordSource(F, u"dddd", u"Work", flags, order, arc), false, indexed, true, false,
                         field});
    }
    for (int32_t scope : {0, 1, 2, 4})
      for (bool deleted : {false, true})
        for (bool arc : {false, true})
          out.push_back({store::GetPacksRecordSource(F, u"Work", scope, deleted, arc), false, false, false, true, u""});
    for (int32_t pack : {1, 2, 5})
      for (int32_t status : {0, 1, 2})
        out.push_back({store::GetPackMsgRecordSource(pack, status, false), false, false, false, false, u"date"});
    for (int32_t key : {1, 7, 150}) {
      out.push_back(RowsOf(store::GetAttachRecordSource(key)));
      out.push_back(RowsOf(store::GetDataPrjRS(key, objLetter)));
      out.push_back(RowsOf(store::GetPackItemsRSbyLetter(key)));
    }
    out.push_back(RowsOf(store::DeletedMsgCountStatement(2)));
    return out;
  }

  // Every row with every field of the dynaset, in the statement's order. Rows that the statement's order
  // doesn't tell apart (equal dates, a letter's several links) are compared as a set.
  std::vector<std::string> Rows(dao::Database& db, const Source& source) {
    std::vector<std::string> rows;
    auto rs = db.OpenRecordset(source.text, dao::dbOpenDynaset);
    size_t runStart = 0;
    std::string runKey;
    for (; !rs->Eof(); rs->MoveNext()) {
      const std::string key = OrderValue(*rs, source.order);
      if (rows.empty() || key != runKey) {
        std::sort(rows.begin() + static_cast<std::ptrdiff_t>(runStart), rows.end());
        runStart = rows.size();
        runKey = key;
      }
      std::string row;
      for (int32_t i = 0; i < rs->Fields().Count(); ++i) {
        const Value v = rs->Fields(i).Value();
        row += ToUtf8(rs->Fields(i).Name()) + "=" + (v.IsNull() ? "Null" : ToUtf8(v.AsText())) + "|";
      }
      rows.push_back(std::move(row));
    }
    std::sort(rows.begin() + static_cast<std::ptrdiff_t>(runStart), rows.end());
    rs->Close();
    return rows;
  }
};

TEST_F(ListIndexesTest, NoListStatementReadsAllLettersOrSortsAFolder) {
  auto db = Open();
  std::string failures;
  for (const Source& s : Sources()) {
    if (s.text.empty()) continue;  // scopes that have no statement
    const Plan plan = db->QueryPlan(s.text);
    std::string why;
    if (!s.allFolders && ScansAllLetters(plan)) why = "scans all of Letters";
    if ((s.folderList || s.allFolders) && s.indexedOrder && Mentions(plan, "TEMP B-TREE FOR ORDER BY"))
      why = "sorts the whole list";
    if (s.folderList && !Mentions(plan, "SEARCH Letters USING")) why = "doesn't find the folder through an index";
    for (const char* link : {"SCAN PackItems", "SCAN Projects", "SCAN Files"})
      for (const auto& l : plan)
        if (!s.packList && l.rfind(link, 0) == 0 && l.find("USING") == std::string::npos)
          why = std::string(link) + " without an index";
    if (!why.empty()) failures += ToUtf8(s.text) + "\n  " + why + ":\n" + Lines(plan);
  }
  EXPECT_EQ(failures, "");
}

TEST_F(ListIndexesTest, EveryListGivesTheSameRowsInTheSameOrderWithoutTheIndexes) {
  const std::vector<Source> sources = Sources();
  std::vector<std::vector<std::string>> with;
  auto db = Open();
  for (const Source& s : sources) with.push_back(s.text.empty() ? std::vector<std::string>{} : Rows(*db, s));
  db->DropSupportIndexes();
  ASSERT_TRUE(Mentions(db->QueryPlan(sources.front().text), "SCAN Letters"));
  size_t i = 0, nonEmpty = 0;
  for (const Source& s : sources) {
    const auto without = s.text.empty() ? std::vector<std::string>{} : Rows(*db, s);
    EXPECT_EQ(with[i], without) << ToUtf8(s.text);
    nonEmpty += without.empty() ? 0 : 1;
    ++i;
  }
  EXPECT_GT(nonEmpty, sources.size() / 2);  // the seed gives most lists rows to compare
}

TEST_F(ListIndexesTest, OlderStoresGetThemAtTheNextStartAndClientsNeverSeeThem) {
  {
    auto db = Open();
    db->DropSupportIndexes();
    // The folder-by-date index is the one more.
    EXPECT_EQ(store::EnsureListIndexes(*db), static_cast<int>(store::ListIndexes().size()) + 1);
    EXPECT_EQ(store::EnsureListIndexes(*db), 0);
    db->DropSupportIndexes();
  }
  // An up-to-date store stays "current": the indexes are the engine's, not the schema's.
  EXPECT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Current);
  auto db = Open();
  EXPECT_EQ(store::EnsureListIndexes(*db), 0);
  for (const char16_t* table : {u"Letters", u"Files", u"PackItems", u"Projects", u"Packs"}) {
    auto& ix = db->TableDefs()(table)->Indexes();
    const int32_t expected = (std::u16string(table) == u"Letters" || std::u16string(table) == u"Packs") ? 1 : 0;
    EXPECT_EQ(ix.Count(), expected) << ToUtf8(table);
  }
  db->Close();
  // Compaction keeps them.
  ASSERT_TRUE(store::CompressDb(DbPath())) << ReportsText();
  auto compacted = Open();
  EXPECT_EQ(store::EnsureListIndexes(*compacted), 0);
}

// A folder's letters by the date shown as the whole-folder list orders them: the folder's
// statement read whole, its rows put in order (newest first, undated last, ties in the
// statement's order) and told as (key, rows of that letter).
std::vector<std::pair<int32_t, int32_t>> ByShownDateTheLongWay(dao::Database& db, const std::u16string& statement) {
  struct Place {
    bool dated;
    double serial;
    size_t index;
    int32_t key;
  };
  std::vector<Place> places;
  auto rs = db.OpenRecordset(statement, dao::dbOpenSnapshot);
  for (; !rs->Eof(); rs->MoveNext()) {
    Value date = rs->GetField(u"DateWrote");
    if (date.IsNull()) date = rs->GetField(u"DateReceived");
    places.push_back({!date.IsNull(), date.IsNull() ? 0.0 : date.AsDate().serial, places.size(),
                      NullConvLng(rs->GetField(u"key"))});
  }
  rs->Close();
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    if (a.dated != b.dated) return a.dated;
    if (a.dated && a.serial != b.serial) return a.serial > b.serial;
    return a.index < b.index;
  });
  std::vector<std::pair<int32_t, int32_t>> out;
  for (const Place& p : places) {
    if (!out.empty() && out.back().first == p.key) ++out.back().second;
    else out.push_back({p.key, 1});
  }
  return out;
}

TEST_F(ListIndexesTest, AFolderByTheDateShownWalksItsIndexInTheListsOrder) {
  auto db = Open();
  const Plan plan = store::WalkFolderByShownDatePlan(*db);
  EXPECT_FALSE(ScansAllLetters(plan)) << Lines(plan);
  EXPECT_FALSE(Mentions(plan, "TEMP B-TREE")) << Lines(plan);
  EXPECT_TRUE(Mentions(plan, "SEARCH Letters USING INDEX rvsx_Letters_MailFolder_ShownDate")) << Lines(plan);
  EXPECT_FALSE(Mentions(plan, "SCAN PackItems") || Mentions(plan, "SCAN Projects")) << Lines(plan);

  const auto F = store::FieldsOf(DbPath());
  const auto walk = [&](const std::u16string& folder) {
    std::vector<std::pair<int32_t, int32_t>> got;
    store::WalkFolderByShownDate(*db, folder, [&](int32_t key, int32_t rows) {
      got.push_back({key, rows});
      return true;
    });
    return got;
  };
  size_t multiRow = 0;
  for (const char16_t* folder : kFolders) {
    const auto expected = ByShownDateTheLongWay(*db, store::GetRecordSource(F, folder, u"", Allmsg, u"key", false));
    EXPECT_EQ(walk(folder), expected) << ToUtf8(folder);
    for (const auto& e : expected) multiRow += e.second > 1 ? 1 : 0;
    // A folder typed in another case is the same folder, as in the statement.
    EXPECT_EQ(walk(UCase(folder)), expected) << ToUtf8(folder);
  }
  EXPECT_GT(multiRow, 3u);  // the seed has letters in several packs and with several links
}

TEST_F(ListIndexesTest, CountsAgreeWithTheRowsOfEveryPack) {
  for (int32_t pack = 1; pack <= 12; ++pack) {
    // What a walk over the pack's letters finds.
    int32_t inPack = 0, inRecycle = 0;
    {
      auto db = Open();
      auto rs = db->OpenRecordset(store::GetPackMsgRecordSource(pack, ShowAll, false), dao::dbOpenDynaset);
      for (; !rs->Eof(); rs->MoveNext()) {
        ++inPack;
        inRecycle += NullConvStr(rs->GetField(u"MailFolder")) == u"Recycle" ? 1 : 0;
      }
    }
    EXPECT_EQ(store::DeletedMsgCount(DbPath(), pack), inRecycle) << pack;
    Letters letters;
    letters.PackNumber(Value(pack));
    EXPECT_EQ(letters.Count(), inPack) << pack;  // a true ShowDelated would mean the deleted only
    // Counting leaves the cursor where it was.
    if (inPack > 1) {
      EXPECT_EQ(letters.GetRecordset()->AbsolutePosition(), 0);
    }
  }
}

}  // namespace
}  // namespace ravelin::test
