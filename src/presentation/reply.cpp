// Reply preparation and the quoting helpers.
#include "presentation/reply.h"

#include "formats/datetime.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/event_loop.h"
#include "platform/module1.h"
#include "runtime/dates.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"

namespace ravelin::presentation {

std::u16string ReplySubject(const std::u16string& subject) {
  const int32_t p = InStr(1, subject, u"Re[", Compare::Text);
  if (p > 0) {
    const int32_t q = InStr(3, subject, u"]");
    if (q > 0) {
      const int32_t n = static_cast<int32_t>(Val(Mid(subject, p + 3, std::max(0, q - (p + 3)))));
      std::u16string rest = Trim(Mid(subject, q + 1));
      if (!rest.empty() && rest.front() == u':') rest = Trim(std::u16string_view(rest).substr(1));
      return u"Re[" + NumToText(n + 1) + u"]: " + rest;
    }
    return u"Re: " + Trim(subject);
  }
  const int32_t r = InStr(1, subject, u"Re:", Compare::Text);
  if (r > 0) return u"Re[2]: " + Trim(Mid(subject, r + 3));
  return u"Re: " + Trim(subject);
}

std::u16string ReplyRecipient(const std::u16string& from) {
  if (from.empty()) return {};
  const std::u16string name = GetName(from);
  const std::u16string email = GetEmail(from);
  if (name.empty()) return email;
  return u"\"" + name + u"\"<" + email + u">";
}

int32_t GetWordStartPosition(int32_t start, const std::u16string& str) {
  const std::u16string s = Trim(str);
  if (start < 1) start = 1;
  const int32_t b = InStr(start, s, u" ", Compare::Text);
  if (b == 0) return 0;
  for (size_t i = static_cast<size_t>(b); i < s.size(); ++i)
    if (s[i] != u' ') return static_cast<int32_t>(i) + 1;
  return 0;
}

std::u16string GetInitials(const std::u16string& strEmail) {
  std::u16string s = strEmail;
  std::replace(s.begin(), s.end(), u'"', u' ');
  s = Trim(s);
  const std::u16string firstThree = Trim(Left(s, 3));
  std::u16string initials = Left(s, 1);
  int32_t pos = 1;
  while (true) {
    const int32_t w = GetWordStartPosition(pos, s);
    if (w == 0) break;
    const std::u16string c = Mid(s, w, 1);
    if (c == u"<") break;
    initials += u" " + c;
    if (initials.size() >= 5) break;
    pos = w + 1;
  }
  return initials.size() > 1 ? initials : firstThree;
}

std::u16string InsertQuoting(const std::u16string& Initials, const std::u16string& strMsg) {
  const std::u16string prefix = Initials + u">";
  return prefix + Replace(strMsg, u"\r\n", u"\r\n" + prefix);
}

std::u16string InsBlkQuote() {
  return u"<BLOCKQUOTE Style = \"BORDER-left: #000000 2px solid; MARGIN-LEFT: 5px; MARGIN-RIGHT: 0px; "
         u"PADDING-LEFT: 5px; PADDING-RIGHT: 0px\">";
}

namespace {

void WaitWhileBusy(const HtmlView& view) {
  while (view.Busy()) loop::PumpOnce();
}

std::u16string Text(dao::Recordset& rs, std::u16string_view name) { return NullConvStr(rs.GetField(name)); }

}  // namespace

std::shared_ptr<ComposeView> ReplyLetterWorker(dao::Recordset& letter, int32_t tag, HtmlView* source,
                                               int16_t Modal) {
  ResumeNext rn;
  std::shared_ptr<ComposeView> compose = NewComposeView();
  ComposeView& view = *compose;
  const std::u16string section = u"Module1.ReplyLetter";

  std::u16string subject, from, to, name, initials;
  rn([&] { subject = ReplySubject(Text(letter, u"Subject")); });
  rn([&] { from = Text(letter, u"From"); });
  rn([&] { to = Text(letter, u"To"); });
  if (!from.empty()) {
    name = GetName(from);
    initials = GetInitials(from);
  }
  view.SetRecipient(ReplyRecipient(from));
  view.SetSubject(subject);
  view.ChooseSender(to);

  rn([&] {
    const std::u16string project = Text(letter, u"Project");
    if (!project.empty()) {
      const bool archive = NullConvBool(letter.GetField(u"InsArcPrj"));
      view.SetProject(project, archive ? u"Archive" : u"Prj");
    }
  });
  rn([&] {
    const int32_t pack = NullConvLng(letter.GetField(u"Pack_N"));
    if (pack != 0) view.SetPack(pack);
  });

  const bool replyFormat = module1::GetReplyFormat() != 0;
  std::u16string quoted;
  if (tag > 0) {
    if (replyFormat) view.SetDocType(html);
    rn([&] {
      if (!source) return;
      WaitWhileBusy(*source);
      quoted = source->BodyInnerText();
    });
  } else {
    if (replyFormat) view.SetDocType(plain);
    rn([&] { quoted = Text(letter, u"Message"); });
  }
  if (!replyFormat) view.SetDocType(module1::GetFormat() != 0 ? html : plain);

  std::u16string greeting = name.empty() ? module1::GetMUIString(section, u"Hello1", u"Hello!")
                                         : module1::GetMUIStringF(section, u"Hello2", u"Hello, %1!", {name});
  greeting += u"\r\n";
  std::u16string dateText;
  rn([&] {
    const Value wrote = letter.GetField(u"DateWrote");
    const OleDate d = wrote.IsNull() || NullConvStr(wrote).empty() ? DateSerial(1980, 1, 1) : wrote.AsDate();
    DateTime dt;
    dateText = FormatGeneralDate(dt.GMTtoLocalTZ(d)) + u" " + dt.GetTimeDiffStrSerial(d);
  });
  greeting += module1::GetMUIStringF(section, u"msg", u"You wrote %1:", {dateText}) + u" :\r\n\r\n";

  rn([&] {
    view.Editor().SetDocumentHTML(docBlanc());
    WaitWhileBusy(view.Editor());
  });
  greeting += InsertQuoting(initials, quoted) + u"\r\n\r\n";
  rn([&] { view.Editor().SetBodyInnerText(greeting); });
  view.Show(Modal);
  return compose;
}

}  // namespace ravelin::presentation
