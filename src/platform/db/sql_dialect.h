// The system's SQL dialect read and rewritten for SQLite: bracketed names, [T]![F],
// "&" concatenation (Null reads as ""), IIf/IsNull/StrComp/left$/CDate and friends,
// #m/d/yyyy# date literals (as OLE date numbers), distinctrow, True/False as -1/0,
// double-quoted text literals, Like with * and ?, and ORDER BY clauses standing before
// a Union (the engine ignored them; only the last one orders the result).
//
// Every name is quoted in the output and every text literal re-quoted, so nothing of the
// input reaches SQLite unparsed; a ";" may only end the text (3142 otherwise), and
// comment markers never survive ("--" becomes two minus signs).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravelin::dao::sql {

struct Token {
  enum Kind { Name, QuotedName, Text, Number, Date, Op, End };
  Kind kind = End;
  std::u16string text;  // name without brackets, text literal unescaped, operator
  double number = 0;    // Number and Date (OLE serial)
  size_t pos = 0;       // offset in the input
};

// Splits a text into tokens. Throws Error(3075) for an unterminated literal or name.
std::vector<Token> Tokenize(std::u16string_view text);

struct TableRef {
  std::u16string table;  // stored table name
  std::u16string alias;  // the name the statement uses for it (= table without AS)
};

// One item of the select list.
struct SelectItem {
  bool star = false;          // "*" or "T.*"
  std::u16string qualifier;   // T of "T.F" / "T.*", "" when unqualified
  std::u16string column;      // F when the item is a plain column reference
  std::u16string alias;       // AS name, "" when none
  bool IsColumn() const { return !star && !column.empty(); }
};

// "A.x = B.y" of a join condition.
struct JoinPair {
  std::u16string leftAlias, leftField, rightAlias, rightField;
};

struct Statement {
  enum Kind { Select, Action, Other };
  Kind kind = Other;
  std::string sql;              // SQLite text (UTF-8), without a closing ";"
  bool compound = false;        // has UNION
  bool distinct = false;        // SELECT DISTINCT
  bool distinctrow = false;     // SELECT DISTINCTROW (removed from sql)
  bool grouped = false;         // GROUP BY / HAVING / aggregate-looking
  std::vector<TableRef> tables; // FROM of the (first) select, in order, outside subqueries
  std::vector<SelectItem> items;
  std::vector<JoinPair> joins;  // the column equalities of the FROM clause's conditions
  size_t selectListEnd = std::string::npos;  // offset in sql where columns can be added
  bool hasWhere = false;
  bool hasOrder = false;
};

// Translates one statement. Throws Error(3142) for text after the end, Error(3075) for a
// malformed literal.
Statement Translate(std::u16string_view text);

// Translates a criteria expression (FindFirst). `resolve` maps a name (as written,
// possibly "T.F") to a parameter number (1-based) or 0 when unknown; a known name
// becomes "?n" (text parameters compare with the engine's text collation). Throws
// Error(3075) for an expression that is not one (a ";", a keyword of a statement).
struct NameResolver {
  virtual ~NameResolver() = default;
  virtual int Resolve(std::u16string_view qualifier, std::u16string_view name) = 0;
  virtual bool IsText(int param) = 0;
};
std::string TranslateExpression(std::u16string_view text, NameResolver& resolve);

// A quoted SQLite name ("a""b") as UTF-8.
std::string QuoteName(std::u16string_view name);
// A quoted SQLite text literal ('it''s') as UTF-8.
std::string QuoteText(std::u16string_view text);

// Case-insensitive name equality (names are compared the engine's way).
bool SameName(std::u16string_view a, std::u16string_view b);

}  // namespace ravelin::dao::sql
