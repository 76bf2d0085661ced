// Inserting letters: what lands in each field, the recipient rules, the folder worked out
// from the accounts, the links and the attachment rows, and the .eml front end.
#include "store/add_letter.h"

#include <sqlite3.h>

#include <set>

#include "platform/filesystem.h"
#include "platform/interaction.h"
#include "runtime/vbstring.h"
#include "store/letter_fixture.h"

namespace ravelin::test {
namespace {

class AddLetterTest : public StoreFixture {
 protected:
  int32_t Add(mailHeader h, int32_t folder = Inbox, int32_t msgSize = 0, const std::u16string& project = {},
              bool arc = false, int32_t pack = 0, const std::u16string& strEmail = {}) {
    const std::u16string key = store::AddLetterFromMailHeader(h, folder, msgSize, project, arc, pack, strEmail);
    return static_cast<int32_t>(Val(key));
  }
};

TEST_F(AddLetterTest, RecipientRules) {
  const std::u16string long300 = u"x@y.z, " + std::u16string(293, u'a');
  struct Case {
    std::u16string to, strEmail, expected;
    size_t boxes;
  } cases[] = {
      {u"", u"", u"?", 0},
      {u"", u"me@here.org", u"me@here.org", 0},
      {u"Ann <ann@b.org>", u"", u"Ann <ann@b.org>", 0},
      {u"Ann <ANN@B.ORG>", u"ann@b.org", u"Ann <ANN@B.ORG>", 0},  // contained, case ignored
      {u"Ann <ann@b.org>", u"me@here.org", u"me@here.org", 0},    // the caller's address wins
      {long300, u"", long300.substr(0, 255), 1},
      {long300, u"X@Y.Z", long300.substr(0, 255), 1},
  };
  for (const Case& c : cases) {
    user().shown.clear();
    const int32_t key = Add(Header(u"s@x.org", c.to, u"s"), Inbox, 0, {}, false, 0, c.strEmail);
    SCOPED_TRACE(ToUtf8(c.to.substr(0, 40)) + " / " + ToUtf8(c.strEmail));
    ASSERT_GT(key, 0);
    EXPECT_EQ(Text(Stored(key), u"To"), c.expected);
    ASSERT_EQ(user().shown.size(), c.boxes);
    if (c.boxes) {
      EXPECT_EQ(user().shown[0].style, mb::kExclamation);
      // The default text has "% 1": the number is not put in.
      EXPECT_NE(user().shown[0].text.find(u"% 1"), std::u16string::npos);
    }
  }
}

TEST_F(AddLetterTest, FieldsAsStored) {
  // Subject: empty stays Null, a long one is cut to the field.
  mailHeader h = Header(u"a@b.c", u"d@e.f", u"");
  const int32_t k1 = Add(h);
  EXPECT_TRUE(IsNull(Stored(k1), u"Subject"));
  EXPECT_EQ(Text(Stored(Add(Header(u"a@b.c", u"d@e.f", std::u16string(300, u's')))), u"Subject").size(), 255u);

  // Character 0 removed everywhere in the text.
  h = Header(u"a@b.c", u"d@e.f", u"nul");
  h.Message = std::u16string(u"a\0b\0\0c", 6);
  EXPECT_EQ(Text(Stored(Add(h)), u"Message"), u"abc");

  // No text and no content type: the raw body is the text, and the caller sees it.
  h = Header(u"a@b.c", u"d@e.f", u"raw");
  h.Message.clear();
  h.Content_Type.clear();
  h.msgBody = u"raw body";
  int32_t inbox = Inbox;
  const int32_t raw = static_cast<int32_t>(Val(store::AddLetterFromMailHeader(h, inbox)));
  EXPECT_EQ(Text(Stored(raw), u"Message"), u"raw body");
  EXPECT_EQ(h.Message, u"raw body");
  // A content type but no text: nothing stored.
  h = Header(u"a@b.c", u"d@e.f", u"html only");
  h.Message.clear();
  h.msgBody = u"<html></html>";
  EXPECT_TRUE(IsNull(Stored(Add(h)), u"Message"));

  // Size: the caller's when above 0, else the header's.
  h = Header(u"a@b.c", u"d@e.f", u"size");
  h.mSize = 1200;
  EXPECT_EQ(Stored(Add(h, Inbox, 0)).at(u"Size").AsLong(), 1200);
  EXPECT_EQ(Stored(Add(h, Inbox, 77)).at(u"Size").AsLong(), 77);

  // Dates: arrival only for Inbox, the letter's date read from its text.
  h = Header(u"a@b.c", u"d@e.f", u"dated");
  h.strDate = u"1/2/2024 3:04:05 PM";
  const Row received = Stored(Add(h, Inbox));
  EXPECT_EQ(received.at(u"DateReceived").AsDate().serial, FromUnixSeconds(clock_.now).serial);
  EXPECT_EQ(FormatGeneralDate(received.at(u"DateWrote").AsDate()), u"1/2/2024 3:04:05 PM");
  EXPECT_TRUE(IsNull(Stored(Add(h, Sent)), u"DateReceived"));

  // Folder names by code; an unknown code leaves the folder empty and still stores the letter.
  const std::u16string names[] = {u"Inbox", u"Outbox", u"Sent", u"Rough copies", u"Recycle"};
  for (int32_t f = 0; f < 5; ++f) EXPECT_EQ(Text(Stored(Add(h, f)), u"MailFolder"), names[f]) << f;
  const int32_t odd = Add(h, 9);
  ASSERT_GT(odd, 0);
  EXPECT_TRUE(IsNull(Stored(odd), u"MailFolder"));
}

TEST_F(AddLetterTest, FolderWorkedOutFromAccounts) {
  // No accounts: Inbox.
  int32_t folder = -1;
  mailHeader h = Header(u"Me <me@home.org>", u"you@there.org", u"x");
  store::AddLetterFromMailHeader(h, folder);
  EXPECT_EQ(folder, Inbox);

  AddAccount(u"me", u"home.org");
  AddAccount(u"Work", u"Office.COM");  // the last row is tried first
  struct Case {
    std::u16string from, to;
    int32_t expected;
  } cases[] = {
      {u"stranger@x.org", u"Me <ME@HOME.ORG>", Inbox},
      {u"Me <me@home.org>", u"stranger@x.org", Sent},
      {u"me@home.org", u"me@home.org", Inbox},  // one's own account on both sides: received
      // From the last account to an earlier one: the last row answers first, by From.
      {u"work@office.com", u"me@home.org", Sent},
      {u"me@home.org", u"work@office.com", Inbox},
  };
  for (const Case& c : cases) {
    int32_t f = -1;
    mailHeader m = Header(c.from, c.to, u"y");
    const int32_t key = static_cast<int32_t>(Val(store::AddLetterFromMailHeader(m, f)));
    SCOPED_TRACE(ToUtf8(c.from) + " -> " + ToUtf8(c.to));
    EXPECT_EQ(f, c.expected);
    const Row r = Stored(key);
    EXPECT_EQ(Text(r, u"MailFolder"), store::MailFolderName(c.expected));
    // The arrival is stamped before the folder is known: never for a worked-out folder.
    EXPECT_TRUE(IsNull(r, u"DateReceived"));
  }
}

TEST_F(AddLetterTest, LinksAndAttachmentRows) {
  const int32_t pack = AddPack(u"Plans");
  mailHeader h = Header(u"a@b.c", u"d@e.f", u"with parts");
  AttachFile png;
  png.ftype = u"image";
  png.fsubtype = u"png";
  png.fname = u"dot.png";
  png.fData = BytesToByteText(std::string("\x89PNG\r\n\x1a\n\0\xff", 10));
  png.Content_ID = u"<dot@x>";
  png.ContentDisposition = u"inline";
  AttachFile html;
  html.ftype = u"text";
  html.fsubtype = u"html";
  html.fData = u"<p>hi</p>";
  html.ContentTransferEncoding = u"utf-8";
  h.attFiles = {png, html};

  const int32_t key = Add(h, Inbox, 0, u"Work\\Plans", true, pack);
  ASSERT_GT(key, 0);
  auto projects = Rows(u"Select * from Projects");
  ASSERT_EQ(projects.size(), 1u);
  EXPECT_EQ(projects[0].at(u"Obj ID").AsLong(), key);
  EXPECT_EQ(projects[0].at(u"ObjType").AsLong(), 0);
  EXPECT_EQ(Text(projects[0], u"Project"), u"Work\\Plans");
  EXPECT_TRUE(projects[0].at(u"InsArcPrj").AsBool());
  auto items = Rows(u"Select * from PackItems");
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].at(u"Msg_N").AsLong(), key);
  EXPECT_EQ(items[0].at(u"Pack_N").AsLong(), pack);

  auto files = Rows(u"Select * from Files where N=" + NumToText(key) + u";");
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(Text(files[0], u"filename"), u"dot.png");
  EXPECT_EQ(files[0].at(u"Data").AsBinary(), std::string("\x89PNG\r\n\x1a\n\0\xff", 10));
  EXPECT_EQ(Text(files[0], u"Content-ID"), u"<dot@x>");
  EXPECT_EQ(Text(files[0], u"Content-Disposition"), u"inline");
  EXPECT_TRUE(IsNull(files[0], u"Charset"));
  EXPECT_TRUE(IsNull(files[1], u"filename"));
  EXPECT_TRUE(IsNull(files[1], u"Content-Location"));
  EXPECT_EQ(Text(files[1], u"Charset"), u"utf-8");

  // A blank project and no pack: no link rows.
  const int32_t bare = Add(Header(u"a@b.c", u"d@e.f", u"bare"), Inbox, 0, u"   ", false, 0);
  ASSERT_GT(bare, 0);
  EXPECT_EQ(Count(u"Select * from Projects"), 1u);
  EXPECT_EQ(Count(u"Select * from PackItems"), 1u);
}

TEST_F(AddLetterTest, AFailingStepFailsAloneAndNoLinkOutlivesItsLetter) {
  const int32_t pack = AddPack(u"Plans");
  // An unknown folder code writes "" to MailFolder, which the field refuses: that step
  // alone fails, the letter is stored without a folder and its links point at it.
  const int32_t odd = Add(Header(u"a@b.c", u"d@e.f", u"odd folder"), MailFolderUnknown, 0, u"Work", false, pack);
  ASSERT_GT(odd, 0);
  const Row r = Stored(odd);
  EXPECT_EQ(Text(r, u"Subject"), u"odd folder");
  EXPECT_TRUE(IsNull(r, u"MailFolder"));
  // Every letter is stored unread, which the plain question finds.
  EXPECT_EQ(r.at(u"Read"), Value(false));
  const int32_t plain = Add(Header(u"a@b.c", u"d@e.f", u"plain"));
  EXPECT_EQ(Count(u"Select * from Letters where [Read]=False"), 2u);

  // A letter row the database refuses: no key (the failure goes to the caller, whom the
  // façade's funnel reports), and the project and pack links written ahead of it are gone
  // again with the letter's transaction.
  {
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(fs::NativePath(module1::GetEmailDbPath()).c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw,
                           "CREATE TRIGGER refuse BEFORE INSERT ON Letters WHEN NEW.Subject = 'refused' "
                           "BEGIN SELECT RAISE(ABORT, 'refused'); END;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(raw);
  }
  mailHeader h = Header(u"a@b.c", u"d@e.f", u"refused");
  AttachFile f;
  f.ftype = u"application";
  f.fsubtype = u"octet-stream";
  f.fData = u"x";
  h.attFiles = {f};
  int32_t folder = Inbox;
  EXPECT_THROW(store::AddLetterFromMailHeader(h, folder, 0, u"Work", false, pack), Error);
  EXPECT_EQ(Count(u"Select * from Letters"), 2u);
  const auto linked = [&](const std::u16string& sql) {
    std::set<int32_t> keys;
    for (const Row& row : Rows(sql)) keys.insert(row.begin()->second.AsLong());
    return keys;
  };
  EXPECT_EQ(linked(u"Select [Obj ID] from Projects"), (std::set<int32_t>{odd}));
  EXPECT_EQ(linked(u"Select Msg_N from PackItems"), (std::set<int32_t>{odd}));
  EXPECT_EQ(Count(u"Select * from Files"), 0u);
  EXPECT_GT(plain, odd);
}

TEST_F(AddLetterTest, AnAttachmentRowRefusedUndoesItsLetterAndTheNextLetterGoesIn) {
  const int32_t pack = AddPack(u"Plans");
  {
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(fs::NativePath(module1::GetEmailDbPath()).c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw,
                           "CREATE TRIGGER refuse BEFORE INSERT ON Files WHEN NEW.filename = 'bad.bin' "
                           "BEGIN SELECT RAISE(ABORT, 'refused'); END;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(raw);
  }
  const auto part = [](const std::u16string& name, const std::string& octets) {
    AttachFile f;
    f.ftype = u"application";
    f.fsubtype = u"octet-stream";
    f.fname = name;
    f.fData = BytesToByteText(octets);
    return f;
  };
  // The second part is refused after the first was written: nothing of the letter stays,
  // not its row, not its first part, not its links.
  mailHeader bad = Header(u"a@b.c", u"d@e.f", u"bad");
  bad.attFiles = {part(u"good.bin", "one"), part(u"bad.bin", "two")};
  int32_t folder = Inbox;
  EXPECT_THROW(store::AddLetterFromMailHeader(bad, folder, 0, u"Work", false, pack), Error);
  EXPECT_EQ(Count(u"Select * from Letters"), 0u);
  EXPECT_EQ(Count(u"Select * from Files"), 0u);
  EXPECT_EQ(Count(u"Select * from Projects"), 0u);
  EXPECT_EQ(Count(u"Select * from PackItems"), 0u);

  // The letters after it are written whole, parts in their order and each with its own data
  // (one held as octets among them), a part's field too long for its column left empty.
  mailHeader good = Header(u"a@b.c", u"d@e.f", u"good");
  AttachFile big = part(u"", "");
  big.fOctets = std::string("\0\x01\xfe\xff", 4) + std::string(100000, 'z');
  AttachFile named = part(u"n.bin", "three");
  named.ContentDisposition = u"attachment; " + std::u16string(60, u'd');
  good.attFiles = {part(u"first.bin", "one"), big, named};
  const int32_t k1 = Add(good, Inbox, 0, u"Work", false, pack);
  const int32_t k2 = Add(good);
  ASSERT_GT(k1, 0);
  ASSERT_GT(k2, k1);
  for (const int32_t key : {k1, k2}) {
    auto files = Rows(u"Select * from Files where N=" + NumToText(key) + u";");
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(Text(files[0], u"filename"), u"first.bin");
    EXPECT_EQ(files[0].at(u"Data").AsBinary(), "one");
    EXPECT_TRUE(IsNull(files[1], u"filename"));
    EXPECT_EQ(files[1].at(u"Data").AsBinary(), big.fOctets);
    EXPECT_EQ(files[2].at(u"Data").AsBinary(), "three");
    EXPECT_TRUE(IsNull(files[2], u"Content-Disposition"));
    EXPECT_EQ(Text(files[2], u"filename"), u"n.bin");
  }
  EXPECT_EQ(Count(u"Select * from Projects"), 1u);
  EXPECT_EQ(Count(u"Select * from PackItems"), 1u);
}

TEST_F(AddLetterTest, FromEmlFile) {
  // A missing file: a plain box naming it on a line of its own, and no letter.
  const std::u16string missing = HomeFile("nowhere.eml");
  EXPECT_EQ(module1::SharedMail().AddLetterFromEML(missing), 0);
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].style, 0);
  EXPECT_NE(user().shown[0].text.find(u"\r\n " + missing + u"\r\n"), std::u16string::npos);
  EXPECT_EQ(Count(u"Select * from Letters"), 0u);

  const std::string eml =
      "From: Bob <bob@x.org>\r\nTo: ann@y.org\r\nSubject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\n"
      "Date: Wed, 3 Jan 2024 10:11:12 +0300\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nHello\r\n";
  const std::u16string path = HomeFile("one.eml");
  fs::WriteAll(path, eml);
  const int32_t key = module1::SharedMail().AddLetterFromEML(path, u"P", false, 0);
  ASSERT_GT(key, 0);
  const Row r = Stored(key);
  EXPECT_EQ(Text(r, u"Subject"), u"\u041f\u0440\u0438\u0432\u0435\u0442");
  EXPECT_EQ(r.at(u"Size").AsLong(), static_cast<int32_t>(eml.size()));
  EXPECT_EQ(Text(r, u"MailFolder"), u"Inbox");
  EXPECT_EQ(FormatGeneralDate(r.at(u"DateWrote").AsDate()), u"1/3/2024 7:11:12 AM");
  EXPECT_EQ(Count(u"Select * from Projects"), 1u);
}

}  // namespace
}  // namespace ravelin::test
