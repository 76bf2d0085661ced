// The in-memory views, the headless body text, and the process's seam objects.
#include "presentation/views.h"

#include <gumbo.h>

#include <cstdio>
#include <cstring>

#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::presentation {

namespace {

bool IsBlock(GumboTag tag) {
  switch (tag) {
    case GUMBO_TAG_P: case GUMBO_TAG_DIV: case GUMBO_TAG_TR: case GUMBO_TAG_LI: case GUMBO_TAG_UL:
    case GUMBO_TAG_OL: case GUMBO_TAG_TABLE: case GUMBO_TAG_BLOCKQUOTE: case GUMBO_TAG_PRE:
    case GUMBO_TAG_H1: case GUMBO_TAG_H2: case GUMBO_TAG_H3: case GUMBO_TAG_H4: case GUMBO_TAG_H5:
    case GUMBO_TAG_H6: case GUMBO_TAG_HR: case GUMBO_TAG_ADDRESS: case GUMBO_TAG_CENTER:
    case GUMBO_TAG_DL: case GUMBO_TAG_DT: case GUMBO_TAG_DD: case GUMBO_TAG_FORM:
    case GUMBO_TAG_SECTION: case GUMBO_TAG_ARTICLE: case GUMBO_TAG_HEADER: case GUMBO_TAG_FOOTER:
      return true;
    default:
      return false;
  }
}

struct TextBuilder {
  std::string out;     // UTF-8
  bool pendingSpace = false;
  int pendingBreaks = 0;  // line breaks owed before the next text
  bool pre = false;

  void Break(int n) {
    if (out.empty()) return;  // no leading blank lines
    pendingBreaks = std::max(pendingBreaks, n);
    pendingSpace = false;
  }
  void HardBreak() {
    ++pendingBreaks;
    pendingSpace = false;
  }
  void Flush() {
    for (; pendingBreaks > 0; --pendingBreaks) out += "\r\n";
    if (pendingSpace && !out.empty() && out.back() != '\n') out += ' ';
    pendingSpace = false;
  }
  void Text(const char* s) {
    if (pre) {
      Flush();
      for (const char* p = s; *p; ++p) {
        if (*p == '\r') continue;
        if (*p == '\n') out += "\r\n";
        else out += *p;
      }
      return;
    }
    for (const char* p = s; *p; ++p) {
      const unsigned char c = static_cast<unsigned char>(*p);
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f') {
        pendingSpace = true;
      } else {
        Flush();
        out += *p;
      }
    }
  }
};

void Walk(const GumboNode* node, TextBuilder& b) {
  if (node->type == GUMBO_NODE_TEXT || node->type == GUMBO_NODE_CDATA) {
    b.Text(node->v.text.text);
    return;
  }
  if (node->type == GUMBO_NODE_WHITESPACE) {
    if (b.pre) b.Text(node->v.text.text);
    else b.pendingSpace = true;
    return;
  }
  if (node->type != GUMBO_NODE_ELEMENT) return;
  const GumboTag tag = node->v.element.tag;
  if (tag == GUMBO_TAG_SCRIPT || tag == GUMBO_TAG_STYLE || tag == GUMBO_TAG_HEAD || tag == GUMBO_TAG_TITLE ||
      tag == GUMBO_TAG_NOSCRIPT || tag == GUMBO_TAG_TEMPLATE)
    return;
  if (tag == GUMBO_TAG_BR) {
    b.HardBreak();
    return;
  }
  const bool block = IsBlock(tag);
  const bool paragraph = tag == GUMBO_TAG_P;
  if (block) b.Break(paragraph ? 2 : 1);
  const bool wasPre = b.pre;
  if (tag == GUMBO_TAG_PRE) b.pre = true;
  if (tag == GUMBO_TAG_TD || tag == GUMBO_TAG_TH) {
    if (!b.out.empty() && b.out.back() != '\n') b.out += '\t';
  }
  const GumboVector& children = node->v.element.children;
  for (unsigned i = 0; i < children.length; ++i) Walk(static_cast<const GumboNode*>(children.data[i]), b);
  b.pre = wasPre;
  if (block) b.Break(paragraph ? 2 : 1);
}

const GumboNode* FindBody(const GumboNode* node) {
  if (node->type != GUMBO_NODE_ELEMENT && node->type != GUMBO_NODE_DOCUMENT) return nullptr;
  if (node->type == GUMBO_NODE_ELEMENT && node->v.element.tag == GUMBO_TAG_BODY) return node;
  const GumboVector& children =
      node->type == GUMBO_NODE_DOCUMENT ? node->v.document.children : node->v.element.children;
  for (unsigned i = 0; i < children.length; ++i)
    if (const GumboNode* b = FindBody(static_cast<const GumboNode*>(children.data[i]))) return b;
  return nullptr;
}

std::u16string EscapeText(const std::u16string& text) {
  std::u16string out;
  out.reserve(text.size() + 16);
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c == u'&') out += u"&amp;";
    else if (c == u'<') out += u"&lt;";
    else if (c == u'>') out += u"&gt;";
    else if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') {
      out += u"<br>";
      ++i;
    } else if (c == u'\n') out += u"<br>";
    else out += c;
  }
  return out;
}

}  // namespace

std::u16string HtmlInnerText(const std::u16string& html) {
  const std::string utf8 = ToUtf8(html);
  GumboOutput* output = gumbo_parse_with_options(&kGumboDefaultOptions, utf8.data(), utf8.size());
  TextBuilder b;
  if (const GumboNode* body = FindBody(output->root)) Walk(body, b);
  gumbo_destroy_output(&kGumboDefaultOptions, output);
  return FromUtf8(b.out);
}

std::u16string HeadlessHtmlView::BodyInnerText() const { return HtmlInnerText(html_); }

void HeadlessHtmlView::SetBodyInnerText(const std::u16string& text) {
  const std::u16string body = EscapeText(text);
  const int32_t open = InStr(1, html_, u"<body", Compare::Text);
  const int32_t close = InStrRev(html_, u"</body>", -1, Compare::Text);
  if (open == 0 || close == 0 || close < open) {
    html_ = u"<html><body>" + body + u"</body></html>";
    return;
  }
  const int32_t openEnd = InStr(open, html_, u">");
  if (openEnd == 0 || openEnd > close) {
    html_ = u"<html><body>" + body + u"</body></html>";
    return;
  }
  html_ = html_.substr(0, static_cast<size_t>(openEnd)) + body + html_.substr(static_cast<size_t>(close - 1));
}

namespace {
ComposeFactory& Factory() {
  static ComposeFactory f;
  return f;
}
std::shared_ptr<ComposeView>& Last() {
  static std::shared_ptr<ComposeView> last;
  return last;
}

class NoPhotos : public PhotoStore {
 public:
  std::optional<Photo> Find(const std::u16string&) override { return std::nullopt; }
};
std::shared_ptr<PhotoStore>& Photos() {
  static std::shared_ptr<PhotoStore> p = std::make_shared<NoPhotos>();
  return p;
}

class PrintingOpener : public ExternalOpener {
 public:
  void Open(const std::u16string& target) override { std::printf("open: %s\n", ToUtf8(target).c_str()); }
};
std::shared_ptr<ExternalOpener>& Opener() {
  static std::shared_ptr<ExternalOpener> o = std::make_shared<PrintingOpener>();
  return o;
}
}  // namespace

void SetComposeFactory(ComposeFactory factory) { Factory() = std::move(factory); }

std::shared_ptr<ComposeView> NewComposeView() {
  std::shared_ptr<ComposeView> v = Factory() ? Factory()() : nullptr;
  if (!v) v = std::make_shared<MemoryComposeView>();
  Last() = v;
  return v;
}

std::shared_ptr<ComposeView> LastComposeView() { return Last(); }

PhotoStore& CurrentPhotoStore() { return *Photos(); }
void SetPhotoStore(std::shared_ptr<PhotoStore> store) {
  Photos() = store ? std::move(store) : std::make_shared<NoPhotos>();
}

ExternalOpener& CurrentOpener() { return *Opener(); }
void SetOpener(std::shared_ptr<ExternalOpener> opener) {
  Opener() = opener ? std::move(opener) : std::make_shared<PrintingOpener>();
}

}  // namespace ravelin::presentation
