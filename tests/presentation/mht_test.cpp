// Saved pages and mail files shown without the store: parts extracted to "tmpFiles",
// the root part chosen, references pointed at the files; the view's links.
#include <filesystem>
#include <fstream>
#include <regex>

#include <gtest/gtest.h>

#include "formats/charsets.h"
#include "presentation/mht.h"
#include "presentation_fixture.h"

namespace ravelin::test {
namespace {

using namespace presentation;

// The decoded "file://" targets of a document (written as character references).
std::vector<std::u16string> FileTargets(const std::u16string& html) {
  std::vector<std::u16string> out;
  const std::u16string scheme = u"file://";
  for (size_t p = html.find(scheme); p != std::u16string::npos; p = html.find(scheme, p + 1)) {
    std::u16string path;
    size_t i = p + scheme.size();
    while (i + 2 < html.size() && html[i] == u'&' && html[i + 1] == u'#') {
      size_t j = i + 2;
      uint32_t v = 0;
      while (j < html.size() && html[j] != u';') v = v * 10 + (html[j++] - u'0');
      path += static_cast<char16_t>(v);
      i = j + 1;
    }
    out.push_back(path);
  }
  return out;
}

class Mht : public PresentationFixture {
 protected:
  std::u16string Write(const std::string& name, const std::string& text) {
    const std::u16string path = HomeFile(name);
    std::ofstream(ToUtf8(path), std::ios::binary) << text;
    return path;
  }
  HeadlessHtmlView view;
};

TEST_F(Mht, CorpusPagesShowTheirRootWithEveryPartOnDisk) {
  const auto dir = SharedDir() / "corpus" / "webkit-mhtml";
  if (!std::filesystem::exists(dir)) GTEST_SKIP() << "no corpus at " << dir;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    SCOPED_TRACE(entry.path().filename().string());
    ++files;
    const LoadedMht m = LoadMHT(FromUtf8(entry.path().string()), view);
    ASSERT_TRUE(m.found);
    ASSERT_TRUE(m.html);
    EXPECT_EQ(view.DocumentHTML(), m.doc.html);
    for (const std::u16string& target : FileTargets(m.doc.html)) {
      EXPECT_TRUE(IsExtractedFile(target)) << ToUtf8(target);
    }
    for (const std::u16string& f : m.files) EXPECT_TRUE(IsExtractedFile(f)) << ToUtf8(f);
    if (entry.path().filename() == "multi_frames_ie.mht") {
      // The image comes first in the file; the first HTML part is the page.
      EXPECT_EQ(m.root, u"top_frame.html");
      EXPECT_EQ(m.doc.html.find(u"http://localhost/resources/red_square.png"), std::u16string::npos);
      EXPECT_EQ(m.doc.html.find(u"http://localhost/frame_0.html"), std::u16string::npos);
      EXPECT_GE(FileTargets(m.doc.html).size(), 4u);
    }
  }
  EXPECT_EQ(files, 5);
}

TEST_F(Mht, StartParameterChoosesTheRootAndContentIdsAreRewritten) {
  const std::string text =
      "MIME-Version: 1.0\r\n"
      "Content-Type: multipart/related; boundary=\"B\"; start=\"<second@x>\"; type=\"text/html\"\r\n\r\n"
      "--B\r\nContent-Type: text/html\r\nContent-ID: <first@x>\r\n\r\n<html><body>first</body></html>\r\n"
      "--B\r\nContent-Type: text/html; charset=\"windows-1251\"\r\nContent-ID: <second@x>\r\n\r\n"
      "<html><body>\xcf\xf0\xe8\xe2\xe5\xf2 <img src=\"CID:pic@x\"></body></html>\r\n"
      "--B\r\nContent-Type: image/png\r\nContent-ID: <pic@x>\r\nContent-Transfer-Encoding: base64\r\n\r\n"
      "UE5H\r\n--B--\r\n";
  const LoadedMht m = LoadMHT(Write("page.mht", text), view);
  ASSERT_TRUE(m.html);
  EXPECT_NE(m.doc.html.find(u"Привет"), std::u16string::npos) << ToUtf8(m.doc.html);
  EXPECT_FALSE(m.doc.octets);
  const auto targets = FileTargets(m.doc.html);
  ASSERT_EQ(targets.size(), 1u);
  EXPECT_EQ(ReadFile(targets[0]), "PNG");
}

// Large parts come from the reader as octets; the page and its files are the same.
TEST_F(Mht, PartsHeldAsOctetsGiveTheSamePageAndFiles) {
  const std::string text =
      "Content-Type: multipart/related; boundary=\"B\"\r\n\r\n"
      "--B\r\nContent-Type: text/html; charset=\"windows-1251\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"
      "PGh0bWw+PGJvZHk+z/Do4uXyIDxpbWcgc3JjPSJjaWQ6cGljQHgiPjwvYm9keT48L2h0bWw+\r\n"
      "--B\r\nContent-Type: image/png\r\nContent-ID: <pic@x>\r\nContent-Transfer-Encoding: base64\r\n\r\n"
      "UE5H\r\n--B--\r\n";
  const std::u16string page = Write("octets.mht", text);
  const LoadedMht usual = LoadMHT(page, view);
  const ReaderLimits defaults = CurrentReaderLimits();
  ReaderLimits low = defaults;
  low.octetPartUnits = 0;
  SetReaderLimits(low);
  const LoadedMht asOctets = LoadMHT(page, view);
  SetReaderLimits(defaults);
  ASSERT_TRUE(asOctets.html);
  EXPECT_NE(asOctets.doc.html.find(u"Привет"), std::u16string::npos) << ToUtf8(asOctets.doc.html);
  EXPECT_EQ(asOctets.doc.html, usual.doc.html);
  const auto targets = FileTargets(asOctets.doc.html);
  ASSERT_EQ(targets.size(), 1u);
  EXPECT_EQ(ReadFile(targets[0]), "PNG");
}

TEST_F(Mht, MailFileWithoutHtmlShowsItsText) {
  const LoadedMht m = LoadMHT(Write("plain.eml", "Subject: s\r\nContent-Type: text/plain\r\n\r\nhello\r\nworld\r\n"), view);
  ASSERT_TRUE(m.found);
  EXPECT_FALSE(m.html);
  EXPECT_EQ(view.BodyInnerText(), u"hello\r\nworld");
}

TEST_F(Mht, MissingFileIsToldAndShowsNothing) {
  view.SetDocumentHTML(u"<html>before</html>");
  const LoadedMht m = LoadMHT(HomeFile("none.mht"), view);
  EXPECT_FALSE(m.found);
  EXPECT_EQ(view.DocumentHTML(), u"<html>before</html>");
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_NE(user().shown[0].text.find(HomeFile("none.mht")), std::u16string::npos);
}

TEST_F(Mht, MailtoClickOpensANewLetterAndOtherLinksOnlyOpenSafeTargets) {
  struct Recorder : ExternalOpener {
    std::vector<std::u16string> opened;
    void Open(const std::u16string& t) override { opened.push_back(t); }
  };
  auto rec = std::make_shared<Recorder>();
  SetOpener(rec);

  view.hrefUnderPointer = u"mailto:<a@b.org>?subject=Hi there";
  mail.DHTMLEdit_onclick(view, u"Root\\P", true, true);
  auto c = std::dynamic_pointer_cast<MemoryComposeView>(LastComposeView());
  ASSERT_TRUE(c);
  EXPECT_EQ(c->to, u"a@b.org");
  EXPECT_EQ(c->subject, u"Hi there");
  EXPECT_EQ(c->projectIcon, u"Archive");
  EXPECT_EQ(c->modal, 1);

  view.hrefUnderPointer = u"mailto:a@b.org?cc=c@d.org";
  mail.DHTMLEdit_onclick(view, u"");
  EXPECT_EQ(std::dynamic_pointer_cast<MemoryComposeView>(LastComposeView())->to, u"a@b.org?cc=c@d.org");

  view.hrefUnderPointer = u"https://example.org/x";
  mail.DHTMLEdit_onclick(view, u"");
  view.hrefUnderPointer = u"file:///etc/passwd";
  mail.DHTMLEdit_onclick(view, u"");
  EXPECT_EQ(rec->opened, std::vector<std::u16string>{u"https://example.org/x"});
  EXPECT_EQ(mail.DHTMLEdit_GetStatusText(view), u"/etc/passwd");
  SetOpener(nullptr);
}

}  // namespace
}  // namespace ravelin::test
