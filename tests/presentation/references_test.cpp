// References by text search: the base, attribute values, absolute references for saving
// and the short form of a part's location.
#include <gtest/gtest.h>

#include "presentation/references.h"
#include "runtime/text.h"

namespace ravelin::presentation {
namespace {

TEST(BaseUrl, FoundOnlyByFlagOneIsTheElementCut) {
  std::u16string doc = u"<html><head><BASE  href = \"http://h/dir/\"></head><body></body></html>";
  const std::u16string before = doc;
  EXPECT_EQ(GetBaseUrl(doc, 0), u"http://h/dir/");
  EXPECT_EQ(doc, before);
  EXPECT_EQ(GetBaseUrl(doc, 1), u"http://h/dir/");
  EXPECT_EQ(doc, u"<html><head></head><body></body></html>");

  std::u16string none = u"<html><body><a href=x>y</a></body></html>";
  EXPECT_EQ(GetBaseUrl(none, 1), u"");
  // An href behind a <base> without one is taken all the same.
  std::u16string late = u"<base target=_top><a href=\"http://h/x/\">";
  EXPECT_EQ(GetBaseUrl(late), u"http://h/x/");
}

TEST(AttrValue, QuotesEndsAndLongerNames) {
  int32_t vs = 0, ve = 0;
  std::u16string v;
  ASSERT_TRUE(FindAttrValue(u"<img src='a b.png' alt=x>", 1, u"src", vs, ve, v));
  EXPECT_EQ(v, u"a b.png");
  // Without quotes the value runs to the end of the tag, other attributes included.
  ASSERT_TRUE(FindAttrValue(u"<img src=a.png alt=x>", 1, u"src", vs, ve, v));
  EXPECT_EQ(v, u"a.png alt=x");
  // The bare text is sought, so a longer attribute name ending in it is found.
  ASSERT_TRUE(FindAttrValue(u"<a xhref=\"q\">", 1, u"href", vs, ve, v));
  EXPECT_EQ(v, u"q");
  ASSERT_TRUE(FindAttrValue(u"<a HREF =\"q2\">", 1, u"href", vs, ve, v));
  EXPECT_EQ(v, u"q2");
  EXPECT_FALSE(FindAttrValue(u"<a name=x>", 1, u"href", vs, ve, v));
  EXPECT_FALSE(FindAttrValue(u"<a href=x>", 1, u"", vs, ve, v));
}

TEST(RefToAbs, Table) {
  struct Row {
    const char16_t* href;
    const char16_t* base;
    const char16_t* want;
  } rows[] = {
      {u"a.png", u"http://h/d/page.html", u"http://h/d/a.png"},
      {u"../a.png", u"http://h/d/page.html", u"http://h/a.png"},
      {u"../../a.png", u"http://h/d/e/", u"http://h/a.png"},
      {u"img/a.png", u"http://h/d/", u"http://h/d/img/a.png"},
      {u"./a.png", u"http://h/d/", u"./a.png"},  // a "./" keeps the reference as it stands
      {u"http://o/x", u"http://h/d/", u"http://o/x"},
      {u"HTTPS://o/x", u"http://h/d/", u"HTTPS://o/x"},
      {u"mailto:a@b", u"http://h/d/", u"mailto:a@b"},
      {u"  a.png ", u"", u"a.png"},
      {u"   ", u"http://h/", u""},
  };
  for (const Row& r : rows)
    EXPECT_EQ(ConvertReftoAbs(r.href, r.base), r.want) << ToUtf8(r.href) << " on " << ToUtf8(r.base);
}

TEST(AllRefsToLocal, RewritesEveryAttributeAndDropsQuotesAndBase) {
  std::u16string doc =
      u"<html><head><base href=\"http://h/d/p.html\"></head><body background='bg.gif'>"
      u"<a href=\"x.html\">x</a><img src=\"../i.png\"><a href=\"http://o/\">o</a></body></html>";
  ConvertAllReftoLocal(doc);
  EXPECT_EQ(doc,
            u"<html><head></head><body background=http://h/d/bg.gif>"
            u"<a href=http://h/d/x.html>x</a><img src=http://h/i.png><a href=http://o/>o</a></body></html>");

  std::u16string noBase = u"<a href=\"x.html\">";
  ConvertAllReftoLocal(noBase);
  EXPECT_EQ(noBase, u"<a href=\"x.html\">");
  std::u16string fileBase = u"<base href=\"file:///tmp/\"><a href=\"x.html\">";
  ConvertAllReftoLocal(fileBase);
  EXPECT_EQ(fileBase, u"<a href=\"x.html\">");
}

TEST(ShortLocation, SameDepthDeeperShallowerOtherServer) {
  EXPECT_EQ(GetShortLocation(u"http://h/d/a.png", u"http://h/d/page.html"), u"a.png");
  EXPECT_EQ(GetShortLocation(u"http://h/e/a.png", u"http://h/d/page.html"), u"");
  EXPECT_EQ(GetShortLocation(u"http://h/d/s/a.png", u"http://h/d/page.html"), u"s/a.png");
  EXPECT_EQ(GetShortLocation(u"http://h/a.png", u"http://h/d/page.html"), u"../a.png");
  EXPECT_EQ(GetShortLocation(u"http://o/d/a.png", u"http://h/d/page.html"), u"");
  EXPECT_EQ(GetShortLocation(u"http://h/d/a.png", u"nobase"), u"");
  EXPECT_EQ(CountSlashes(u"a/b//c"), 3);
}

}  // namespace
}  // namespace ravelin::presentation
