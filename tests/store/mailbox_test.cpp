// Mailboxes of other mail programs: mbox files split into their letters (with ">From"
// quoting undone and unquoted "From " lines in bodies left alone), Maildir folders walked
// with their seen flags, and both stored letter by letter as .eml files are.
#include "store/mailbox.h"

#include <filesystem>
#include <fstream>

#include "platform/filesystem.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/letter_fixture.h"

namespace ravelin::test {
namespace {

std::vector<store::MailboxLetter> Split(std::string_view octets) {
  std::vector<store::MailboxLetter> out;
  store::SplitMbox(octets, [&](store::MailboxLetter& l) {
    out.push_back(l);
    return true;
  });
  return out;
}

std::string Octets(const std::u16string& byteText) { return ByteTextToBytes(byteText); }

TEST(Mbox, LettersQuotingAndSeparators) {
  const std::string mbox =
      "From ann@example.org Mon Jan  1 10:11:12 2024\n"
      "From: Ann <ann@example.org>\n"
      "Subject: one\n"
      "\n"
      "Hello.\n"
      ">From the quoted line.\n"
      ">>From a twice quoted line.\n"
      "> From stays, and so does >Fromage.\n"
      "\n"
      "From here on an unquoted line that opens no letter,\n"
      "because no header follows it.\n"
      "\n"
      "From bob@example.org Tue Jan  2 10:11:12 2024\n"
      "From  : Bob <bob@example.org>\n"
      "Subject: two\n"
      "\n"
      "Second.\n";
  const auto letters = Split(mbox);
  ASSERT_EQ(letters.size(), 2u);
  EXPECT_EQ(Octets(letters[0].text),
            "From: Ann <ann@example.org>\nSubject: one\n\nHello.\nFrom the quoted line.\n>From a twice quoted line.\n"
            "> From stays, and so does >Fromage.\n\nFrom here on an unquoted line that opens no letter,\n"
            "because no header follows it.\n");
  EXPECT_EQ(letters[0].number, 1);
  EXPECT_EQ(letters[0].line, 1);
  EXPECT_EQ(Octets(letters[1].text), "From  : Bob <bob@example.org>\nSubject: two\n\nSecond.\n");
  EXPECT_EQ(letters[1].number, 2);
  EXPECT_EQ(letters[1].line, 13);

  // CR LF files split alike; text ahead of the first "From " line is no letter.
  const auto crlf = Split("junk\r\nFrom a Mon\r\nSubject: x\r\n\r\nA\r\n\r\nFrom b Tue\r\nSubject: y\r\n\r\nB\r\n");
  ASSERT_EQ(crlf.size(), 2u);
  EXPECT_EQ(Octets(crlf[0].text), "Subject: x\r\n\r\nA\r\n");
  EXPECT_EQ(Octets(crlf[1].text), "Subject: y\r\n\r\nB\r\n");
  EXPECT_TRUE(Split("").empty());
  EXPECT_TRUE(Split("Subject: no envelope\n\nbody\n").empty());

  // What opens an mbox, and what is a message that merely starts like one.
  EXPECT_TRUE(store::LooksLikeMbox("From - Fri Aug 24 11:55:47 2018\nFrom: a\n"));
  EXPECT_TRUE(store::LooksLikeMbox("From MAILER-DAEMON Fri Jul  8 12:08:34 2011\r\nReturn-Path: <x>\r\n"));
  EXPECT_FALSE(store::LooksLikeMbox("From: a\nTo: b\n"));
  EXPECT_FALSE(store::LooksLikeMbox("From  : a\nTo: b\n"));
  EXPECT_FALSE(store::LooksLikeMbox("From a line of prose\nand more prose\n"));
  EXPECT_FALSE(store::LooksLikeMbox("\nFrom a Mon\nTo: b\n"));

  // A reader that stops early gets no more letters.
  int seen = 0;
  EXPECT_EQ(store::SplitMbox(mbox, [&](store::MailboxLetter&) { return ++seen < 1; }), 1);
}

// The mbox files of the shared corpus, from three writers.
TEST(Mbox, CorpusFiles) {
  const auto dir = SharedDir() / "corpus";
  if (!std::filesystem::is_directory(dir)) GTEST_SKIP() << "no corpus at " << dir;
  const struct {
    const char* file;
    std::vector<std::string> subjects;
  } rows[] = {
      {"mimekit/mbox/simple.mbox.txt",
       {"this'll probably break a lot of mime parsers", "this'll probably break even more mime parsers",
        "if a mime parser can correctly handle this, I'm impressed"}},
      {"thunderbird/mailnews-test-data/mbox_modern", {"Sample message 1", "Sample message 2"}},
      {"thunderbird/mailnews-test-data/mbox_unquoted", {"Sample message 1", "Sample message 2"}},
      {"thunderbird/mailnews-test-data/mbox_mboxrd", {"Sample message 1", "Sample message 2"}},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.file);
    std::vector<std::string> subjects;
    std::vector<std::u16string> texts;
    store::ReadMbox(FromUtf8((dir / r.file).string()), [&](store::MailboxLetter& l) {
      mailHeader h;
      GetSubItems(l.text, h);
      subjects.push_back(ToUtf8(h.Subject));
      texts.push_back(h.Message);
      return true;
    });
    EXPECT_EQ(subjects, r.subjects);
    if (std::string(r.file).find("mboxrd") != std::string::npos) {
      ASSERT_EQ(texts.size(), 2u);
      EXPECT_NE(texts[0].find(u"\nFrom (should be escaped)."), std::u16string::npos);
    }
    if (std::string(r.file).find("unquoted") != std::string::npos) {
      ASSERT_EQ(texts.size(), 2u);
      EXPECT_NE(texts[0].find(u"\nFrom \nThis could cause problems"), std::u16string::npos);
    }
  }
  EXPECT_EQ(ErrorOf([&] { store::ReadMbox(FromUtf8((dir / "no such file").string()), {}); }), 53);
}

class MailboxImport : public StoreFixture {
 protected:
  void Write(const std::filesystem::path& p, const std::string& octets) {
    std::filesystem::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << octets;
  }
  static std::string Letter(const std::string& subject) {
    return "From: a@example.org\r\nTo: b@example.org\r\nSubject: " + subject + "\r\n\r\nText of " + subject + "\r\n";
  }
};

TEST_F(MailboxImport, MaildirWithItsSeenFlags) {
  const std::filesystem::path box = std::filesystem::path(ToUtf8(home())) / "Maildir";
  Write(box / "new" / "1700000003.M1.host", Letter("fresh"));
  Write(box / "cur" / "1700000001.M1.host:2,S", Letter("read"));
  Write(box / "cur" / "1700000002.M1.host:2,RF", Letter("replied, unread"));
  Write(box / "cur" / ".hidden", Letter("not a letter"));
  Write(box / "tmp" / "1700000004.M1.host", Letter("still arriving"));
  const std::u16string path = FromUtf8(box.string());
  ASSERT_TRUE(store::IsMaildir(path));
  EXPECT_FALSE(store::IsMaildir(FromUtf8((box / "cur").string())));

  std::vector<int32_t> keys;
  store::ReadMaildir(path, [&](store::MailboxLetter& l) {
    keys.push_back(store::AddLetterFromText(l.text, u"Root\\Mail", false, 0, nullptr, l.seen));
    return true;
  });
  ASSERT_EQ(keys.size(), 3u);
  for (int32_t k : keys) ASSERT_GT(k, 0);
  EXPECT_EQ(Text(Stored(keys[0]), u"Subject"), u"fresh");
  EXPECT_EQ(Text(Stored(keys[1]), u"Subject"), u"read");
  EXPECT_EQ(Text(Stored(keys[2]), u"Subject"), u"replied, unread");
  // Unread letters are found by the plain question, read ones are marked.
  std::vector<std::u16string> unread;
  for (const Row& r : Rows(u"Select * from Letters where [Read]=False order by key;")) unread.push_back(Text(r, u"Subject"));
  EXPECT_EQ(unread, (std::vector<std::u16string>{u"fresh", u"replied, unread"}));
  EXPECT_EQ(Count(u"Select * from Letters where [Read]=True;"), 1u);
  EXPECT_EQ(Count(u"Select * from Projects where Project=\"Root\\Mail\";"), 3u);
  EXPECT_EQ(ErrorOf([&] { store::ReadMaildir(home(), {}); }), 76);
}

TEST_F(MailboxImport, MboxLettersGoInAsFilesDo) {
  const std::string a = Letter("first"), b = Letter("second");
  const std::filesystem::path file = std::filesystem::path(ToUtf8(home())) / "inbox.mbox";
  Write(file, "From a@example.org Mon Jan  1 10:11:12 2024\r\n" + a + "\r\nFrom a@example.org Mon Jan  1 10:11:13 2024\r\n" + b);
  std::vector<int32_t> keys;
  store::ReadMbox(FromUtf8(file.string()), [&](store::MailboxLetter& l) {
    keys.push_back(store::AddLetterFromText(l.text));
    return true;
  });
  ASSERT_EQ(keys.size(), 2u);
  // The same letter from an .eml file is stored alike, size included.
  Write(std::filesystem::path(ToUtf8(home())) / "second.eml", b);
  const int32_t fromFile = store::AddLetterFromEML(HomeFile("second.eml"));
  const Row viaMbox = Stored(keys[1]), viaFile = Stored(fromFile);
  for (const char16_t* f : {u"Subject", u"From", u"To", u"Message", u"MailFolder"})
    EXPECT_EQ(Text(viaMbox, f), Text(viaFile, f)) << ToUtf8(f);
  EXPECT_EQ(viaMbox.at(u"Size"), viaFile.at(u"Size"));
  EXPECT_EQ(viaMbox.at(u"Size").AsLong(), static_cast<int32_t>(b.size()));
}

}  // namespace
}  // namespace ravelin::test
