// Replies: subject counting, recipient and initials, quoting, and the reply a compose
// view receives for a plain and an HTML letter.
#include <gtest/gtest.h>

#include "platform/uniini.h"
#include "presentation/reply.h"
#include "presentation_fixture.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::test {
namespace {

using namespace presentation;

TEST(ReplyText, Subjects) {
  const std::pair<const char16_t*, const char16_t*> rows[] = {
      {u"a", u"Re: a"},          {u"", u"Re: "},
      {u"Re: a", u"Re[2]: a"},   {u"Re[2]: a", u"Re[3]: a"},
      {u"RE[9]:a", u"Re[10]: a"}, {u"Fwd: Re: x", u"Re[2]: x"},
      {u"Re[2 a", u"Re: Re[2 a"}, {u"Re[x]: a", u"Re[1]: a"},
      {u"  spaced  ", u"Re: spaced"},
  };
  for (const auto& [in, want] : rows) EXPECT_EQ(ReplySubject(in), want) << ToUtf8(in);
}

TEST(ReplyText, RecipientAndInitials) {
  EXPECT_EQ(ReplyRecipient(u"\"Ivan Petrov\" <a>"), u"\"Ivan Petrov\"<a>");
  EXPECT_EQ(ReplyRecipient(u"a"), u"a");
  EXPECT_EQ(ReplyRecipient(u""), u"");
  EXPECT_EQ(GetInitials(u"\"Ivan Petrov\" <a>"), u"I P");
  EXPECT_EQ(GetInitials(u"Ivan <a>"), u"Iva");
  EXPECT_EQ(GetInitials(u"a"), u"a");
  EXPECT_EQ(GetInitials(u"Ivan Petrovich Sidorov Jr"), u"I P S");
  EXPECT_EQ(GetWordStartPosition(1, u"a  b"), 4);
  EXPECT_EQ(GetWordStartPosition(1, u"a"), 0);
}

TEST(ReplyText, QuotingPrefixesEveryCrLfLineOnly) {
  EXPECT_EQ(InsertQuoting(u"I", u"a\r\n\r\nb"), u"I>a\r\nI>\r\nI>b");
  EXPECT_EQ(InsertQuoting(u"I", u"a\nb"), u"I>a\nb");
  EXPECT_EQ(InsertQuoting(u"I P", u"I>old"), u"I P>I>old");
  EXPECT_EQ(InsBlkQuote(),
            u"<BLOCKQUOTE Style = \"BORDER-left: #000000 2px solid; MARGIN-LEFT: 5px; MARGIN-RIGHT: 0px; "
            u"PADDING-LEFT: 5px; PADDING-RIGHT: 0px\">");
}

class Reply : public PresentationFixture {
 protected:
  // Replies to one letter of the Inbox list through the façade, with the letter shown as
  // HTML when tag > 0.
  std::shared_ptr<MemoryComposeView> ReplyTo(int32_t key, int32_t tag, HtmlView& shown) {
    DataCursor cursor(module1::GetEmailDbPath(), mail.GetRecordSource(u"Inbox", u"", 0, u"DateReceived"));
    cursor.Refresh();
    EXPECT_TRUE(cursor.Locate(u"key=" + NumToText(key)));
    cursor.SetTag(tag);
    mail.ReplyLetter(cursor, shown, 1);
    return std::dynamic_pointer_cast<MemoryComposeView>(LastComposeView());
  }
  HeadlessHtmlView view;
};

TEST_F(Reply, PlainLetterWithNameQuotesItsText) {
  const int32_t pack = 0;
  const int32_t key = AddLetter(u"\"Ivan Petrov\" <ivan@example.org>", u"Re: plan", u"line 1\r\nline 2", {}, 0, pack,
                                u"1/3/2017 10:11:12 AM", u"Root\\Work");
  auto c = ReplyTo(key, 0, view);
  ASSERT_TRUE(c);
  EXPECT_TRUE(c->shown);
  EXPECT_EQ(c->modal, 1);
  EXPECT_EQ(c->to, u"\"Ivan Petrov\"<ivan@example.org>");
  EXPECT_EQ(c->subject, u"Re[2]: plan");
  EXPECT_EQ(c->from, u"Me <me@example.org>");
  EXPECT_EQ(c->format, plain);
  EXPECT_EQ(c->project, u"Root\\Work");
  EXPECT_EQ(c->projectIcon, u"Prj");
  EXPECT_EQ(c->editor.BodyInnerText(),
            u"Hello, Ivan Petrov!\r\nYou wrote 1/3/2017 10:11:12 AM : :\r\n\r\nI P>line 1\r\nI P>line 2");
}

TEST_F(Reply, HtmlLetterQuotesWhatTheViewShowsAndKeepsPackAndProject) {
  const int32_t pack = [&] {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Name", Value(u"P"));
    const int32_t n = rs->GetField(u"N").AsLong();
    rs->Update();
    return n;
  }();
  const int32_t key = AddLetter(u"bob@example.org", u"hi", u"stored text",
                                {HtmlBody(u"<html><body><p>shown</p><p>text</p></body></html>")}, 0, pack);
  view.SetDocumentHTML(u"<html><body><p>shown</p><p>text</p></body></html>");
  // The pack's list carries the pack and project columns the reply inherits.
  DataCursor cursor(module1::GetEmailDbPath(), store::GetPackMsgRecordSource(pack, 0, false));
  cursor.Refresh();
  cursor.SetTag(1);
  mail.ReplyLetter(cursor, view);
  auto c = std::dynamic_pointer_cast<MemoryComposeView>(LastComposeView());
  ASSERT_TRUE(c);
  EXPECT_EQ(c->to, u"bob@example.org");
  EXPECT_EQ(c->format, html);
  const std::u16string text = c->editor.BodyInnerText();
  EXPECT_TRUE(text.starts_with(u"Hello!\r\nYou wrote ")) << ToUtf8(text);
  // A one-word sender quotes with its first three letters.
  EXPECT_TRUE(text.ends_with(u"bob>shown\r\nbob>\r\nbob>text")) << ToUtf8(text);
  EXPECT_EQ(c->pack, pack);
  (void)key;
}

TEST_F(Reply, LetterWithoutDateIsDatedFirstOfJanuary1980AndFormatFollowsTheSettingsWhenReplyFormatIsOff) {
  const int32_t key = AddLetter(u"a", u"", u"x", {}, 0, 0, u"");
  WriteIniString(u"Send", u"ReplyFormat", u"0", module1::GetIniPath());
  WriteIniString(u"Send", u"Format", u"1", module1::GetIniPath());
  auto c = ReplyTo(key, 0, view);
  ASSERT_TRUE(c);
  EXPECT_EQ(c->subject, u"Re: ");
  EXPECT_EQ(c->format, html);
  EXPECT_EQ(c->editor.BodyInnerText(), u"Hello!\r\nYou wrote 1/1/1980 : :\r\n\r\na>x");
}

}  // namespace
}  // namespace ravelin::test
