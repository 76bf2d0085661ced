// The plain-text tools the presentation layer works with: letters' HTML is never parsed
// here, only searched and replaced, so these are the pieces every product shares: the
// case-blind replacement, the charset of a document, the folders the letters' files go
// to and the one writer of those files.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ravelin::presentation {

// Every occurrence of `find` in `doc` replaced, letter case ignored, in one pass.
std::u16string ReplaceAllText(std::u16string_view doc, std::u16string_view find, std::u16string_view with);

// The charset a document names: the text between "charset=" and the double quote that
// closes it, trimmed and lower-cased. A value closed by anything else (">", a blank, a
// single quote) is not seen, and the answer is "unicode".
std::u16string GetHTMLcharset(std::u16string_view html);

// Recodes `html` from the charset it names to true text; returns the charset's name and
// gives its code page in `codePage` when asked.
std::u16string RecodeHTML(std::u16string& html, int32_t* codePage = nullptr);

// A generated document: its text, and whether that text is true UTF-16 or still the
// octets of some charset (one unit per octet). The one writer below and the viewer decide
// by this flag alone how the document leaves as bytes.
struct Document {
  std::u16string html;
  bool octets = false;
};

// The folders of extracted files: "mFiles" (letters of the store), "tmpFiles" (a shown
// .mht or .eml file) and "mTemplates", all in the store's home beside the mail database.
std::u16string MailFilesFolder();
std::u16string TmpFilesFolder();
std::u16string TemplatesFolder();

// Creates a folder with its parents; the folder itself is made private (mode 0700).
void EnsurePrivateFolder(const std::u16string& folder);

// Writes `octets` over the file at path: created private or truncated, never through a
// symbolic link (error 75 when the name is one). Failures raise the platform's numbers.
void WriteOver(const std::u16string& path, std::string_view octets);

// The bytes of a document: octets as they are, true text as UTF-8 behind a byte order
// mark.
std::string DocumentBytes(const Document& doc);
void WriteDocument(const std::u16string& path, const Document& doc);

// Path pieces the way the letter's references need them.
std::u16string AddPathSeparator(const std::u16string& folder);
std::u16string LastFolderName(const std::u16string& folder);
// `path` relative to `folder` when it lies inside it, otherwise `path` itself.
std::u16string RelativeToFolder(const std::u16string& path, const std::u16string& folder);
// The canonical form of a path (symbolic links and ".." resolved); "" when it doesn't exist.
std::u16string CanonicalPath(const std::u16string& path);
// True when `path` exists and its canonical form lies directly inside one of the
// extraction folders.
bool IsExtractedFile(const std::u16string& path);

// A reference to a file of the extraction folders found in a document.
struct ExtractedRef {
  std::u16string folder;  // MailFilesFolder() or TmpFilesFolder()
  std::u16string name;    // the file's name in it
};
using RefRewriter = std::function<std::optional<std::u16string>(const ExtractedRef&)>;

// Every reference to an existing file directly inside the extraction folders, in the
// forms this layer writes (raw or as character references, with or without "file://",
// or relative to the folder's parent), replaced by what `replace` gives; a reference it
// gives nothing for stays. One pass over the document.
std::u16string RewriteExtractedRefs(const std::u16string& html, const RefRewriter& replace);

}  // namespace ravelin::presentation
