// The peer of a folder's first page: the same four-table join written for SQLite by hand,
// run with the C API on the store's own file, ten rows read. Shared by the benchmarks that
// measure a first page so that each compares with the same statement.
#pragma once

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <string>

namespace ravelin::bench {

inline void SqliteFirstPage(benchmark::State& state, const std::string& path) {
  const char* sql =
      "SELECT L.*, P1.\"Obj ID\", P1.ObjType, P1.Project, ifnull(P1.InsArcPrj, 0), PI.Pack_N, PI.Msg_N "
      "FROM Letters L LEFT JOIN PackItems PI ON L.key = PI.Msg_N "
      "LEFT JOIN Projects P ON PI.Pack_N = P.\"Obj ID\" "
      "LEFT JOIN Projects P1 ON L.key = P1.\"Obj ID\" "
      "WHERE L.MailFolder = 'Inbox' ORDER BY L.key DESC";
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  // The file's text columns name a case-blind collation; an ASCII one serves the peer.
  sqlite3_create_collation(db, "RVTEXT", SQLITE_UTF8, nullptr,
                           [](void*, int na, const void* a, int nb, const void* b) {
                             int r = sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b),
                                                      na < nb ? na : nb);
                             return r != 0 ? r : na - nb;
                           });
  for (auto _ : state) {
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &st, nullptr) != SQLITE_OK) {
      state.SkipWithError(sqlite3_errmsg(db));
      break;
    }
    for (int i = 0; i < 10 && sqlite3_step(st) == SQLITE_ROW; ++i) benchmark::DoNotOptimize(sqlite3_column_text16(st, 1));
    sqlite3_finalize(st);
  }
  sqlite3_close(db);
}

}  // namespace ravelin::bench
