// The settings file and the raw file helpers. The settings file is an INI text kept in
// UTF-16LE with a byte order mark; sections and keys match without regard to case.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ravelin {

// Value of Key in Section, cut to Size - 1 characters like a profile buffer of Size
// characters; Default when the file, section or key is missing; "" when the value is empty.
std::u16string ReadIniString(const std::u16string& Section, const std::u16string& Key,
                             const std::u16string& Default, const std::u16string& FilePath, int32_t Size);
// Writes Key = Value in Section (created when missing), converting an older ANSI file to
// UTF-16 first. Returns true when written.
bool WriteIniString(const std::u16string& Section, const std::u16string& Key, const std::u16string& Value,
                    const std::u16string& FilePath);
// Makes sure the file exists and is UTF-16 with a byte order mark, keeping its content.
void EnsureIniUnicode(const std::u16string& FilePath);
// Writes Text as UTF-16LE with a byte order mark, replacing the file.
void WriteUnicodeText(const std::u16string& FilePath, const std::u16string& Text);
// True when the first two characters are 255 and 254 (a UTF-16LE mark read as bytes).
bool HasUnicodeBom(const std::u16string& Text);

// The raw file helpers on byte text (one character per octet).
// The whole file as byte text; "" for a missing or empty file, never a failure.
std::u16string ReadFileBytes(const std::u16string& path);
// Writes byte text: mode 2 writes from the start without truncating (a longer old file
// keeps its tail), mode 8 appends. An empty text writes nothing and gives false.
bool WriteFileBytes(const std::u16string& path, std::u16string_view text, int32_t mode = 2);
// With unicode, a UTF-16 text stream (mode 2 replaces, 8 appends); otherwise WriteFileBytes.
bool WriteTextFile(const std::u16string& path, std::u16string_view text, bool unicode = false, int32_t mode = 2);

}  // namespace ravelin
