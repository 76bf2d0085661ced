// Text at the program's edges: byte text (one UTF-16 code unit per octet, octet n is
// U+00nn; a unit above U+00FF narrows to "?"), and UTF-8 for terminals, command lines
// and files that are not byte text.
#pragma once

#include <string>
#include <string_view>

namespace ravelin {

// Octets to byte text.
std::u16string BytesToByteText(std::string_view octets);
// Appends octets to byte text. The text's new length is written once, with no zero fill
// first: reserve the whole length ahead and a file widens at the speed of a copy.
void AppendByteText(std::u16string& text, std::string_view octets);
// Byte text to octets; units above U+00FF become '?'.
std::string ByteTextToBytes(std::u16string_view text);

// UTF-8 <-> UTF-16. Invalid UTF-8 sequences become U+FFFD; unpaired surrogates become U+FFFD.
std::u16string FromUtf8(std::string_view utf8);
std::string ToUtf8(std::u16string_view text);

// ASCII literal helper for code that builds texts: each char widened.
std::u16string Widen(std::string_view ascii);

}  // namespace ravelin
