// Transfer codecs of the mail formats: Base64 and quoted-printable in both directions,
// the Base64 size calculation and the two text splitters. They move octets between text
// forms and know nothing of charsets.
//
// Byte text (src/core/text.h) carries one octet per UTF-16 unit: octet n is U+00nn, and a
// unit above U+00FF goes out as "?" (octet 63). Every operation here runs in time linear
// in its input, since whole attachments and bodies pass through them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravelin {

// The alphabet of both Base64 directions; "=" stands at index 64 and decodes as 64.
inline constexpr std::u16string_view kBase64Alphabet =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

// Base64 of byte text, padded with "=", without any line break (SplitMsg adds those).
// Never fails; an empty text gives an empty text.
std::u16string AsciiToBase64(std::u16string_view sSource);

// Byte text of a Base64 text. CR LF pairs, line feeds, tabs and blanks are dropped first
// (a lone CR stays and counts as a stranger). When fewer than four characters remain,
// the cleaned text itself comes back undecoded. Up to three trailing "=" shorten the
// result by one octet each; a character outside the alphabet counts -1 and a trailing
// partial group is dropped. Never fails.
std::u16string Base64ToAscii(std::u16string_view sSource);
// The same decoding straight into octets, for parts too large to hold twice: false (and
// `octets` untouched) where Base64ToAscii would give the cleaned text back undecoded.
bool Base64ToOctets(std::u16string_view sSource, std::string& octets);

// Length of the Base64 form of lngStr octets, without line breaks. Raises Overflow (6)
// when the result does not fit 32 bits.
int32_t CalcBase64strSize(int32_t lngStr);

// Quoted-printable of byte text as one line: "=" becomes "=3D", blanks, controls, CR, LF
// and octets 128..255 become "=XX" (upper-case digits; "=0X" below 16), octet 127 and
// the other printable octets stay. No soft line breaks are written.
std::u16string Code_quoted_printable(std::u16string_view Text);

// Byte text of a quoted-printable text: soft breaks ("=" CR LF, then "=" LF) are removed,
// each "=XY" becomes the octet that the lenient hexadecimal reading of XY gives ("=ZZ"
// is octet 0, "=4Z" octet 4), and a decoded "=" is not read again. A final "=" stays.
// FAILS with Error 5 (invalid procedure call) when the text ends in "=" and one character.
std::u16string Decode_quoted_printable(std::u16string_view Text);
// The same decoding into octets, a slice of about `slice` units at a time (cut only at
// hard line breaks), so that a large part never has a full-size byte text beside it.
// False, with `octets` untouched, when the text holds a unit above U+00FF; fails as
// Decode_quoted_printable does.
bool QuotedPrintableToOctets(std::u16string_view Text, std::string& octets, size_t slice = size_t{1} << 16);

// Splits `str` at `Delim`, comparing without regard to case. Never empty: a text
// without the delimiter gives itself, and an empty element behind a final delimiter is
// kept. Element [0] is the first element (lower bound 1 for the façade's callers).
// An empty Delim gives the whole text as the only element.
std::vector<std::u16string> mSplit(std::u16string_view str, std::u16string_view Delim);

// Cuts strMsg into pieces of MaxLen characters from the start and joins them with Delim
// (none behind the last piece). Len1 is accepted and ignored. An empty text gives "".
// MaxLen 0 raises Error 11 (division by zero); a negative MaxLen raises Error 5.
std::u16string SplitMsg(std::u16string_view strMsg, std::u16string_view Delim = u"\r\n",
                        int32_t MaxLen = 72, int32_t Len1 = 72);

}  // namespace ravelin
