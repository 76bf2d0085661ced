// The vCard reader on the shapes address books export: Apple's and Google's 3.0, an old
// 2.1 with quoted-printable and a code page, a 4.0 with a data URL, broken cards between
// good ones, folding anywhere, and the limits.
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "formats/vcard.h"
#include "runtime/text.h"

namespace ravelin::test {
namespace {

using vcard::Read;

// "hello, photo" in Base64, split as an exporter folds it.
const char kApple[] =
    "BEGIN:VCARD\r\n"
    "VERSION:3.0\r\n"
    "PRODID:-//Apple Inc.//macOS 14.0//EN\r\n"
    "N:Smith;Ann;;;\r\n"
    "FN:Ann Smith\r\n"
    "ORG:Acme Corp;Engineering;Tools\r\n"
    "TITLE:Chief Engineer\\, Tools\r\n"
    "EMAIL;type=INTERNET;type=WORK;type=pref:ann@acme.com\r\n"
    "EMAIL;type=INTERNET;type=HOME:ann@home.org\r\n"
    "item1.EMAIL;type=INTERNET:Ann@Acme.com\r\n"
    "item1.X-ABLabel:_$!<Other>!$_\r\n"
    "TEL;type=CELL;type=VOICE;type=pref:+1 555 0100\r\n"
    "PHOTO;ENCODING=b;TYPE=JPEG:aGVsbG8s\r\n"
    " IHBob3Rv\r\n"
    "END:VCARD\r\n";

const char kGoogle[] =
    "BEGIN:VCARD\n"
    "VERSION:3.0\n"
    "FN:Борис Иванов\n"
    "N:Иванов;Борис;;;\n"
    "EMAIL;TYPE=INTERNET;TYPE=HOME:boris@example.ru\n"
    "EMAIL;TYPE=INTERNET:mailto:b.ivanov@example.com\n"
    "ORG:ООО \"Ромашка\"\n"
    "NOTE:line one\\nline two\n"
    "END:VCARD\n";

const char kBrokenNoColon[] =
    "BEGIN:VCARD\r\n"
    "VERSION:3.0\r\n"
    "FN:Broken Card\r\n"
    "this line is not a property\r\n"
    "EMAIL:broken@example.org\r\n"
    "END:VCARD\r\n";

const char kOutlook21[] =
    "BEGIN:VCARD\r\n"
    "VERSION:2.1\r\n"
    "N;CHARSET=utf-8;ENCODING=QUOTED-PRINTABLE:=D0=9F=D0=B5=D1=82=D1=80=D0=BE=D0=B2;=D0=9F=D1=91=D1=82=D1=80\r\n"
    "FN;ENCODING=QUOTED-PRINTABLE;CHARSET=windows-1251:=CF=B8=F2=F0 =CF=E5=F2=F0=\r\n"
    "=EE=E2\r\n"
    "EMAIL;PREF;INTERNET:petr@example.ru\r\n"
    "END:VCARD\r\n";

const char kUnclosed[] =
    "BEGIN:VCARD\r\n"
    "VERSION:3.0\r\n"
    "FN:Never Closed\r\n"
    "EMAIL:open@example.org\r\n";

const char kVersion4[] =
    "BEGIN:VCARD\r\n"
    "VERSION:4.0\r\n"
    "KIND:individual\r\n"
    "FN:Chloé Martin\r\n"
    "EMAIL;TYPE=work;PREF=1:chloe@example.fr\r\n"
    "PHOTO:data:image/png;base64,aGVsbG8sIHBob3Rv\r\n"
    "END:VCARD\r\n";

const char kCompany[] =
    "BEGIN:VCARD\r\n"
    "VERSION:3.0\r\n"
    "N:;;;;\r\n"
    "FN:Acme Corp\r\n"
    "ORG:Acme Corp;\r\n"
    "EMAIL;type=INTERNET;type=WORK:info@acme.com\r\n"
    "X-ABShowAs:COMPANY\r\n"
    "END:VCARD\r\n";

std::string Concat(std::initializer_list<const char*> parts) {
  std::string s;
  for (const char* p : parts) s += p;
  return s;
}

TEST(VCardReader, CardsFromSeveralExportersWithBrokenOnesReportedByNumber) {
  const std::string file =
      Concat({kApple, kGoogle, kBrokenNoColon, kOutlook21, kUnclosed, kVersion4, kCompany});
  const auto r = Read(file);
  EXPECT_EQ(r.error, u"");
  ASSERT_EQ(r.cards.size(), 5u);
  ASSERT_EQ(r.bad.size(), 2u);
  EXPECT_EQ(r.bad[0].number, 3);
  EXPECT_NE(ToUtf8(r.bad[0].reason).find("this line is not a property"), std::string::npos);
  EXPECT_EQ(r.bad[1].number, 5);
  EXPECT_EQ(r.bad[1].reason, u"the card has no END:VCARD");

  const auto& ann = r.cards[0];
  EXPECT_EQ(ann.number, 1);
  EXPECT_EQ(ann.fullName, u"Ann Smith");
  EXPECT_EQ(ann.familyName, u"Smith");
  EXPECT_EQ(ann.givenName, u"Ann");
  // The third address repeats the first in another case: kept once.
  EXPECT_EQ(ann.emails, (std::vector<std::u16string>{u"ann@acme.com", u"ann@home.org"}));
  EXPECT_EQ(ann.organization, u"Acme Corp");
  EXPECT_EQ(ann.unit, u"Engineering, Tools");
  EXPECT_EQ(ann.title, u"Chief Engineer, Tools");
  EXPECT_EQ(ann.photo, "hello, photo");
  EXPECT_FALSE(ann.organizationCard);

  const auto& boris = r.cards[1];
  EXPECT_EQ(boris.DisplayName(), u"Борис Иванов");
  EXPECT_EQ(boris.emails, (std::vector<std::u16string>{u"boris@example.ru", u"b.ivanov@example.com"}));
  EXPECT_EQ(boris.organization, u"ООО \"Ромашка\"");

  const auto& petr = r.cards[2];
  EXPECT_EQ(petr.number, 4);
  EXPECT_EQ(petr.familyName, u"Петров");
  EXPECT_EQ(petr.givenName, u"Пётр");
  EXPECT_EQ(petr.fullName, u"Пётр Петров");  // windows-1251, soft line break joined
  EXPECT_EQ(petr.emails, std::vector<std::u16string>{u"petr@example.ru"});

  const auto& chloe = r.cards[3];
  EXPECT_EQ(chloe.number, 6);
  EXPECT_EQ(chloe.fullName, u"Chloé Martin");
  EXPECT_EQ(chloe.photo, "hello, photo");

  EXPECT_TRUE(r.cards[4].organizationCard);
  EXPECT_EQ(r.cards[4].organization, u"Acme Corp");
}

TEST(VCardReader, FoldingAnywhereReadsAsTheUnfoldedCard) {
  const std::string line = "EMAIL;type=INTERNET:someone.with.a.long.name@example.org";
  const auto whole = Read(std::string("BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Folded\r\n") + line + "\r\nEND:VCARD\r\n");
  ASSERT_EQ(whole.cards.size(), 1u);
  for (size_t cut = 1; cut < line.size(); ++cut) {
    for (const char* blank : {" ", "\t"}) {
      const std::string folded = "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Folded\r\n" + line.substr(0, cut) + "\r\n" +
                                 blank + line.substr(cut) + "\r\nEND:VCARD\r\n";
      const auto r = Read(folded);
      ASSERT_EQ(r.cards.size(), 1u) << "cut at " << cut;
      EXPECT_EQ(r.cards[0].emails, whole.cards[0].emails) << "cut at " << cut;
    }
  }
}

TEST(VCardReader, PhotosThatAreLinksOrBrokenAndCardsWithoutVersionOrName) {
  struct Case {
    const char* body;
    bool good;
    const char* reason;  // part of the reason when bad
  } cases[] = {
      {"VERSION:3.0\r\nFN:Linked\r\nPHOTO;VALUE=uri:https://example.org/p.jpg\r\n", true, ""},
      {"VERSION:3.0\r\nFN:Bad\r\nPHOTO;ENCODING=b:not*base64\r\n", false, "Base64"},
      {"VERSION:4.0\r\nFN:Bad URL\r\nPHOTO:data:image/png,rawbytes\r\n", false, "data URL"},
      {"FN:No Version\r\n", false, "VERSION"},
      {"VERSION:5.0\r\nFN:Future\r\n", false, "version"},
      {"VERSION:3.0\r\nTEL:+1 555 0100\r\n", false, "no name"},
  };
  for (const Case& c : cases) {
    const auto r = Read(std::string("BEGIN:VCARD\r\n") + c.body + "END:VCARD\r\n");
    EXPECT_EQ(r.cards.size(), c.good ? 1u : 0u) << c.body;
    if (!c.good) {
      ASSERT_EQ(r.bad.size(), 1u) << c.body;
      EXPECT_NE(ToUtf8(r.bad[0].reason).find(c.reason), std::string::npos) << ToUtf8(r.bad[0].reason);
    }
  }
  EXPECT_TRUE(Read(std::string("BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Linked\r\nPHOTO;VALUE=uri:https://x/p.jpg\r\n"
                               "END:VCARD\r\n"))
                  .cards[0]
                  .photo.empty());
}

TEST(VCardReader, LimitsEndACardOrTheFileWithAReason) {
  vcard::Limits small;
  small.maxEmailsPerCard = 2;
  small.maxPhotoOctets = 4;
  small.maxLineOctets = 64;
  small.maxCards = 2;
  small.maxInputOctets = 4096;

  auto bad = [&](const std::string& body) {
    const auto r = Read("BEGIN:VCARD\r\nVERSION:3.0\r\nFN:X\r\n" + body + "END:VCARD\r\n", small);
    return r.bad.empty() ? std::string() : ToUtf8(r.bad[0].reason);
  };
  EXPECT_NE(bad("EMAIL:a@x\r\nEMAIL:b@x\r\nEMAIL:c@x\r\n").find("more than 2 addresses"), std::string::npos);
  EXPECT_NE(bad("PHOTO;ENCODING=b:aGVsbG8s\r\n").find("Base64"), std::string::npos);
  EXPECT_NE(bad("NOTE:" + std::string(40, 'a') + "\r\n " + std::string(40, 'b') + "\r\n").find("longer"),
            std::string::npos);

  const std::string card = "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:X\r\nEND:VCARD\r\n";
  const auto three = Read(card + card + card, small);
  EXPECT_EQ(three.cards.size(), 2u);
  EXPECT_NE(ToUtf8(three.error).find("more than 2 cards"), std::string::npos);
  EXPECT_NE(ToUtf8(Read(std::string(5000, 'x'), small).error).find("larger"), std::string::npos);
  EXPECT_NE(ToUtf8(Read("From: someone\r\n\r\nnot a card").error).find("not a vCard"), std::string::npos);
  // A byte-order mark and text around the cards don't matter.
  EXPECT_EQ(Read("\xEF\xBB\xBFjunk\r\n" + card + "trailer").cards.size(), 1u);
}

TEST(VCardReader, TheSampleFileReadsTheSameWithEitherLineEnd) {
  std::ifstream in(std::string(RAVELIN_SOURCE_DIR) + "/tests/formats/vcards/contacts.vcf", std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  const std::string crlf = text.str();
  std::string lf;
  for (char c : crlf)
    if (c != '\r') lf.push_back(c);
  const auto a = Read(crlf), b = Read(lf);
  ASSERT_EQ(a.cards.size(), 4u);
  EXPECT_TRUE(a.bad.empty());
  ASSERT_EQ(b.cards.size(), 4u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(a.cards[i].DisplayName(), b.cards[i].DisplayName());
    EXPECT_EQ(a.cards[i].emails, b.cards[i].emails);
    EXPECT_EQ(a.cards[i].photo, b.cards[i].photo);
  }
  EXPECT_EQ(a.cards[0].photo.substr(1, 3), "PNG");
  EXPECT_EQ(a.cards[2].DisplayName(), u"Сергей");
  EXPECT_TRUE(a.cards[3].organizationCard);
}

}  // namespace
}  // namespace ravelin::test
