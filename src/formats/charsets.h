// Charsets: the code-page directory (charset names to Windows code-page numbers), the
// converter between byte text and UTF-16, display names of code pages, the reader of
// encoded words in header values, the one encoded word the system writes, and numeric
// HTML character references.
//
// Code pages are numbered as on Windows: 1200 is UTF-16 (every ordinary string), 65001
// UTF-8, and 0 the code of an unknown name, meaning the ANSI code page (below).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ravelin {

inline constexpr int32_t kCodePageUtf16 = 1200;
inline constexpr int32_t kCodePageUtf8 = 65001;

// The ANSI code page: what octets with no charset, or with a charset this system does not
// know, are read in, and what true text is narrowed through when it has to become octets
// with no charset of its own. The user chooses it (`[Main] CodePage` in Ravelin.ini; a
// user with old unlabeled Russian mail sets 1251); 65001, UTF-8, until then. With UTF-8,
// octets that do not form valid UTF-8 keep the byte-text mapping (octet n is U+00nn), one
// ill-formed sequence at a time, so nothing that is read is ever lost.
// Byte text itself stays one unit per octet whatever this says.
int32_t AnsiCodePage();
// Makes `cp` the ANSI code page. Only code pages that keep ASCII as it is can serve (UTF-8
// and the single- and double-byte pages of the table); any other is refused with false and
// the current one stays.
bool SetAnsiCodePage(int32_t cp);
// The charset name that labels octets of a code page in a Content-Type ("utf-8",
// "windows-1251", "koi8-r"); "" for a code page without one.
std::u16string CharsetNameOf(int32_t cp);
// Octets for `text` under a charset label that says what they are: the code page `cp` (0
// is the ANSI code page) when it holds the whole text, otherwise UTF-8, which holds any
// text. `charset` gets the label. Reading the octets back under the label gives `text`.
std::u16string EncodeTextForLabel(std::u16string_view text, int32_t cp, std::u16string& charset);

// Code page of a charset name, any letter case, blanks around it ignored; 0 when the name
// is not known. Never fails.
int32_t GetCPfromStr(std::u16string_view str);
// The same lookup under the name the parser and the HTML code use.
int32_t GetCPCode(std::u16string_view str);

// Display name of a code: 1..5 are the old small codes ("Windows-1251", "DOS-866",
// "KOI8-r", "ISO-8859-5", "UTF-8"); any other code its description, or "Codepage N" when
// there is none. Never fails.
std::u16string GetStrFromCPcode(int32_t CP);

// The description of a code page from our own table ("Cyrillic (Windows)", ...); "" when
// the code page has none. Never fails.
std::u16string GetCodePageDescription(int32_t code);

// Converts text between code pages. From 1200 the result is byte text holding the octets
// of the text in toCP (a character without an image there becomes "?"); to 1200 the
// input is byte text in fromCP and the result true UTF-16 (undecodable octets become
// U+FFFD). Code page 0 is the ANSI code page (see AnsiCodePage); a number the converter
// does not know is the plain single-byte mapping. Between two other code pages the text
// goes through UTF-16.
// Never fails.
std::u16string ConvertCodePage(std::u16string_view text, int32_t fromCP, int32_t toCP);

// Decodes the encoded words ("=?charset?B|Q?text?=") of a single, unfolded header value.
// A value without "=?" comes back as it is. Otherwise words are decoded and joined with
// what surrounds them (blanks between words are kept, "_" stays "_" in Q), the joined
// text is read again while anything follows a word, an incomplete word loses its opening
// and keeps its remainder in clear, and character 0 is removed from the result.
// FAILS with Error 5 when an "=?" has no further "?" (a value ending in "=?" included).
std::u16string DecodeHeaderValue(std::u16string_view s);

// The parts of the first encoded word of `str`. Rest is set to `str` first; when there is
// no "=?" nothing else is set. Otherwise strStart (when given) gets the text before the
// "=?", CodePage the charset name, Method the method when the last "?=" of `str` stands
// behind the third "?", and Rest the text behind the method's "?" (behind the charset's
// "?" when Method is empty), the closing "?=" included. FAILS with Error 5 like
// DecodeHeaderValue when the "=?" has no further "?".
void GetCP_CM(std::u16string_view str, std::u16string& CodePage, std::u16string& Method, std::u16string& Rest,
              std::u16string* strStart = nullptr);

// "FieldName: =?utf-8?B?...?=" with the whole Value as one UTF-8 Base64 word, never split
// or folded, without a line end.
std::u16string CreateStrField(std::u16string_view FieldName, std::u16string_view Value);

// Every UTF-16 code unit as "&#N;" with N in decimal, ASCII included; a surrogate pair
// gives two references.
std::u16string GetUnicodeHTMLString(std::u16string_view s);

// The text without a leading U+FEFF.
std::u16string StripBOM(std::u16string_view text);

}  // namespace ravelin
