// Rule statements, the flag word, dates in Greenwich time, the rule tab, the matcher.
#include "packs/rules.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "formats/datetime.h"
#include "formats/mime_parser.h"
#include "packs/project_tree.h"
#include "packs/projects.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/dates.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"

namespace ravelin::packs {

using detail::Empty;
using detail::Num;
using store::detail::Need;

namespace {

std::u16string B(bool v) { return strBoolean(v ? kTrue : kFalse); }

bool HasRow(DataCursor& c) {
  auto rs = c.Recordset();
  return rs && rs->AbsolutePosition() >= 0;
}

// The date boxes with their change flags and fields, in the order they are stored.
struct DateBox {
  std::u16string RuleTab::*text;
  bool RuleTab::*changed;
  const char16_t* field;
  const char16_t* box;
};
const DateBox kDateBoxes[] = {
    {&RuleTab::txtDateFrom2, &RuleTab::txtDateFrom2Change, u"DateFrom2", u"txtDateFrom2"},
    {&RuleTab::txtDateTo2, &RuleTab::txtDateTo2Change, u"DateTo2", u"txtDateTo2"},
    {&RuleTab::txtDateFrom1, &RuleTab::txtDateFrom1Change, u"DateFrom1", u"txtDateFrom1"},
    {&RuleTab::txtDateTo1, &RuleTab::txtDateTo1Change, u"DateTo1", u"txtDateTo1"},
};

const char16_t* const kTextFields[] = {u"RuleName", u"Comments", u"Subject", u"Sender2", u"Name2",
                                       u"Org2",     u"Sender1",  u"Name1",   u"Org1"};

}  // namespace

std::u16string GetRulesRecordsource2(int32_t Action, const std::u16string& Param, bool InsArcPrj) {
  const std::u16string base = u"Select * from Rules";
  const std::u16string q = u"\"";
  switch (Action) {
    case intoPack:
      return base + u" WHERE (((Rules.Action)=" + u"1" + u") AND ((Rules.[Pack_N])=" + Param + u"));";
    case intoFolder:
      return base + u" WHERE (((Rules.Action)=" + u"2" + u") AND ([Rules].[Folder]=" + Param + u")" +
             u" AND [Rules].[InsArcPrj]=" + B(InsArcPrj) + u");";
    case InsCurPrj1:
      return base + u" WHERE ( ([Rules].[Action]=" + u"2" + u") AND " + u"( StrComp(left$(" + u"[Rules].[Folder]" +
             u" & " + q + u"\\" + q + u"," + Num(static_cast<int64_t>(Param.size()) + 1) + u")," + q + Param + u"\\" +
             q + u"," + u"1" + u")=0 )" + u"AND" + u"[Rules].[InsArcPrj]=" + B(InsArcPrj) + u");";
    default:
      return u"";
  }
}

const std::vector<RuleCriterion>& RuleCriteria() {
  static const std::vector<RuleCriterion> c = {
      {u"chkSubject", u"Subject", 2},       {u"chkSender1", u"Sender1", 4},     {u"chkSender2", u"Sender2", 8},
      {u"chkName1", u"Name1", 16},          {u"chkOrg1", u"Org1", 32},          {u"chkName2", u"Name2", 64},
      {u"chkOrg2", u"Org2", 128},           {u"chkDateFrom1", u"DateFrom1", 256}, {u"chkDateTo1", u"DateTo1", 512},
      {u"chkDateFrom2", u"DateFrom2", 1024}, {u"chkDateTo2", u"DateTo2", 2048},
  };
  return c;
}

int32_t FlagsOf(const std::map<std::u16string, int32_t>& checks) {
  int32_t flags = 0;
  for (const RuleCriterion& c : RuleCriteria()) {
    auto it = checks.find(c.checkBox);
    if (it != checks.end()) flags += it->second * c.weight;
  }
  return flags;
}

void SetFlags(DataCursor& DataRules, const RuleTab& frm) {
  dao::Recordset& rs = Need(DataRules.Recordset());
  rs.Edit();
  rs.SetField(u"Flags", Value(FlagsOf(frm.checks)));
  rs.Update();
}

void cRules::ChangeDates(RuleTab& frm) {
  auto rs = frm.DataRules.Recordset();
  if (!rs || rs->AbsolutePosition() == -1) return;
  DateTime dt;
  for (const DateBox& d : kDateBoxes) {
    if (!(frm.*d.changed)) continue;
    if (rs->EditMode() == dao::dbEditNone) rs->Edit();
    const std::u16string text = Trim(frm.*d.text);
    if (text.empty()) {
      rs->SetField(d.field, Value());
      continue;
    }
    // A text that is not a date leaves the stored value as it was.
    if (auto local = ParseDate(text)) rs->SetField(d.field, Value(dt.LocalTZtoGMT(*local)));
  }
  if (rs->EditMode() != dao::dbEditNone) rs->Update();
}

cRules& SharedRules() {
  static auto* r = new cRules();  // lives for the whole process
  return *r;
}

// ---- The rule tab --------------------------------------------------------------------------

void RuleTab::Bind(int32_t pack) {
  PackNumber = pack;
  DataRules.SetDatabaseName(module1::GetEmailDbPath());
  DataRules.SetConnect(u"Access");
  DataRules.SetRecordSource(GetRulesRecordsource2(intoPack, Num(pack)));
  DataRules.Refresh();
  Reposition();
}

void RuleTab::Reposition() {
  filling = true;
  auto rs = DataRules.Recordset();
  if (rs && rs->AbsolutePosition() >= 0) {
    chkAutoSearch = NullConvBool(rs->GetField(u"Enable")) ? 1 : 0;
    const int32_t flags = NullConvLng(rs->GetField(u"Flags"));
    for (const RuleCriterion& c : RuleCriteria()) checks[c.checkBox] = (flags & c.weight) ? 1 : 0;
    DateTime dt;
    for (const DateBox& d : kDateBoxes) {
      const Value v = rs->GetField(d.field);
      this->*d.text = v.IsNull() ? u"" : FormatGeneralDate(dt.GMTtoLocalTZ(v.AsDate()));
      this->*d.changed = false;
    }
    for (const char16_t* f : kTextFields) texts[f] = NullConvStr(rs->GetField(f));
  }
  filling = false;
}

void RuleTab::TextChanged(const std::u16string& field, const std::u16string& text) {
  texts[field] = text;
  if (filling || !HasRow(DataRules)) return;
  auto rs = DataRules.Recordset();
  rs->Edit();
  rs->SetField(field, Value(text));
  rs->Update();
}

void RuleTab::CheckChanged(const std::u16string& checkBox, int32_t value) {
  // A greyed box (2) would count twice its weight: the tab keeps to two states.
  checks[checkBox] = value ? 1 : 0;
  if (filling || !HasRow(DataRules)) return;
  SetFlags(DataRules, *this);
}

void RuleTab::DateChanged(const std::u16string& box, const std::u16string& text) {
  for (const DateBox& d : kDateBoxes)
    if (box == d.box) {
      this->*d.text = text;
      this->*d.changed = true;
    }
  if (filling) return;
  SharedRules().ChangeDates(*this);
  for (const DateBox& d : kDateBoxes) this->*d.changed = false;
}

void RuleTab::cmdNewRule_Click() {
  dao::Recordset& rs = Need(DataRules.Recordset());
  rs.AddNew();
  rs.SetField(u"Pack_N", Value(PackNumber));
  rs.Update();
  DataRules.Refresh();
  DataRules.MoveLast();
  Reposition();
}

void RuleTab::chkAutoSearch_Click(int32_t value) {
  chkAutoSearch = value;
  if (filling) return;
  const bool created = !HasRow(DataRules);
  if (created) cmdNewRule_Click();
  auto& rs = Need(DataRules.Recordset());
  rs.Edit();
  rs.SetField(u"Enable", Value(value != 0));
  rs.Update();
  if (created) DataRules.Refresh();
}

// ---- The matcher ---------------------------------------------------------------------------

namespace {

struct Party {
  std::u16string address, name, org;  // folded
};

struct LetterFacts {
  int32_t key = 0;
  std::u16string subject;
  Party from;
  std::vector<Party> to;
  std::optional<double> wrote;
};

Party PartyOf(const std::u16string& text) {
  Party p;
  p.address = FoldCase(Trim(GetEmail(text)));
  p.name = FoldCase(Trim(GetName(text)));
  const size_t at = p.address.rfind(u'@');
  p.org = at == std::u16string::npos ? u"" : p.address.substr(at + 1);
  return p;
}

std::vector<Party> PartiesOf(const std::u16string& list) {
  std::vector<Party> out;
  std::u16string cur;
  bool quoted = false;
  for (char16_t c : list + u",") {
    if (c == u'"') quoted = !quoted;
    if (!quoted && (c == u',' || c == u';')) {
      if (!Trim(cur).empty()) out.push_back(PartyOf(cur));
      cur.clear();
    } else {
      cur += c;
    }
  }
  return out;
}

struct Side {
  bool any = false;
  std::u16string subject, address, name, org;
  std::optional<double> from, to;
};

struct CompiledRule {
  int32_t N = 0, action = 0, pack = 0;
  std::u16string folder;
  bool arc = false;
  Side sides[2];
};

bool Contains(const std::u16string& hay, const std::u16string& needle) {
  return needle.empty() || hay.find(needle) != std::u16string::npos;
}

bool PartyHolds(const Side& s, const Party& p) {
  return Contains(p.address, s.address) && Contains(p.name, s.name) && Contains(p.org, s.org);
}

bool SideHolds(const Side& s, const LetterFacts& l, bool recipients) {
  if (!s.any) return false;
  if (!Contains(l.subject, s.subject)) return false;
  if (s.from || s.to) {
    if (!l.wrote) return false;
    if (s.from && *l.wrote < *s.from) return false;
    if (s.to && *l.wrote > *s.to) return false;
  }
  if (!recipients) return PartyHolds(s, l.from);
  if (s.address.empty() && s.name.empty() && s.org.empty()) return true;
  for (const Party& p : l.to)
    if (PartyHolds(s, p)) return true;
  return false;
}

std::vector<CompiledRule> EnabledRules(dao::Database& db) {
  std::vector<CompiledRule> out;
  auto rs = db.OpenRecordset(u"Select * from Rules Where Enable=True order by N;", dao::dbOpenSnapshot);
  while (!rs->Eof()) {
    CompiledRule r;
    r.N = NullConvLng(rs->GetField(u"N"));
    r.action = NullConvLng(rs->GetField(u"Action"));
    r.pack = NullConvLng(rs->GetField(u"Pack_N"));
    r.folder = NullConvStr(rs->GetField(u"Folder"));
    r.arc = NullConvBool(rs->GetField(u"InsArcPrj"));
    const int32_t flags = NullConvLng(rs->GetField(u"Flags"));
    const auto text = [&](int32_t weight, const char16_t* field) -> std::u16string {
      return (flags & weight) ? FoldCase(Trim(NullConvStr(rs->GetField(field)))) : u"";
    };
    const auto date = [&](int32_t weight, const char16_t* field) -> std::optional<double> {
      if (!(flags & weight)) return std::nullopt;
      const Value v = rs->GetField(field);
      if (v.IsNull()) return std::nullopt;
      return v.AsDate().serial;
    };
    const std::u16string subject = text(2, u"Subject");
    Side& a = r.sides[0];
    a.subject = subject;
    a.address = text(4, u"Sender1");
    a.name = text(16, u"Name1");
    a.org = text(32, u"Org1");
    a.from = date(256, u"DateFrom1");
    a.to = date(512, u"DateTo1");
    Side& b = r.sides[1];
    b.subject = subject;
    b.address = text(8, u"Sender2");
    b.name = text(64, u"Name2");
    b.org = text(128, u"Org2");
    b.from = date(1024, u"DateFrom2");
    b.to = date(2048, u"DateTo2");
    for (Side& s : r.sides)
      s.any = !s.subject.empty() || !s.address.empty() || !s.name.empty() || !s.org.empty() || s.from || s.to;
    const bool placed = (r.action == intoPack && r.pack > 0) || (r.action == intoFolder && !Trim(r.folder).empty());
    if (placed && (r.sides[0].any || r.sides[1].any)) out.push_back(std::move(r));
    rs->MoveNext();
  }
  rs->Close();
  return out;
}

// Files the matches as pCopyLetter does (the folder made first, no row when that fails,
// nothing twice), reading the existing links once instead of once per letter.
void FileMatches(const std::vector<RuleMatch>& matches) {
  auto db = detail::OpenDb();
  detail::CommittedTransaction keep;
  std::set<std::pair<int32_t, int32_t>> inPack;  // (pack, letter)
  std::set<std::tuple<int32_t, std::u16string, bool>> inFolder;  // (letter, folded project, side)
  {
    auto rs = db->OpenRecordset(u"Select Pack_N, Msg_N from PackItems", dao::dbOpenSnapshot);
    for (; !rs->Eof(); rs->MoveNext())
      inPack.insert({NullConvLng(rs->GetField(u"Pack_N")), NullConvLng(rs->GetField(u"Msg_N"))});
    rs = db->OpenRecordset(u"Select [Obj ID], Project, InsArcPrj from Projects Where ObjType=0", dao::dbOpenSnapshot);
    for (; !rs->Eof(); rs->MoveNext())
      inFolder.insert({NullConvLng(rs->GetField(u"Obj ID")), FoldCase(NullConvStr(rs->GetField(u"Project"))),
                       NullConvBool(rs->GetField(u"InsArcPrj"))});
  }
  auto items = db->OpenRecordset(u"PackItems", dao::dbOpenTable);
  auto links = db->OpenRecordset(u"Projects", dao::dbOpenTable);
  std::map<std::pair<std::u16string, bool>, std::optional<std::u16string>> made;  // folder -> spelling on disk
  for (const RuleMatch& m : matches) {
    detail::Step([&] {
      if (m.action == intoPack) {
        if (!inPack.insert({m.pack, m.msgN}).second) return;
        items->AddNew();
        items->SetField(u"Pack_N", Value(m.pack));
        items->SetField(u"Msg_N", Value(m.msgN));
        items->Update();
        return;
      }
      auto [it, fresh] = made.try_emplace({FoldCase(m.folder), m.InsArcPrj});
      if (fresh) {
        std::u16string spelled = m.folder;
        const std::u16string message = EnsureFolder(m.folder, m.InsArcPrj, &spelled);
        if (message.empty())
          it->second = spelled;
        else
          WideMsgBox(message, mb::kCritical);
      }
      if (!it->second) return;
      if (!inFolder.insert({m.msgN, FoldCase(*it->second), m.InsArcPrj}).second) return;
      links->AddNew();
      links->SetField(u"Obj ID", Value(m.msgN));
      links->SetField(u"ObjType", Value(int32_t{objLetter}));
      links->SetField(u"Project", Value(*it->second));
      links->SetField(u"InsArcPrj", Value(m.InsArcPrj));
      links->Update();
    });
  }
  items->Close();
  links->Close();
  db->Close();
}

}  // namespace

std::vector<RuleMatch> ApplyRules(const std::u16string& mailFolder, bool dryRun, const std::vector<int32_t>* onlyKeys) {
  auto db = detail::OpenDb();
  const std::vector<CompiledRule> rules = EnabledRules(*db);
  std::vector<LetterFacts> letters;
  if (!rules.empty()) {
    std::u16string sql = u"Select key, Subject, [From], [To], DateWrote from Letters";
    if (!mailFolder.empty()) sql += u" Where MailFolder=\"" + mailFolder + u"\"";
    sql += u" order by key;";
    auto rs = db->OpenRecordset(sql, dao::dbOpenSnapshot);
    std::vector<int32_t> wanted;
    if (onlyKeys) wanted.assign(onlyKeys->begin(), onlyKeys->end()), std::sort(wanted.begin(), wanted.end());
    while (!rs->Eof()) {
      LetterFacts l;
      l.key = NullConvLng(rs->GetField(u"key"));
      if (!onlyKeys || std::binary_search(wanted.begin(), wanted.end(), l.key)) {
        l.subject = FoldCase(NullConvStr(rs->GetField(u"Subject")));
        l.from = PartyOf(NullConvStr(rs->GetField(u"From")));
        l.to = PartiesOf(NullConvStr(rs->GetField(u"To")));
        const Value w = rs->GetField(u"DateWrote");
        if (!w.IsNull()) l.wrote = w.AsDate().serial;
        letters.push_back(std::move(l));
      }
      rs->MoveNext();
    }
    rs->Close();
  }
  db->Close();
  std::vector<RuleMatch> matches;
  for (const CompiledRule& r : rules)
    for (const LetterFacts& l : letters)
      if (SideHolds(r.sides[0], l, false) || SideHolds(r.sides[1], l, true))
        matches.push_back({r.N, l.key, r.action, r.pack, r.folder, r.arc});
  if (!dryRun && !matches.empty()) FileMatches(matches);
  return matches;
}

}  // namespace ravelin::packs
