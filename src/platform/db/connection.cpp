// The per-file connection: SQLite errors as engine errors, values in and out, the text
// collation and the dialect's functions, table rules, write holds and transactions.
#include <unicode/uchar.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "platform/db/internal.h"
#include "platform/db/sql_dialect.h"
#include "runtime/dates.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao {

namespace {

inline char16_t FoldUnit(char16_t c) {
  if (c < 0x80) return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
  if (c >= 0xD800 && c <= 0xDFFF) return c;
  UChar32 f = u_foldCase(c, U_FOLD_CASE_DEFAULT);
  return f < 0x10000 ? static_cast<char16_t>(f) : c;
}

std::u16string Text16(sqlite3_value* v) {
  const void* p = sqlite3_value_text16(v);
  int n = sqlite3_value_bytes16(v);
  return p ? std::u16string(static_cast<const char16_t*>(p), static_cast<size_t>(n) / 2) : std::u16string();
}

}  // namespace

int FoldCompare(const char16_t* a, size_t na, const char16_t* b, size_t nb) {
  size_t n = na < nb ? na : nb;
  for (size_t i = 0; i < n; ++i) {
    char16_t x = a[i], y = b[i];
    if (x == y) continue;
    x = FoldUnit(x);
    y = FoldUnit(y);
    if (x != y) return x < y ? -1 : 1;
  }
  return na == nb ? 0 : (na < nb ? -1 : 1);
}

const FieldMeta* TableMeta::Find(std::u16string_view field) const {
  int i = FindIndex(field);
  return i < 0 ? nullptr : &fields[static_cast<size_t>(i)];
}

int TableMeta::FindIndex(std::u16string_view field) const {
  for (size_t i = 0; i < fields.size(); ++i)
    if (sql::SameName(fields[i].name, field)) return static_cast<int>(i);
  return -1;
}

void ThrowDb(int32_t number, std::u16string text) { throw Error(number, std::move(text)); }

namespace {
// The last failure of a statement in this thread: what a transaction that the engine
// ended on its own (SQLite rolls back on a full disk or an I/O error) died of.
thread_local int lastFailure = SQLITE_OK;
}  // namespace

void ThrowSqlite(sqlite3* db, int rc, std::u16string_view context) {
  std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
  int ext = db ? sqlite3_extended_errcode(db) : rc;
  if (db) lastFailure = ext;
  std::u16string m = FromUtf8(msg);
  auto with = [&](std::u16string t) {
    if (!context.empty()) t += u" (" + std::u16string(context) + u")";
    return t;
  };
  switch (rc & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      ThrowDb(dberr::kLocked, with(u"Could not update; currently locked by another session on this machine."));
    case SQLITE_CONSTRAINT:
      if (ext == SQLITE_CONSTRAINT_UNIQUE || ext == SQLITE_CONSTRAINT_PRIMARYKEY || ext == SQLITE_CONSTRAINT_ROWID)
        ThrowDb(dberr::kDuplicateKey,
                with(u"The changes you requested to the table were not successful because they would create "
                     u"duplicate values in the index, primary key, or relationship."));
      ThrowDb(dberr::kGeneric, with(m));
    case SQLITE_NOTADB:
      ThrowDb(dberr::kUnrecognizedFormat, with(u"Unrecognized database format."));
    case SQLITE_CORRUPT:
      ThrowDb(dberr::kCorrupt, with(u"Cannot open database. It may not be a database, or the file may be corrupt."));
    case SQLITE_CANTOPEN:
      // The log beside the file could not be made: the folder is not writable.
      if (ext == SQLITE_CANTOPEN_CONVPATH || ext == SQLITE_CANTOPEN_FULLPATH) ThrowDb(dberr::kFileNotFound, with(u"Could not find file."));
      ThrowDb(dberr::kReadOnly, with(u"Cannot update. Database or object is read-only."));
    case SQLITE_READONLY:
    case SQLITE_PERM:
      ThrowDb(dberr::kReadOnly, with(u"Cannot update. Database or object is read-only."));
    case SQLITE_FULL:
      ThrowDb(dberr::kDiskFull, with(u"Not enough space on disk."));
    case SQLITE_IOERR:
      if (ext == SQLITE_IOERR_NOMEM) ThrowDb(errnum::kOutOfMemory, with(u"Out of memory"));
      ThrowDb(dberr::kDiskIO, with(u"Disk I/O error during read or write."));
    case SQLITE_NOMEM:
      ThrowDb(errnum::kOutOfMemory, with(u"Out of memory"));
    case SQLITE_TOOBIG:
      ThrowDb(dberr::kFieldTooSmall, with(u"The value is larger than a field of the database can hold."));
    default:
      break;
  }
  if (msg.rfind("no such table: ", 0) == 0)
    ThrowDb(dberr::kNoSuchTable, u"The engine cannot find the input table or query '" + FromUtf8(msg.substr(15)) + u"'.");
  if (msg.rfind("no such column: ", 0) == 0)
    ThrowDb(dberr::kTooFewParameters, u"Too few parameters. Expected 1. (" + FromUtf8(msg.substr(16)) + u")");
  if (msg.rfind("ambiguous column name", 0) == 0)
    ThrowDb(dberr::kAmbiguousField, u"The specified field could refer to more than one table listed in the FROM clause. (" + m + u")");
  if (msg.find("syntax error") != std::string::npos || msg.rfind("near ", 0) == 0)
    ThrowDb(dberr::kSyntaxInExpression, with(u"Syntax error in query expression: " + m));
  ThrowDb(dberr::kGeneric, with(m));
}

// ---- Values ---------------------------------------------------------------------------

namespace {

Value FromInt(int64_t n) {
  if (n >= std::numeric_limits<int32_t>::min() && n <= std::numeric_limits<int32_t>::max())
    return Value(static_cast<int32_t>(n));
  return Value(static_cast<double>(n));
}

template <class Get>
Value Typed(int sqlType, int32_t type, Get get) {
  if (sqlType == SQLITE_NULL) return Value();
  switch (type) {
    case dbBoolean:
      return Value(get.d() != 0.0);
    case dbByte:
    case dbInteger:
    case dbLong:
      if (sqlType == SQLITE_INTEGER) return FromInt(get.i());
      if (sqlType == SQLITE_FLOAT) return Value(get.d());
      break;
    case dbCurrency:
    case dbSingle:
    case dbDouble:
      if (sqlType == SQLITE_INTEGER || sqlType == SQLITE_FLOAT) return Value(get.d());
      break;
    case dbDate:
      if (sqlType == SQLITE_INTEGER || sqlType == SQLITE_FLOAT) return Value(OleDate{get.d()});
      break;
    case dbLongBinary:
      if (sqlType == SQLITE_BLOB || sqlType == SQLITE_TEXT) return Value::Binary(get.blob());
      break;
    default:
      break;
  }
  switch (sqlType) {
    case SQLITE_INTEGER:
      return FromInt(get.i());
    case SQLITE_FLOAT:
      return Value(get.d());
    case SQLITE_TEXT:
      return Value(get.text());
    default:
      return Value::Binary(get.blob());
  }
}

struct ColGet {
  sqlite3_stmt* st;
  int c;
  int64_t i() const { return sqlite3_column_int64(st, c); }
  double d() const { return sqlite3_column_double(st, c); }
  std::u16string text() const {
    const void* p = sqlite3_column_text16(st, c);
    int n = sqlite3_column_bytes16(st, c);
    return p ? std::u16string(static_cast<const char16_t*>(p), static_cast<size_t>(n) / 2) : std::u16string();
  }
  std::string blob() const {
    const void* p = sqlite3_column_blob(st, c);
    int n = sqlite3_column_bytes(st, c);
    return p ? std::string(static_cast<const char*>(p), static_cast<size_t>(n)) : std::string();
  }
};

struct ValGet {
  sqlite3_value* v;
  int64_t i() const { return sqlite3_value_int64(v); }
  double d() const { return sqlite3_value_double(v); }
  std::u16string text() const { return Text16(v); }
  std::string blob() const {
    const void* p = sqlite3_value_blob(v);
    int n = sqlite3_value_bytes(v);
    return p ? std::string(static_cast<const char*>(p), static_cast<size_t>(n)) : std::string();
  }
};

}  // namespace

Value ReadColumn(sqlite3_stmt* st, int col, int32_t type) {
  return Typed(sqlite3_column_type(st, col), type, ColGet{st, col});
}

Value ReadSqliteValue(sqlite3_value* v, int32_t type) { return Typed(sqlite3_value_type(v), type, ValGet{v}); }

void BindValue(sqlite3_stmt* st, int p, const Value& v, bool keep) {
  switch (v.Type()) {
    case VType::Null:
      sqlite3_bind_null(st, p);
      break;
    case VType::Boolean:
      sqlite3_bind_int(st, p, v.AsBool() ? kTrue : kFalse);
      break;
    case VType::Long:
      sqlite3_bind_int(st, p, v.AsLong());
      break;
    case VType::Double:
      sqlite3_bind_double(st, p, v.AsDouble());
      break;
    case VType::Date:
      sqlite3_bind_double(st, p, v.AsDate().serial);
      break;
    case VType::Text: {
      const auto& s = v.TextRef();
      sqlite3_bind_text16(st, p, s.data(), static_cast<int>(s.size() * 2), keep ? SQLITE_STATIC : SQLITE_TRANSIENT);
      break;
    }
    case VType::Binary: {
      const auto& b = v.BinaryRef();
      sqlite3_bind_blob(st, p, b.data(), static_cast<int>(b.size()), keep ? SQLITE_STATIC : SQLITE_TRANSIENT);
      break;
    }
  }
}

Value CoerceForField(const Value& v, const FieldMeta& meta, std::u16string_view table) {
  if (v.IsNull()) return v;
  auto conversion = [&]() -> Error {
    return Error(dberr::kConversion, u"Data type conversion error. (" + std::u16string(table) + u"." + meta.name + u")");
  };
  auto overflow = [&]() -> Error {
    return Error(dberr::kNumericOverflow, u"Numeric field overflow. (" + std::u16string(table) + u"." + meta.name + u")");
  };
  try {
    switch (meta.type) {
      case dbBoolean:
        return Value(v.AsBool());
      case dbByte:
      case dbInteger:
      case dbLong: {
        int32_t n = v.AsLong();
        if (meta.type == dbByte && (n < 0 || n > 255)) throw overflow();
        if (meta.type == dbInteger && (n < -32768 || n > 32767)) throw overflow();
        return Value(n);
      }
      case dbCurrency:
      case dbSingle:
      case dbDouble:
        return Value(v.AsDouble());
      case dbDate:
        if (v.Type() == VType::Text) {
          auto d = ParseDate(Trim(v.TextRef()));
          if (!d) throw conversion();
          return Value(*d);
        }
        return Value(OleDate{v.AsDouble()});
      case dbText:
      case dbMemo: {
        std::u16string s = v.Type() == VType::Binary ? BytesToByteText(v.BinaryRef()) : v.AsText();
        if (meta.type == dbText && meta.size > 0 && static_cast<int64_t>(s.size()) > meta.size)
          throw Error(dberr::kFieldTooSmall,
                      u"The field is too small to accept the amount of data you attempted to add. Try inserting "
                      u"or pasting less data. (" + std::u16string(table) + u"." + meta.name + u")");
        return Value(std::move(s));
      }
      case dbLongBinary:
        if (v.Type() == VType::Binary) return v;
        if (v.Type() == VType::Text) return Value::Binary(ByteTextToBytes(v.TextRef()));
        return Value::Binary(v.AsBinary());
      default:
        return v;
    }
  } catch (const Error& e) {
    if (e.Number() == errnum::kTypeMismatch) throw conversion();
    if (e.Number() == errnum::kOverflow) throw overflow();
    throw;
  }
}

Value DefaultFor(const FieldMeta& meta) {
  std::u16string d = Trim(meta.defaultValue);
  // A Yes/No field is never Null: without a default of its own a new row holds False.
  if (d.empty()) return meta.type == dbBoolean ? Value(false) : Value();
  if (d.size() >= 2 && (d.front() == u'"' || d.front() == u'\'') && d.back() == d.front())
    d = d.substr(1, d.size() - 2);
  std::u16string low = LCase(d);
  try {
    switch (meta.type) {
      case dbBoolean:
        if (low == u"true" || low == u"yes" || low == u"on") return Value(true);
        if (low == u"false" || low == u"no" || low == u"off") return Value(false);
        return Value(Val(d) != 0.0);
      case dbDate:
        if (low == u"now()") return Value(NowUtc());
        if (low == u"date()") return Value(DateValue(NowUtc()));
        return CoerceForField(Value(d), meta, u"");
      case dbText:
      case dbMemo:
        return Value(d);
      case dbLongBinary:
        return Value();
      default:
        return CoerceForField(Value(Val(d)), meta, u"");
    }
  } catch (const Error&) {
    return Value();
  }
}

const char* SqlType(int32_t type) {
  switch (type) {
    case dbBoolean:
    case dbByte:
    case dbInteger:
    case dbLong:
      return "INTEGER";
    case dbCurrency:
    case dbSingle:
    case dbDouble:
    case dbDate:
      return "REAL";
    case dbLongBinary:
      return "BLOB";
    default:
      return "TEXT COLLATE RVTEXT";
  }
}

// ---- Functions of the dialect --------------------------------------------------------

namespace {

using Fn = Value (*)(const std::vector<Value>&);

void ResultValue(sqlite3_context* ctx, const Value& v) {
  switch (v.Type()) {
    case VType::Null:
      sqlite3_result_null(ctx);
      break;
    case VType::Boolean:
      sqlite3_result_int(ctx, v.AsBool() ? kTrue : kFalse);
      break;
    case VType::Long:
      sqlite3_result_int(ctx, v.AsLong());
      break;
    case VType::Double:
      sqlite3_result_double(ctx, v.AsDouble());
      break;
    case VType::Date:
      sqlite3_result_double(ctx, v.AsDate().serial);
      break;
    case VType::Text:
      sqlite3_result_text16(ctx, v.TextRef().data(), static_cast<int>(v.TextRef().size() * 2), SQLITE_TRANSIENT);
      break;
    case VType::Binary:
      sqlite3_result_blob(ctx, v.BinaryRef().data(), static_cast<int>(v.BinaryRef().size()), SQLITE_TRANSIENT);
      break;
  }
}

void CallFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  auto fn = reinterpret_cast<Fn>(sqlite3_user_data(ctx));
  std::vector<Value> args;
  args.reserve(static_cast<size_t>(argc));
  for (int i = 0; i < argc; ++i) args.push_back(ReadSqliteValue(argv[i], -1));
  try {
    ResultValue(ctx, fn(args));
  } catch (const std::exception& e) {
    sqlite3_result_error(ctx, e.what(), -1);
  }
}

bool AnyNull(const std::vector<Value>& a, size_t n) {
  for (size_t i = 0; i < n && i < a.size(); ++i)
    if (a[i].IsNull()) return true;
  return false;
}

bool Truth(const Value& v) {
  if (v.IsNull()) return false;
  if (v.Type() == VType::Text) return Val(v.TextRef()) != 0.0;
  return v.AsDouble() != 0.0;
}

Value FnIif(const std::vector<Value>& a) { return Truth(a[0]) ? a[1] : a[2]; }
Value FnIsNull(const std::vector<Value>& a) { return Value(a[0].IsNull()); }
Value FnStrComp(const std::vector<Value>& a) {
  if (AnyNull(a, 2)) return Value();
  Compare c = a.size() > 2 && !a[2].IsNull() && a[2].AsLong() == 1 ? Compare::Text : Compare::Binary;
  return Value(StrComp(a[0].AsText(), a[1].AsText(), c));
}
Value FnLeft(const std::vector<Value>& a) {
  if (AnyNull(a, 2)) return Value();
  return Value(Left(a[0].AsText(), a[1].AsLong()));
}
Value FnRight(const std::vector<Value>& a) {
  if (AnyNull(a, 2)) return Value();
  return Value(Right(a[0].AsText(), a[1].AsLong()));
}
Value FnMid(const std::vector<Value>& a) {
  if (AnyNull(a, a.size())) return Value();
  return a.size() > 2 ? Value(Mid(a[0].AsText(), a[1].AsLong(), a[2].AsLong())) : Value(Mid(a[0].AsText(), a[1].AsLong()));
}
Value FnLen(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(Len(a[0].AsText())); }
Value FnUCase(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(UCase(a[0].AsText())); }
Value FnLCase(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(LCase(a[0].AsText())); }
Value FnTrim(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(Trim(a[0].AsText())); }
Value FnLTrim(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(LTrim(a[0].AsText())); }
Value FnRTrim(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(RTrim(a[0].AsText())); }
Value FnCDate(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(a[0].AsDate()); }
Value FnCStr(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(a[0].AsText()); }
Value FnCLng(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(a[0].AsLong()); }
Value FnCDbl(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(a[0].AsDouble()); }
Value FnCBool(const std::vector<Value>& a) { return a[0].IsNull() ? Value() : Value(a[0].AsBool()); }
Value FnVal(const std::vector<Value>& a) { return Value(a[0].IsNull() ? 0.0 : Val(a[0].AsText())); }
Value FnNz(const std::vector<Value>& a) {
  if (!a[0].IsNull()) return a[0];
  return a.size() > 1 ? a[1] : Value(u"");
}
Value FnInStr(const std::vector<Value>& a) {
  if (a.size() == 2) {
    if (AnyNull(a, 2)) return Value();
    return Value(InStr(a[0].AsText(), a[1].AsText()));
  }
  if (AnyNull(a, 3)) return Value();
  Compare c = a.size() > 3 && !a[3].IsNull() && a[3].AsLong() == 1 ? Compare::Text : Compare::Binary;
  return Value(InStr(a[0].AsLong(), a[1].AsText(), a[2].AsText(), c));
}
Value FnNow(const std::vector<Value>&) { return Value(NowLocal()); }
Value FnDate(const std::vector<Value>&) { return Value(DateValue(NowLocal())); }

// Like with the engine's wildcards: * any run, ? one character, # one digit, [..] a set
// ([!..] its complement, a-z ranges); case-insensitive. Backtracks only to the last "*",
// so the work is bounded by pattern length times text length.
bool ClassMatch(const std::u16string& p, size_t& i, char16_t c) {
  // p[i] == '['; on return i is past ']'.
  size_t j = i + 1;
  bool neg = j < p.size() && p[j] == u'!';
  if (neg) ++j;
  bool hit = false;
  size_t start = j;
  while (j < p.size() && (p[j] != u']' || j == start)) {
    char16_t lo = FoldUnit(p[j]);
    char16_t hi = lo;
    if (j + 2 < p.size() && p[j + 1] == u'-' && p[j + 2] != u']') {
      hi = FoldUnit(p[j + 2]);
      j += 2;
    }
    if (c >= lo && c <= hi) hit = true;
    ++j;
  }
  i = j < p.size() ? j + 1 : j;
  return hit != neg;
}

bool LikeMatch(const std::u16string& p, const std::u16string& s) {
  size_t pi = 0, si = 0, starP = std::u16string::npos, starS = 0;
  while (si < s.size()) {
    if (pi < p.size()) {
      char16_t pc = p[pi];
      char16_t sc = FoldUnit(s[si]);
      if (pc == u'*') {
        starP = ++pi;
        starS = si;
        continue;
      }
      if (pc == u'[') {
        size_t q = pi;
        if (ClassMatch(p, q, sc)) {
          pi = q;
          ++si;
          continue;
        }
      } else if (pc == u'?' || (pc == u'#' && s[si] >= u'0' && s[si] <= u'9') ||
                 (pc != u'#' && FoldUnit(pc) == sc)) {
        ++pi;
        ++si;
        continue;
      }
    }
    if (starP == std::u16string::npos) return false;
    pi = starP;
    si = ++starS;
  }
  while (pi < p.size() && p[pi] == u'*') ++pi;
  return pi == p.size();
}

void LikeFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) == SQLITE_NULL || sqlite3_value_type(argv[1]) == SQLITE_NULL) {
    sqlite3_result_null(ctx);
    return;
  }
  sqlite3_result_int(ctx, LikeMatch(Text16(argv[0]), Text16(argv[1])) ? 1 : 0);
}

int Collate(void*, int na, const void* a, int nb, const void* b) {
  return FoldCompare(static_cast<const char16_t*>(a), static_cast<size_t>(na) / 2,
                     static_cast<const char16_t*>(b), static_cast<size_t>(nb) / 2);
}

}  // namespace

void RegisterFunctions(sqlite3* db) {
  sqlite3_create_collation(db, "RVTEXT", SQLITE_UTF16_ALIGNED, nullptr, Collate);
  struct Def {
    const char* name;
    int argc;
    Fn fn;
    bool det;
  };
  static const Def defs[] = {
      {"rv_iif", 3, FnIif, true},       {"rv_isnull", 1, FnIsNull, true}, {"rv_strcomp", 2, FnStrComp, true},
      {"rv_strcomp", 3, FnStrComp, true}, {"rv_left", 2, FnLeft, true},   {"rv_right", 2, FnRight, true},
      {"rv_mid", 2, FnMid, true},       {"rv_mid", 3, FnMid, true},       {"rv_len", 1, FnLen, true},
      {"rv_ucase", 1, FnUCase, true},   {"rv_lcase", 1, FnLCase, true},   {"rv_trim", 1, FnTrim, true},
      {"rv_ltrim", 1, FnLTrim, true},   {"rv_rtrim", 1, FnRTrim, true},   {"rv_cdate", 1, FnCDate, true},
      {"rv_cstr", 1, FnCStr, true},     {"rv_clng", 1, FnCLng, true},     {"rv_cdbl", 1, FnCDbl, true},
      {"rv_cbool", 1, FnCBool, true},   {"rv_val", 1, FnVal, true},       {"rv_nz", 1, FnNz, true},
      {"rv_nz", 2, FnNz, true},         {"rv_instr", 2, FnInStr, true},   {"rv_instr", 3, FnInStr, true},
      {"rv_instr", 4, FnInStr, true},   {"rv_now", 0, FnNow, false},      {"rv_date", 0, FnDate, false}};
  for (const auto& d : defs)
    sqlite3_create_function_v2(db, d.name, d.argc, SQLITE_UTF8 | (d.det ? SQLITE_DETERMINISTIC : 0),
                               reinterpret_cast<void*>(d.fn), CallFn, nullptr, nullptr, nullptr);
  sqlite3_create_function_v2(db, "like", 2, SQLITE_UTF16 | SQLITE_DETERMINISTIC, nullptr, LikeFn, nullptr,
                             nullptr, nullptr);
}

// ---- Statements ------------------------------------------------------------------

Stmt::Stmt(sqlite3* db, const std::string& sql) {
  const char* tail = nullptr;
  int rc = sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &st_, &tail);
  if (rc != SQLITE_OK) {
    st_ = nullptr;
    ThrowSqlite(db, rc);
  }
  // Nothing may follow the one statement.
  while (tail && *tail && std::strchr(" \t\r\n;", *tail)) ++tail;
  if (tail && *tail) {
    sqlite3_finalize(st_);
    st_ = nullptr;
    ThrowDb(dberr::kTextAfterEnd, u"Characters found after end of SQL statement.");
  }
}

// ---- Connection --------------------------------------------------------------------

Connection::Connection(sqlite3* db, std::string key, std::u16string path, int lockFd, bool exclusive)
    : db_(db), key_(std::move(key)), path_(std::move(path)), lockFd_(lockFd), exclusive_(exclusive) {}

Connection::~Connection() {
  if (inTxn_ && db_) sqlite3_exec(db_, holds_ > 0 && !explicit_ ? "COMMIT" : "ROLLBACK", nullptr, nullptr, nullptr);
  for (auto& [k, st] : cache_) sqlite3_finalize(st);
  for (auto& [k, st] : idle_) sqlite3_finalize(st);
  if (db_) sqlite3_close_v2(db_);
  if (lockFd_ >= 0) ::close(lockFd_);
}

void Connection::Exec(const std::string& sql) {
  char* err = nullptr;
  int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err);
  if (err) sqlite3_free(err);
  if (rc != SQLITE_OK) ThrowSqlite(db_, rc);
}

sqlite3_stmt* Connection::Cached(const std::string& sql) {
  auto it = cache_.find(sql);
  if (it != cache_.end()) {
    sqlite3_reset(it->second);
    sqlite3_clear_bindings(it->second);
    return it->second;
  }
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v3(db_, sql.c_str(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &st, nullptr);
  if (rc != SQLITE_OK) ThrowSqlite(db_, rc);
  cache_.emplace(sql, st);
  return st;
}

int Connection::StepWrite(sqlite3_stmt* st, std::u16string_view context) {
  int rc;
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) {
    sqlite3_reset(st);
    ThrowSqlite(db_, rc, context);
  }
  int changes = sqlite3_changes(db_);
  sqlite3_reset(st);
  return changes;
}

sqlite3_stmt* Connection::TakeStatement(const std::string& sql) {
  auto it = idle_.find(sql);
  if (it != idle_.end()) {
    sqlite3_stmt* st = it->second;
    idle_.erase(it);
    return st;
  }
  Stmt fresh(db_, sql);
  sqlite3_stmt* st = fresh.get();
  fresh.release();
  return st;
}

void Connection::ReturnStatement(const std::string& sql, sqlite3_stmt* st, int64_t generation) {
  sqlite3_reset(st);  // ends its read of the file
  sqlite3_clear_bindings(st);
  if (idle_.size() >= 32 || generation != generation_) {
    sqlite3_finalize(st);
    return;
  }
  idle_.emplace(sql, st);
}

void Connection::CheckSchema() {
  sqlite3_stmt* st = Cached("PRAGMA schema_version");
  int64_t v = sqlite3_step(st) == SQLITE_ROW ? sqlite3_column_int64(st, 0) : -1;
  sqlite3_reset(st);
  if (v != schemaVersion_) {
    // Another connection (or process) changed the tables: what was worked out is stale.
    if (schemaVersion_ != -1) SchemaChanged();
    schemaVersion_ = v;
  }
}

void Connection::SchemaChanged() {
  ++generation_;
  plans_.clear();
  for (auto& [k, st] : idle_) sqlite3_finalize(st);
  idle_.clear();
  tables_.clear();
  namesLoaded_ = false;
  names_.clear();
  // Cached statements re-prepare themselves after a schema change.
}

std::vector<std::u16string> Connection::TableNames() {
  if (!namesLoaded_) {
    names_.clear();
    sqlite3_stmt* st = Cached(
        "SELECT name FROM sqlite_master WHERE type='table' AND substr(name,1,8)<>'ravelin_' "
        "AND substr(name,1,7)<>'sqlite_' ORDER BY rowid");
    while (sqlite3_step(st) == SQLITE_ROW) names_.push_back(ReadColumn(st, 0, dbText).AsText());
    sqlite3_reset(st);
    namesLoaded_ = true;
  }
  return names_;
}

const TableMeta* Connection::Table(std::u16string_view name) {
  std::u16string folded = FoldCase(name);
  auto it = tables_.find(folded);
  if (it != tables_.end()) return it->second.get();
  std::u16string stored;
  for (const auto& n : TableNames())
    if (sql::SameName(n, name)) stored = n;
  if (stored.empty()) return nullptr;

  auto meta = std::make_unique<TableMeta>();
  meta->name = stored;
  // Columns in stored order, with the rules kept beside them.
  Stmt info(db_, "SELECT name, type, pk FROM pragma_table_info(" + sql::QuoteText(stored) + ")");
  int pkCount = 0;
  std::vector<std::pair<std::u16string, bool>> cols;
  while (sqlite3_step(info.get()) == SQLITE_ROW) {
    FieldMeta f;
    f.name = ReadColumn(info.get(), 0, dbText).AsText();
    std::u16string t = UCase(ReadColumn(info.get(), 1, dbText).AsText());
    bool pk = sqlite3_column_int(info.get(), 2) > 0;
    pkCount += pk ? 1 : 0;
    if (t.rfind(u"INTEGER", 0) == 0) f.type = dbLong, f.size = 4;
    else if (t.rfind(u"REAL", 0) == 0) f.type = dbDouble, f.size = 8;
    else if (t.rfind(u"BLOB", 0) == 0) f.type = dbLongBinary, f.size = 0;
    else f.type = dbMemo, f.size = 0;
    cols.push_back({f.name, pk && t.rfind(u"INTEGER", 0) == 0});
    meta->fields.push_back(std::move(f));
  }
  sqlite3_stmt* rules = Cached(
      "SELECT fld, type, size, attributes, required, allowzero, defaultvalue FROM ravelin_fields WHERE tbl=?1");
  sqlite3_bind_text16(rules, 1, stored.data(), static_cast<int>(stored.size() * 2), SQLITE_STATIC);
  while (sqlite3_step(rules) == SQLITE_ROW) {
    std::u16string fld = ReadColumn(rules, 0, dbText).AsText();
    int i = meta->FindIndex(fld);
    if (i < 0) continue;
    FieldMeta& f = meta->fields[static_cast<size_t>(i)];
    f.type = sqlite3_column_int(rules, 1);
    f.size = sqlite3_column_int(rules, 2);
    f.attributes = sqlite3_column_int(rules, 3);
    f.required = sqlite3_column_int(rules, 4) != 0;
    f.allowZeroLength = sqlite3_column_int(rules, 5) != 0;
    f.defaultValue = NullConvStr(ReadColumn(rules, 6, dbText));
  }
  sqlite3_reset(rules);
  for (size_t i = 0; i < meta->fields.size(); ++i) {
    if (meta->fields[i].autoIncrement() && meta->autoField < 0) {
      meta->autoField = static_cast<int>(i);
      meta->autoIsRowKey = cols[i].second && pkCount == 1;
    }
  }
  sqlite3_stmt* ix = Cached("SELECT name, isprimary, isunique, fields, sqlname FROM ravelin_indexes WHERE tbl=?1");
  sqlite3_bind_text16(ix, 1, stored.data(), static_cast<int>(stored.size() * 2), SQLITE_STATIC);
  while (sqlite3_step(ix) == SQLITE_ROW) {
    IndexMeta m;
    m.name = ReadColumn(ix, 0, dbText).AsText();
    m.primary = sqlite3_column_int(ix, 1) != 0;
    m.unique = sqlite3_column_int(ix, 2) != 0;
    m.fields = Split(ReadColumn(ix, 3, dbText).AsText(), u";");
    m.sqlName = ToUtf8(NullConvStr(ReadColumn(ix, 4, dbText)));
    meta->indexes.push_back(std::move(m));
  }
  sqlite3_reset(ix);
  auto* raw = meta.get();
  tables_.emplace(std::move(folded), std::move(meta));
  return raw;
}

std::u16string Connection::Version() {
  sqlite3_stmt* st = Cached("SELECT value FROM ravelin_meta WHERE name='version'");
  std::u16string v = u"4.0";
  if (sqlite3_step(st) == SQLITE_ROW) v = ReadColumn(st, 0, dbText).AsText();
  sqlite3_reset(st);
  return v;
}

void Connection::Begin() {
  if (!sqlite3_get_autocommit(db_)) {
    inTxn_ = true;
    return;
  }
  // The write lock is taken at once: a transaction that read first and wrote later could
  // find, in WAL, that another process wrote in between and be refused outright.
  Exec("BEGIN IMMEDIATE");
  inTxn_ = true;
}

void Connection::Commit() {
  inTxn_ = false;
  savepoints_.clear();
  if (sqlite3_get_autocommit(db_)) {
    // SQLite ended the transaction itself after a failed write (a full disk, an I/O
    // error): nothing of it reached the file, and the caller must hear so.
    SchemaChanged();
    const int cause = lastFailure == SQLITE_OK ? SQLITE_IOERR : lastFailure;
    lastFailure = SQLITE_OK;
    ThrowSqlite(nullptr, cause, u"the changes were not saved");
  }
  int rc = sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    const int ext = sqlite3_extended_errcode(db_);
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    SchemaChanged();
    ThrowSqlite(nullptr, ext, u"the changes were not saved");
  }
}

void Connection::Savepoint(int level) {
  if (!inTxn_) {
    Begin();
  } else if (sqlite3_get_autocommit(db_)) {
    // The outer transaction was ended by a failed write: nothing may go on inside it.
    ThrowSqlite(nullptr, lastFailure == SQLITE_OK ? SQLITE_IOERR : lastFailure, u"the changes were not saved");
  }
  // Kept prepared: a letter of an import opens and releases one level each.
  StepWrite(Cached("SAVEPOINT rv_level" + std::to_string(level)));
  savepoints_.push_back(level);
}

void Connection::ReleaseSavepoint(int level) {
  if (savepoints_.empty() || savepoints_.back() != level) return;  // opened inside the level
  savepoints_.pop_back();
  if (sqlite3_get_autocommit(db_)) return;  // ended by a failure; the outer commit says so
  StepWrite(Cached("RELEASE rv_level" + std::to_string(level)));
}

void Connection::RollbackToSavepoint(int level) {
  const bool mine = !savepoints_.empty() && savepoints_.back() == level;
  if (mine) savepoints_.pop_back();
  if (sqlite3_get_autocommit(db_)) {
    // The whole transaction is gone already; the outer commit reports it.
    SchemaChanged();
    return;
  }
  if (mine) {
    const std::string name = "rv_level" + std::to_string(level);
    sqlite3_exec(db_, ("ROLLBACK TO " + name + "; RELEASE " + name).c_str(), nullptr, nullptr, nullptr);
  } else {
    // This connection joined inside the level: all it did belongs to the level.
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    savepoints_.clear();
    inTxn_ = false;
    Begin();
  }
  holds_ = 0;
  SchemaChanged();
}

void Connection::Hold() {
  if (!inTxn_) Begin();
  ++holds_;
}

void Connection::Release() {
  if (holds_ > 0) --holds_;
  if (holds_ == 0 && !explicit_ && inTxn_) Commit();
}

int64_t Connection::ReserveAutoNumber(const TableMeta& t) {
  const FieldMeta& f = t.fields[static_cast<size_t>(t.autoField)];
  int64_t last = 0;
  if (t.autoIsRowKey) {
    sqlite3_stmt* q = Cached("SELECT seq FROM sqlite_sequence WHERE name=?1");
    sqlite3_bind_text16(q, 1, t.name.data(), static_cast<int>(t.name.size() * 2), SQLITE_STATIC);
    if (sqlite3_step(q) == SQLITE_ROW) last = sqlite3_column_int64(q, 0);
    sqlite3_reset(q);
  } else {
    sqlite3_stmt* q = Cached("SELECT last FROM ravelin_seq WHERE tbl=?1 AND fld=?2");
    sqlite3_bind_text16(q, 1, t.name.data(), static_cast<int>(t.name.size() * 2), SQLITE_STATIC);
    sqlite3_bind_text16(q, 2, f.name.data(), static_cast<int>(f.name.size() * 2), SQLITE_STATIC);
    if (sqlite3_step(q) == SQLITE_ROW) last = sqlite3_column_int64(q, 0);
    sqlite3_reset(q);
  }
  sqlite3_stmt* mx = Cached("SELECT max(" + sql::QuoteName(f.name) + ") FROM " + sql::QuoteName(t.name));
  if (sqlite3_step(mx) == SQLITE_ROW) last = std::max<int64_t>(last, sqlite3_column_int64(mx, 0));
  sqlite3_reset(mx);
  int64_t next = last + 1;
  if (next > std::numeric_limits<int32_t>::max()) ThrowDb(dberr::kNumericOverflow, u"Numeric field overflow.");
  if (t.autoIsRowKey) {
    // The row key's own counter, which SQLite also honours for rows added by statements.
    sqlite3_stmt* u = Cached("UPDATE sqlite_sequence SET seq=?2 WHERE name=?1");
    sqlite3_bind_text16(u, 1, t.name.data(), static_cast<int>(t.name.size() * 2), SQLITE_STATIC);
    sqlite3_bind_int64(u, 2, next);
    if (StepWrite(u) == 0) {
      sqlite3_stmt* ins = Cached("INSERT INTO sqlite_sequence(name, seq) VALUES(?1, ?2)");
      sqlite3_bind_text16(ins, 1, t.name.data(), static_cast<int>(t.name.size() * 2), SQLITE_STATIC);
      sqlite3_bind_int64(ins, 2, next);
      StepWrite(ins);
    }
    return next;
  }
  sqlite3_stmt* w = Cached("INSERT OR REPLACE INTO ravelin_seq(tbl, fld, last) VALUES(?1, ?3, ?2)");
  sqlite3_bind_text16(w, 1, t.name.data(), static_cast<int>(t.name.size() * 2), SQLITE_STATIC);
  sqlite3_bind_int64(w, 2, next);
  sqlite3_bind_text16(w, 3, f.name.data(), static_cast<int>(f.name.size() * 2), SQLITE_STATIC);
  StepWrite(w);
  return next;
}

void Connection::SetExplicit(bool on) {
  explicit_ = on;
  if (on && !inTxn_) Begin();
  if (!on && holds_ == 0 && inTxn_) Commit();
}

void Connection::RollbackAll() {
  if (inTxn_ && !sqlite3_get_autocommit(db_)) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  inTxn_ = false;
  savepoints_.clear();
  lastFailure = SQLITE_OK;
  holds_ = 0;
  explicit_ = false;
  SchemaChanged();
}

}  // namespace ravelin::dao
