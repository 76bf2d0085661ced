// A stored letter as HTML: the page of a letter in its three forms, references to parts
// rewritten, charsets, extraction to the files folder, and the rows of a pack report.
#include <filesystem>

#include <gtest/gtest.h>

#include "formats/charsets.h"
#include "formats/message_builder.h"
#include "platform/filenames.h"
#include "presentation/letter_html.h"
#include "presentation_fixture.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/record_sources.h"

namespace ravelin::test {
namespace {

using presentation::Document;

std::u16string E(const std::u16string& s) { return GetUnicodeHTMLString(s); }

class LetterHtml : public PresentationFixture {
 protected:
  Document Page(int32_t key, bool force) { return presentation::CreateHTMLByMsgNumber(NumToText(key), force); }
  std::u16string FileTarget(const std::u16string& name) { return u"file://" + E(MFile(name)); }

  // The report rows of one letter, with its Files rows extracted first.
  std::u16string Rows(int32_t key, int32_t number) {
    auto db = Db();
    auto letter = db->OpenRecordset(u"Select * from Letters WHERE key=" + NumToText(key), dao::dbOpenDynaset);
    auto files = db->OpenRecordset(store::GetAttachRecordSource(key), dao::dbOpenDynaset);
    presentation::Extraction ex;
    std::u16string folder;
    const int32_t body = presentation::ExtractAttachments2(*files, ex, folder);
    return presentation::GetHTMLletter(*letter, files.get(), number, body, folder);
  }
};

// ---- The page of a letter ----

TEST_F(LetterHtml, PlainLetterIsBlankPageWithEscapesOnlyWhenForced) {
  const int32_t key = AddLetter(u"a@example.org", u"s", u"a <b>\r\nc Привет");
  EXPECT_EQ(Page(key, false).html, u"");

  const Document doc = Page(key, true);
  EXPECT_TRUE(doc.octets);
  EXPECT_EQ(doc.html, DocBlancHeader() + u"<body>a &LTb&GT<br></br>c " +
                          BytesToByteText("\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82") + u"</body></html>");
  // Written as its octets: the UTF-8 of the text, no byte order mark.
  EXPECT_EQ(presentation::DocumentBytes(doc).substr(0, 9), "<!DOCTYPE");
}

TEST_F(LetterHtml, LetterWhoseLastRowIsAFileIsUnescapedTextWithItsAttachmentList) {
  const int32_t key = AddLetter(u"a@example.org", u"s", u"line1\r\n<b>raw</b>",
                                {Part(u"text", u"plain", u"a.txt", u"A", u"attachment"),
                                 Part(u"text", u"plain", u"b.txt", u"BB", u"attachment")});
  EXPECT_EQ(Page(key, false).html, u"");  // a text attachment never becomes the body

  const Document doc = Page(key, true);
  EXPECT_FALSE(doc.octets);
  EXPECT_EQ(doc.html,
            u"<html><head><META http-equiv=Content-Type content='text/html; charset=utf-8'></head><body>"
            u"line1<br></br><b>raw</b>"
            u"<hr>" + E(u"Attachments:") + u"<br></br>" +
                u"<a href=\"" + E(MFile(u"b.txt")) + u"\">" + E(u"b.txt") + u"</a>, " +
                u"<a href=\"" + E(MFile(u"a.txt")) + u"\">" + E(u"a.txt") + u"</a>" + u"</body></html>");
  EXPECT_EQ(ReadFile(MFile(u"b.txt")), "BB");
}

TEST_F(LetterHtml, MissingLetterGivesNothing) {
  EXPECT_EQ(Page(4242, true).html, u"");
  EXPECT_EQ(mail.CreateHTML_by_msgNumber(u"4242", true), u"");
}

// ---- References to parts ----

TEST_F(LetterHtml, ContentIdInEveryCaseAndAttributeFormAndContentLocationPointAtFiles) {
  const std::u16string body =
      u"<html><body><img src=\"CID:img1@x\"><img src=\"cid:IMG1@X\"><td background=\"img1@x\">"
      u"<img src=\"http://example.com/pics/pic.png\"><img src=\"http://example.com/empty.png\"></body></html>";
  const int32_t key = AddLetter(
      u"a@example.org", u"s", u"",
      {Part(u"image", u"png", u"logo.png", u"PNG1", u"inline", u"<img1@x>"),
       Part(u"image", u"png", u"pic.png", u"PNG2", u"inline", u"", u"http://example.com/pics/pic.png"),
       Part(u"image", u"png", u"empty.png", u"", u"inline", u"", u"http://example.com/empty.png"), HtmlBody(body)});
  const Document doc = Page(key, false);
  const std::u16string t1 = FileTarget(u"logo.png");
  EXPECT_EQ(doc.html, u"<html><body><img src=\"" + t1 + u"\"><img src=\"" + t1 + u"\"><td background=\"" + t1 +
                          u"\"><img src=\"" + FileTarget(u"pic.png") +
                          u"\"><img src=\"http://example.com/empty.png\"></body></html>");
  EXPECT_EQ(ReadFile(MFile(u"logo.png")), "PNG1");

  // For saving, the targets are relative to the folder's parent and an empty part counts.
  auto db = Db();
  auto files = db->OpenRecordset(store::GetAttachRecordSource(key), dao::dbOpenDynaset);
  files->MoveLast();
  std::u16string cp;
  int32_t cpID = 0;
  const Document saved = presentation::CreateHTMLCore(*files, presentation::MailFilesFolder(), cp, true, false, cpID);
  EXPECT_NE(saved.html.find(u"src=\"" + E(u"mFiles/logo.png") + u"\""), std::u16string::npos) << ToUtf8(saved.html);
  EXPECT_NE(saved.html.find(u"src=\"" + E(u"mFiles/empty.png") + u"\""), std::u16string::npos);
}

TEST_F(LetterHtml, ShortLocationAgainstTheBaseIsRewrittenWithAndWithoutParentStep) {
  const std::u16string body =
      u"<html><head><base href=\"http://example.com/dir/page.html\"></head><body>"
      u"<img src=\"../img.png\"><img src=\"sub/deep.png\"></body></html>";
  const int32_t key =
      AddLetter(u"a@example.org", u"s", u"",
                {Part(u"image", u"png", u"img.png", u"I", u"inline", u"", u"http://example.com/img.png"),
                 Part(u"image", u"png", u"deep.png", u"D", u"inline", u"", u"http://example.com/dir/sub/deep.png"),
                 HtmlBody(body)});
  const std::u16string html = Page(key, false).html;
  EXPECT_NE(html.find(u"src=\"" + FileTarget(u"img.png") + u"\""), std::u16string::npos) << ToUtf8(html);
  EXPECT_NE(html.find(u"src=\"" + FileTarget(u"deep.png") + u"\""), std::u16string::npos) << ToUtf8(html);
}

// ---- Charsets ----

TEST_F(LetterHtml, CharsetComesFromThePartThenFromTheDocument) {
  const std::u16string cp1251 = ConvertCodePage(u"Привет", kCodePageUtf16, 1251);
  const std::u16string koi8 = ConvertCodePage(u"Мир", kCodePageUtf16, 20866);
  const int32_t fromPart =
      AddLetter(u"a@example.org", u"s", u"", {HtmlBody(u"<html><body>" + cp1251 + u"</body></html>", u"windows-1251")});
  const int32_t fromMeta = AddLetter(
      u"a@example.org", u"s", u"",
      {HtmlBody(u"<html><head><meta content=\"text/html; charset=KOI8-R\"></head><body>" + koi8 + u"</body></html>")});
  const int32_t unclosed = AddLetter(
      u"a@example.org", u"s", u"",
      {HtmlBody(u"<html><head><meta content=text/html;charset=windows-1251></head><body>" + cp1251 + u"</body></html>")});

  Document d = Page(fromPart, false);
  EXPECT_FALSE(d.octets);
  EXPECT_NE(d.html.find(u"Привет"), std::u16string::npos);
  d = Page(fromMeta, false);
  EXPECT_FALSE(d.octets);
  EXPECT_NE(d.html.find(u"Мир"), std::u16string::npos);
  // A charset that no double quote closes is not seen: the octets stay as they are.
  d = Page(unclosed, false);
  EXPECT_TRUE(d.octets);
  EXPECT_NE(d.html.find(cp1251), std::u16string::npos);
  EXPECT_EQ(presentation::GetHTMLcharset(u"<meta content=text/html;charset=windows-1251>"), u"unicode");
}

// ---- Extraction ----

TEST_F(LetterHtml, HostileFileNameStaysInsideTheFilesFolder) {
  const int32_t key =
      AddLetter(u"a@example.org", u"s", u"t", {Part(u"application", u"octet-stream", u"../../x", u"evil", u"attachment")});
  const std::u16string html = Page(key, true).html;
  const std::u16string cleaned = CleanFileName(u"../../x");
  EXPECT_EQ(cleaned.find(u'/'), std::u16string::npos);
  EXPECT_EQ(ReadFile(MFile(cleaned)), "evil");
  EXPECT_NE(html.find(E(MFile(cleaned))), std::u16string::npos);
  namespace sfs = std::filesystem;
  const sfs::path mfiles(ToUtf8(presentation::MailFilesFolder()));
  EXPECT_FALSE(sfs::exists(mfiles.parent_path() / "x"));
  EXPECT_FALSE(sfs::exists(mfiles.parent_path().parent_path() / "x"));
  EXPECT_EQ((sfs::status(mfiles).permissions() & sfs::perms::all), sfs::perms::owner_all);
}

TEST_F(LetterHtml, SameFileNameOfAnotherLetterIsWrittenOverWhole) {
  const int32_t big =
      AddLetter(u"a@example.org", u"a", u"", {Part(u"image", u"png", u"image001.png", std::u16string(1000, u'A'), u"inline")});
  const int32_t small =
      AddLetter(u"a@example.org", u"b", u"", {Part(u"image", u"png", u"image001.png", u"0123456789", u"inline")});
  Page(big, true);
  EXPECT_EQ(ReadFile(MFile(u"image001.png")).size(), 1000u);
  Page(small, true);
  EXPECT_EQ(ReadFile(MFile(u"image001.png")), "0123456789");
}

TEST_F(LetterHtml, SymbolicLinkInTheFilesFolderIsNeverFollowed) {
  const int32_t key = AddLetter(u"a@example.org", u"a", u"", {Part(u"image", u"png", u"pic.png", u"NEW", u"inline")});
  presentation::EnsurePrivateFolder(presentation::MailFilesFolder());
  const std::string outside = ToUtf8(HomeFile("outside.txt"));
  { std::ofstream(outside) << "keep"; }
  std::filesystem::create_symlink(outside, ToUtf8(MFile(u"pic.png")));
  Page(key, true);
  EXPECT_EQ(ReadFile(FromUtf8(outside)), "keep");
  ASSERT_FALSE(host().Reports().empty());
  EXPECT_EQ(host().Reports().back().source, u"ExtractAttachments2");
}

// ---- Report rows of one letter ----

TEST_F(LetterHtml, RowsOfAPlainLetterAsWritten) {
  const int32_t key = AddLetter(u"\"Ivan Petrov\" <ivan@example.org>", u"s", u"Hi <you>\r\nbye\n!");
  EXPECT_EQ(Rows(key, 7),
            u"<tr><td colSpan=2 bgcolor= #bdc28f><font color=\"#000000\"< b > <i > 7. " + E(u"Sender:") +
                u"<a href=mailto:ivan@example.org> " + E(u"Ivan Petrov") +
                u"</a>  1/3/2017 10:11:12 AM </i></b></font></td></tr>"
                u"<tr><td style=\"vertical-align:top\"></td><td>Hi &LTyou&GT<br>bye<br>!</td></tr>");
}

TEST_F(LetterHtml, RowsOfAnHtmlLetterWithAttachmentsAndTheOutboxColour) {
  const int32_t key = AddLetter(
      u"bob@example.org", u"s", u"",
      {Part(u"application", u"pdf", u"r.pdf", u"%PDF", u"attachment"), Part(u"image", u"png", u"i.png", u"P", u"inline"),
       HtmlBody(u"<html><head><title>t</title></head><body bgcolor=red>x</body></html>")},
      1);
  const std::u16string rows = Rows(key, 1);
  // The body's attributes become the cell's; the head is dropped.
  EXPECT_NE(rows.find(u"<tr><td style=\"vertical-align:top\"></td><td bgcolor=red>x</td></tr>"), std::u16string::npos)
      << ToUtf8(rows);
  EXPECT_NE(rows.find(u"bgcolor= #dcbebe>"), std::u16string::npos);
  // A bare address is its own name.
  EXPECT_NE(rows.find(u"<a href=mailto:bob@example.org> " + E(u"bob@example.org") + u"</a>"), std::u16string::npos);
  // One list entry, for the attachment only; one </LI>, no </OL>.
  const std::u16string list = u"<tr><td colSpan=2 bgcolor= #d7cfb9><u><b>" + E(u"Attachments:") + u"</b></u><OL>" +
                              u"<LI><a href=\"file://" + E(MFile(u"r.pdf")) + u"\">" + E(u"r.pdf") +
                              u"</a></LI></td></tr>";
  EXPECT_TRUE(rows.ends_with(list)) << ToUtf8(rows);

  const int32_t sent = AddLetter(u"bob@example.org", u"s", u"x", {}, 2);
  EXPECT_NE(Rows(sent, 2).find(u"bgcolor= #bdc28f>"), std::u16string::npos);
}

TEST_F(LetterHtml, BodyWithoutBodyTagsBecomesTheWholeCell) {
  const int32_t key = AddLetter(u"a@example.org", u"s", u"", {HtmlBody(u"<p>only</p>")});
  EXPECT_NE(Rows(key, 1).find(u"</td><td><p>only</p></td></tr>"), std::u16string::npos);
}

}  // namespace
}  // namespace ravelin::test
