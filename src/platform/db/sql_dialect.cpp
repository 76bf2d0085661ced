// Reading the system's SQL dialect and writing SQLite text (see sql_dialect.h).
#include "platform/db/sql_dialect.h"

#include <cmath>
#include <cstdio>
#include <unordered_map>
#include <unordered_set>

#include "platform/db/dao.h"
#include "platform/db/internal.h"
#include "runtime/dates.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao::sql {

namespace {

[[noreturn]] void Syntax(std::u16string_view text, int32_t number = dberr::kSyntaxInExpression) {
  std::u16string msg = number == dberr::kTextAfterEnd ? u"Characters found after end of SQL statement."
                                      : u"Syntax error in query expression '" + std::u16string(text) + u"'.";
  throw Error(number, msg);
}

bool IsNameStart(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_' || c >= 0x80; }
bool IsNameChar(char16_t c) { return IsNameStart(c) || (c >= u'0' && c <= u'9') || c == u'$'; }
bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

std::string Lower(std::u16string_view s) {
  std::string out;
  out.reserve(s.size());
  for (char16_t c : s) out.push_back(c < 0x80 ? static_cast<char>(c >= u'A' && c <= u'Z' ? c + 32 : c) : '\x7f');
  return out;
}

// Statement words passed through as keywords; any other bare word is a name.
const std::unordered_set<std::string>& Keywords() {
  static const std::unordered_set<std::string> k = {
      "select", "from",   "where",  "and",    "or",     "not",   "in",     "is",     "null",  "like",
      "as",     "on",     "join",   "left",   "right",  "inner", "outer",  "order",  "by",    "group",
      "having", "union",  "all",    "distinct", "asc",  "desc",  "between", "insert", "into", "values",
      "update", "set",    "delete", "exists", "xor",    "eqv",   "mod",    "distinctrow", "true", "false",
      "create", "drop",   "alter",  "table",  "index",  "column", "add",   "top"};
  return k;
}

// Functions of the dialect and their SQLite names (registered by the engine).
const std::unordered_map<std::string, std::string>& Functions() {
  static const std::unordered_map<std::string, std::string> f = {
      {"iif", "rv_iif"},       {"isnull", "rv_isnull"}, {"strcomp", "rv_strcomp"}, {"left", "rv_left"},
      {"left$", "rv_left"},    {"right", "rv_right"},   {"right$", "rv_right"},    {"mid", "rv_mid"},
      {"mid$", "rv_mid"},      {"len", "rv_len"},       {"ucase", "rv_ucase"},     {"ucase$", "rv_ucase"},
      {"lcase", "rv_lcase"},   {"lcase$", "rv_lcase"},  {"trim", "rv_trim"},       {"trim$", "rv_trim"},
      {"ltrim", "rv_ltrim"},   {"ltrim$", "rv_ltrim"},  {"rtrim", "rv_rtrim"},     {"rtrim$", "rv_rtrim"},
      {"cdate", "rv_cdate"},   {"cstr", "rv_cstr"},     {"clng", "rv_clng"},       {"cint", "rv_clng"},
      {"cdbl", "rv_cdbl"},     {"cbool", "rv_cbool"},   {"val", "rv_val"},         {"nz", "rv_nz"},
      {"instr", "rv_instr"},   {"now", "rv_now"},       {"date", "rv_date"},       {"abs", "abs"},
      {"count", "count"},      {"max", "max"},          {"min", "min"},            {"sum", "sum"},
      {"avg", "avg"},          {"first", "min"},        {"last", "max"}};
  return f;
}

bool IsAggregate(const std::string& lower) {
  return lower == "count" || lower == "max" || lower == "min" || lower == "sum" || lower == "avg" ||
         lower == "first" || lower == "last";
}

std::string FormatNumber(double d) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", d);
  std::string s = buf;
  if (s.find_first_of(".eEn") == std::string::npos) s += ".0";
  return s;
}

bool IsOp(const Token& t, std::u16string_view op) { return t.kind == Token::Op && t.text == op; }
bool IsWord(const Token& t, const char* word) { return t.kind == Token::Name && Lower(t.text) == word; }
bool IsNameTok(const Token& t) { return t.kind == Token::Name || t.kind == Token::QuotedName; }

// The shared rewriting of tokens into SQLite pieces.
class Writer {
 public:
  Writer(std::u16string_view text, std::vector<Token> toks) : text_(text), t_(std::move(toks)) {
    match_.assign(t_.size(), -1);
    std::vector<size_t> stack;
    for (size_t i = 0; i < t_.size(); ++i) {
      if (IsOp(t_[i], u"(")) stack.push_back(i);
      if (IsOp(t_[i], u")")) {
        if (stack.empty()) Syntax(text_);
        match_[i] = static_cast<long>(stack.back());
        match_[stack.back()] = static_cast<long>(i);
        stack.pop_back();
      }
    }
    if (!stack.empty()) Syntax(text_);
    piece_.assign(t_.size(), std::string());
    skip_.assign(t_.size(), false);
  }

  const std::vector<Token>& tokens() const { return t_; }
  size_t size() const { return t_.size(); }
  long match(size_t i) const { return match_[i]; }
  void Skip(size_t i) { skip_[i] = true; }
  std::string& Piece(size_t i) { return piece_[i]; }
  bool Skipped(size_t i) const { return skip_[i]; }

  // Default piece of every token.
  void Render(NameResolver* resolver) {
    for (size_t i = 0; i < t_.size(); ++i) {
      if (skip_[i]) continue;
      const Token& tk = t_[i];
      bool call = i + 1 < t_.size() && IsOp(t_[i + 1], u"(") && !(i > 0 && IsWord(t_[i - 1], "into"));
      bool afterDot = i > 0 && (IsOp(t_[i - 1], u".") || IsOp(t_[i - 1], u"!"));
      bool afterAs = i > 0 && IsWord(t_[i - 1], "as");
      switch (tk.kind) {
        case Token::Name: {
          std::string low = Lower(tk.text);
          if (call && !afterDot) {
            auto f = Functions().find(low);
            if (f != Functions().end()) {
              piece_[i] = f->second;
              break;
            }
            if (Keywords().count(low)) {
              piece_[i] = Upper(low);
              break;
            }
            throw Error(dberr::kSyntaxInExpression,
                        u"Undefined function '" + tk.text + u"' in expression.");
          }
          if (!afterDot && !afterAs && Keywords().count(low)) {
            if (low == "true") piece_[i] = "-1";
            else if (low == "false") piece_[i] = "0";
            else if (low == "mod") piece_[i] = "%";
            else if (low == "xor" || low == "eqv") Syntax(text_);
            else piece_[i] = Upper(low);
            break;
          }
          piece_[i] = NamePiece(i, resolver);
          break;
        }
        case Token::QuotedName:
          piece_[i] = NamePiece(i, resolver);
          break;
        case Token::Text:
          piece_[i] = QuoteText(tk.text);
          break;
        case Token::Number:
          piece_[i] = ToUtf8(tk.text);
          break;
        case Token::Date:
          piece_[i] = FormatNumber(tk.number);
          break;
        case Token::Op:
          if (tk.text == u"&") piece_[i] = "||";
          else if (tk.text == u"!") piece_[i] = ".";
          else if (tk.text == u"\\") piece_[i] = "/";
          else if (tk.text == u";" || tk.text == u"?" || tk.text == u"^") Syntax(text_);
          else piece_[i] = ToUtf8(tk.text);
          break;
        case Token::End:
          break;
      }
    }
  }

  // Jet's "&" reads Null as an empty text: wrap each operand in ifnull(x,'').
  void WrapConcatenations() {
    for (size_t k = 0; k < t_.size(); ++k) {
      if (!IsOp(t_[k], u"&") || skip_[k]) continue;
      if (k == 0 || k + 1 >= t_.size()) Syntax(text_);
      size_t a = LeftOperand(k - 1), b = RightOperand(k + 1);
      piece_[a] = "ifnull(" + piece_[a];
      piece_[k - 1] += ",'')";
      piece_[k + 1] = "ifnull(" + piece_[k + 1];
      piece_[b] += ",'')";
    }
  }

  std::string Join(size_t from, size_t to, std::vector<size_t>* offsets = nullptr) const {
    std::string out;
    for (size_t i = from; i < to; ++i) {
      if (offsets) (*offsets)[i] = out.size();
      if (skip_[i] || piece_[i].empty()) continue;
      if (!out.empty()) out += ' ';
      out += piece_[i];
    }
    return out;
  }

 private:
  static std::string Upper(const std::string& low) {
    std::string u = low;
    for (auto& c : u) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return u;
  }

  std::string NamePiece(size_t i, NameResolver* resolver) {
    if (!resolver) return QuoteName(t_[i].text);
    // In an expression a name is a field of the recordset: "T.F" or "F".
    bool qualifiedHead = i + 2 < t_.size() && (IsOp(t_[i + 1], u".") || IsOp(t_[i + 1], u"!")) &&
                         IsNameTok(t_[i + 2]);
    bool qualifiedTail = i >= 2 && (IsOp(t_[i - 1], u".") || IsOp(t_[i - 1], u"!")) && IsNameTok(t_[i - 2]);
    if (qualifiedTail) return {};  // written with its head
    int p = 0;
    if (qualifiedHead) {
      p = resolver->Resolve(t_[i].text, t_[i + 2].text);
      if (p > 0) {
        skip_[i + 1] = skip_[i + 2] = true;
      }
    } else {
      p = resolver->Resolve({}, t_[i].text);
    }
    if (p <= 0) {
      std::u16string shown = qualifiedHead ? t_[i].text + u"." + t_[i + 2].text : t_[i].text;
      throw Error(dberr::kUnknownName, u"The engine does not recognize '" + shown + u"' as a valid field name or expression.");
    }
    std::string s = "?" + std::to_string(p);
    if (resolver->IsText(p)) s += " COLLATE RVTEXT";
    return s;
  }

  size_t LeftOperand(size_t j) const {
    if (IsOp(t_[j], u")")) {
      j = static_cast<size_t>(match_[j]);
      if (j > 0 && t_[j - 1].kind == Token::Name) --j;
      return j;
    }
    while (j >= 2 && IsNameTok(t_[j]) && (IsOp(t_[j - 1], u".") || IsOp(t_[j - 1], u"!")) && IsNameTok(t_[j - 2]))
      j -= 2;
    return j;
  }
  size_t RightOperand(size_t j) const {
    if (IsOp(t_[j], u"(")) return static_cast<size_t>(match_[j]);
    if (t_[j].kind == Token::Name && j + 1 < t_.size() && IsOp(t_[j + 1], u"("))
      return static_cast<size_t>(match_[j + 1]);
    while (j + 2 < t_.size() && IsNameTok(t_[j]) && (IsOp(t_[j + 1], u".") || IsOp(t_[j + 1], u"!")) &&
           IsNameTok(t_[j + 2]))
      j += 2;
    return j;
  }

  std::u16string_view text_;
  std::vector<Token> t_;
  std::vector<long> match_;
  std::vector<std::string> piece_;
  std::vector<bool> skip_;
};

// Drops the statement's closing ";" and refuses anything after one.
void CheckEnd(std::vector<Token>& toks, std::u16string_view text) {
  for (size_t i = 0; i < toks.size(); ++i) {
    if (IsOp(toks[i], u";")) {
      if (i + 1 != toks.size()) Syntax(text, dberr::kTextAfterEnd);
      toks.pop_back();
      return;
    }
  }
}

bool IsClauseWord(const Token& t) {
  if (t.kind != Token::Name) return false;
  std::string l = Lower(t.text);
  return l == "where" || l == "order" || l == "group" || l == "having" || l == "union";
}

bool IsJoinWord(const Token& t) {
  if (t.kind != Token::Name) return false;
  std::string l = Lower(t.text);
  return l == "on" || l == "left" || l == "right" || l == "inner" || l == "outer" || l == "join" ||
         l == "where" || l == "order" || l == "group" || l == "having" || l == "union";
}

// The FROM clause's tables between tokens [from, to).
void ReadTables(const Writer& w, size_t from, size_t to, Statement& st) {
  const auto& t = w.tokens();
  // For each open parenthesis: does it group joins (true) or hold an expression/subquery?
  std::vector<std::pair<size_t, bool>> ctx;
  auto joinContext = [&](size_t i) {
    // Can a table name start at token i?
    if (i == from) return true;
    const Token& p = t[i - 1];
    if (IsWord(p, "join")) return true;
    if (IsOp(p, u",")) return ctx.empty() || ctx.back().second;
    if (IsOp(p, u"(")) return !ctx.empty() && ctx.back().second && ctx.back().first == i - 1;
    return false;
  };
  for (size_t i = from; i < to; ++i) {
    if (IsOp(t[i], u"(")) {
      bool group = joinContext(i);
      if (i + 1 < to && IsWord(t[i + 1], "select")) {
        i = static_cast<size_t>(w.match(i));  // a subquery: its tables are its own
        continue;
      }
      ctx.push_back({i, group});
      continue;
    }
    if (IsOp(t[i], u")")) {
      if (!ctx.empty()) ctx.pop_back();
      continue;
    }
    if (!IsNameTok(t[i]) || !joinContext(i)) continue;
    if (t[i].kind == Token::Name && Keywords().count(Lower(t[i].text))) continue;
    TableRef ref;
    ref.table = t[i].text;
    ref.alias = ref.table;
    size_t j = i + 1;
    if (j < to && IsWord(t[j], "as")) ++j;
    if (j < to && IsNameTok(t[j]) && !(t[j].kind == Token::Name && IsJoinWord(t[j]))) {
      ref.alias = t[j].text;
      i = j;
    }
    st.tables.push_back(std::move(ref));
  }
}

// The "A.x = B.y" equalities of the join conditions (outside subqueries).
void ReadJoinPairs(const Writer& w, size_t from, size_t to, Statement& st) {
  const auto& t = w.tokens();
  auto dot = [&](size_t i) { return IsOp(t[i], u".") || IsOp(t[i], u"!"); };
  for (size_t i = from; i < to; ++i) {
    if (IsOp(t[i], u"(") && i + 1 < to && IsWord(t[i + 1], "select")) {
      i = static_cast<size_t>(w.match(i));
      continue;
    }
    if (i + 6 < to && IsNameTok(t[i]) && dot(i + 1) && IsNameTok(t[i + 2]) && IsOp(t[i + 3], u"=") &&
        IsNameTok(t[i + 4]) && dot(i + 5) && IsNameTok(t[i + 6]) && (i == from || !dot(i - 1))) {
      st.joins.push_back({t[i].text, t[i + 2].text, t[i + 4].text, t[i + 6].text});
      i += 6;
    }
  }
}

void ReadItems(const Writer& w, size_t from, size_t to, Statement& st) {
  const auto& t = w.tokens();
  size_t start = from;
  auto flush = [&](size_t a, size_t b) {
    SelectItem item;
    size_t n = b - a;
    if (n == 0) return;
    if (n == 1 && IsOp(t[a], u"*")) {
      item.star = true;
    } else if (n == 3 && IsNameTok(t[a]) && (IsOp(t[a + 1], u".") || IsOp(t[a + 1], u"!")) && IsOp(t[a + 2], u"*")) {
      item.star = true;
      item.qualifier = t[a].text;
    } else {
      size_t e = b;
      if (n >= 3 && IsWord(t[b - 2], "as") && IsNameTok(t[b - 1])) {
        item.alias = t[b - 1].text;
        e = b - 2;
      }
      size_t m = e - a;
      if (m == 1 && IsNameTok(t[a]) && !(t[a].kind == Token::Name && Keywords().count(Lower(t[a].text)))) {
        item.column = t[a].text;
      } else if (m == 3 && IsNameTok(t[a]) && (IsOp(t[a + 1], u".") || IsOp(t[a + 1], u"!")) && IsNameTok(t[a + 2])) {
        item.qualifier = t[a].text;
        item.column = t[a + 2].text;
      }
      for (size_t i = a; i < e; ++i)
        if (t[i].kind == Token::Name && i + 1 < e && IsOp(t[i + 1], u"(") && IsAggregate(Lower(t[i].text)))
          st.grouped = true;
    }
    st.items.push_back(std::move(item));
  };
  for (size_t i = from; i < to; ++i) {
    if (IsOp(t[i], u"(")) {
      i = static_cast<size_t>(w.match(i));
      continue;
    }
    if (IsOp(t[i], u",")) {
      flush(start, i);
      start = i + 1;
    }
  }
  flush(start, to);
}

// Parenthesized joins hide their tables' row keys from the select list in SQLite, so
// the groups are written out flat: a leading group loses its parentheses, a group on
// the right of a JOIN takes the JOIN's ON condition after its first table
// ("A LEFT JOIN (B LEFT JOIN C ON p) ON q" becomes "A LEFT JOIN B ON q LEFT JOIN C ON p").
// The two read the same rows whenever p compares B's columns with "=" (as every join
// of the store does), since such a p never holds for a B that is Null.
void FlattenJoins(Writer& w, size_t from, size_t to) {
  const auto& t = w.tokens();
  for (size_t o = from; o < to; ++o) {
    if (!IsOp(t[o], u"(") || w.Skipped(o)) continue;
    size_t c = static_cast<size_t>(w.match(o));
    if (o + 1 < to && IsWord(t[o + 1], "select")) {
      o = c;
      continue;
    }
    const Token* prev = o > from ? &t[o - 1] : nullptr;
    bool leading = !prev || IsOp(*prev, u",") || IsOp(*prev, u"(");
    bool right = prev && IsWord(*prev, "join");
    if (!leading && !right) {
      o = c;  // an expression (an ON condition): nothing to flatten inside
      continue;
    }
    if (leading) {
      w.Skip(o);
      w.Skip(c);
      continue;
    }
    // The group's first table and its alias.
    size_t first = o + 1;
    if (first >= c || !IsNameTok(t[first])) continue;
    size_t last = first;
    if (last + 1 < c && IsWord(t[last + 1], "as")) last += 1;
    if (last + 1 < c && IsNameTok(t[last + 1]) && !(t[last + 1].kind == Token::Name && IsJoinWord(t[last + 1]))) last += 1;
    if (c + 1 >= t.size() || !IsWord(t[c + 1], "on")) continue;
    size_t e = c + 2;
    while (e < t.size()) {
      if (IsOp(t[e], u"(")) {
        e = static_cast<size_t>(w.match(e)) + 1;
        continue;
      }
      if (IsOp(t[e], u")") || IsOp(t[e], u",") || IsClauseWord(t[e]) || IsWord(t[e], "left") ||
          IsWord(t[e], "right") || IsWord(t[e], "inner") || IsWord(t[e], "join"))
        break;
      ++e;
    }
    std::string on = w.Join(c + 1, e);
    for (size_t k = c + 1; k < e; ++k) w.Skip(k);
    w.Piece(last) += " " + on;
    w.Skip(o);
    w.Skip(c);
  }
}

}  // namespace

std::vector<Token> Tokenize(std::u16string_view s) {
  std::vector<Token> out;
  size_t i = 0, n = s.size();
  while (i < n) {
    char16_t c = s[i];
    if (c == u' ' || c == u'\t' || c == u'\r' || c == u'\n') {
      ++i;
      continue;
    }
    Token t;
    t.pos = i;
    if (c == u'[') {
      size_t e = s.find(u']', i + 1);
      if (e == std::u16string_view::npos) Syntax(s);
      t.kind = Token::QuotedName;
      t.text = std::u16string(s.substr(i + 1, e - i - 1));
      i = e + 1;
    } else if (c == u'"' || c == u'\'') {
      t.kind = Token::Text;
      size_t j = i + 1;
      for (;;) {
        if (j >= n) Syntax(s);
        if (s[j] == c) {
          if (j + 1 < n && s[j + 1] == c) {
            t.text.push_back(c);
            j += 2;
            continue;
          }
          break;
        }
        t.text.push_back(s[j++]);
      }
      i = j + 1;
    } else if (c == u'#') {
      size_t e = s.find(u'#', i + 1);
      if (e == std::u16string_view::npos) Syntax(s);
      auto d = ParseDate(Trim(s.substr(i + 1, e - i - 1)));
      if (!d) Syntax(s);
      t.kind = Token::Date;
      t.number = d->serial;
      i = e + 1;
    } else if (IsDigit(c) || (c == u'.' && i + 1 < n && IsDigit(s[i + 1]))) {
      size_t j = i;
      while (j < n && IsDigit(s[j])) ++j;
      if (j < n && s[j] == u'.') {
        ++j;
        while (j < n && IsDigit(s[j])) ++j;
      }
      if (j < n && (s[j] == u'e' || s[j] == u'E')) {
        size_t k = j + 1;
        if (k < n && (s[k] == u'+' || s[k] == u'-')) ++k;
        if (k < n && IsDigit(s[k])) {
          j = k;
          while (j < n && IsDigit(s[j])) ++j;
        }
      }
      if (j < n && IsNameStart(s[j])) Syntax(s);
      t.kind = Token::Number;
      t.text = std::u16string(s.substr(i, j - i));
      t.number = std::strtod(ToUtf8(t.text).c_str(), nullptr);
      i = j;
    } else if (IsNameStart(c)) {
      size_t j = i;
      while (j < n && IsNameChar(s[j])) ++j;
      t.kind = Token::Name;
      t.text = std::u16string(s.substr(i, j - i));
      i = j;
    } else {
      t.kind = Token::Op;
      std::u16string_view two = s.substr(i, 2);
      if (two == u"<>" || two == u"<=" || two == u">=") {
        t.text = std::u16string(two);
        i += 2;
      } else if (std::u16string_view(u"=<>+-*/\\&(),.!;?^").find(c) != std::u16string_view::npos) {
        t.text = std::u16string(1, c);
        ++i;
      } else {
        Syntax(s);
      }
    }
    out.push_back(std::move(t));
  }
  return out;
}

std::string QuoteName(std::u16string_view name) {
  std::string u = ToUtf8(name);
  std::string out = "\"";
  for (char c : u) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
  return out;
}

std::string QuoteText(std::u16string_view text) {
  std::string u = ToUtf8(text);
  std::string out = "'";
  for (char c : u) {
    if (c == '\'') out += '\'';
    out += c;
  }
  out += '\'';
  return out;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() && FoldCompare(a.data(), a.size(), b.data(), b.size()) == 0;
}

Statement Translate(std::u16string_view text) {
  std::vector<Token> toks = Tokenize(text);
  CheckEnd(toks, text);
  Statement st;
  if (toks.empty()) throw Error(dberr::kInvalidStatement, u"Invalid SQL statement; expected 'DELETE', 'INSERT', 'PROCEDURE', 'SELECT', or 'UPDATE'.");
  std::string first = toks[0].kind == Token::Name ? Lower(toks[0].text) : "";
  if (first == "select") st.kind = Statement::Select;
  else if (first == "insert" || first == "update" || first == "delete") st.kind = Statement::Action;
  else throw Error(dberr::kInvalidStatement, u"Invalid SQL statement; expected 'DELETE', 'INSERT', 'PROCEDURE', 'SELECT', or 'UPDATE'.");

  Writer w(text, std::move(toks));
  const auto& t = w.tokens();
  size_t n = t.size();

  // "DELETE * FROM T" and "DELETE T.* FROM T": SQLite names no columns there.
  if (first == "delete") {
    size_t i = 1;
    while (i < n && !IsWord(t[i], "from")) w.Skip(i++);
  }

  if (st.kind == Statement::Select) {
    // Members of a Union: only the last ORDER BY counts.
    std::vector<size_t> unions;
    for (size_t i = 0; i < n; ++i) {
      if (IsOp(t[i], u"(")) {
        i = static_cast<size_t>(w.match(i));
        continue;
      }
      if (IsWord(t[i], "union")) unions.push_back(i);
    }
    st.compound = !unions.empty();
    size_t memberStart = 0;
    for (size_t u : unions) {
      for (size_t i = memberStart; i < u; ++i) {
        if (IsOp(t[i], u"(")) {
          i = static_cast<size_t>(w.match(i));
          continue;
        }
        if (IsWord(t[i], "order") && i + 1 < u && IsWord(t[i + 1], "by")) {
          for (size_t k = i; k < u; ++k) w.Skip(k);
          break;
        }
      }
      memberStart = u + 1;
    }
    // The first select: modifiers, items, FROM.
    size_t firstEnd = unions.empty() ? n : unions.front();
    size_t i = 1;
    if (i < firstEnd && IsWord(t[i], "distinctrow")) {
      st.distinctrow = true;
      w.Skip(i++);
    } else if (i < firstEnd && IsWord(t[i], "distinct")) {
      st.distinct = true;
      ++i;
    } else if (i < firstEnd && IsWord(t[i], "all")) {
      ++i;
    }
    if (i < firstEnd && IsWord(t[i], "top")) throw Error(dberr::kSyntaxInExpression, u"TOP is not supported.");
    size_t itemsStart = i, fromTok = firstEnd, fromEnd = firstEnd;
    for (size_t k = i; k < firstEnd; ++k) {
      if (IsOp(t[k], u"(")) {
        k = static_cast<size_t>(w.match(k));
        continue;
      }
      if (fromTok == firstEnd && IsWord(t[k], "from")) fromTok = k;
      else if (fromTok != firstEnd && IsClauseWord(t[k])) {
        if (fromEnd == firstEnd) fromEnd = k;
        std::string l = Lower(t[k].text);
        if (l == "where") st.hasWhere = true;
        if (l == "order") st.hasOrder = true;
        if (l == "group" || l == "having") st.grouped = true;
      }
    }
    ReadItems(w, itemsStart, fromTok, st);
    if (fromTok < firstEnd) {
      ReadTables(w, fromTok + 1, fromEnd, st);
      ReadJoinPairs(w, fromTok + 1, fromEnd, st);
    }
    w.Render(nullptr);
    w.WrapConcatenations();
    if (fromTok < firstEnd && !st.compound) FlattenJoins(w, fromTok + 1, fromEnd);
    std::vector<size_t> offsets(n + 1, 0);
    st.sql = w.Join(0, n, &offsets);
    if (fromTok < firstEnd) {
      // Offset of the FROM piece: the text before it, without the joining blank.
      std::string before = w.Join(0, fromTok);
      st.selectListEnd = before.size();
    }
    return st;
  }
  w.Render(nullptr);
  w.WrapConcatenations();
  st.sql = w.Join(0, n);
  return st;
}

std::string TranslateExpression(std::u16string_view text, NameResolver& resolve) {
  std::vector<Token> toks = Tokenize(text);
  if (toks.empty()) Syntax(text);
  for (const auto& tk : toks) {
    if (IsOp(tk, u";")) Syntax(text);
    if (tk.kind == Token::Name) {
      std::string l = Lower(tk.text);
      if (l == "insert" || l == "update" || l == "delete" || l == "create" || l == "drop" || l == "alter" ||
          l == "into" || l == "union" || l == "order" || l == "group")
        Syntax(text);
    }
  }
  Writer w(text, std::move(toks));
  w.Render(&resolve);
  w.WrapConcatenations();
  return w.Join(0, w.size());
}

}  // namespace ravelin::dao::sql
