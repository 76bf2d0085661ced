// The shared module: state and helpers that more than one window or class needs.
// Everything here is created on first use and lives for the whole process.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "platform/funnel.h"
#include "runtime/errors.h"
#include "runtime/value.h"

namespace ravelin {

namespace module1 {

// The one AppPath of the library, shared by every Ravelin instance.
const std::u16string& AppPath();
void SetAppPath(const std::u16string& path);
// AppPath when it has at least one character, otherwise the folder of our own executable.
std::u16string EffectiveAppPath();

// Database location: performs the whole locating walk on every call (moves an old
// "emailW.mdb" from the settings folder and marks it Hidden).
std::u16string GetEmailDbPath();
std::u16string GetDbFolder();
// The same walk for the database of the older release ("email.mdb" / "Email.mdb").
std::u16string GetLegacyDbPath();

// Path of the settings file "Ravelin.ini".
std::u16string GetIniPath();

// Localised text of a key: the language object's answer, or the default; " vbCrLf "
// tokens become CR LF (case ignored).
std::u16string GetMUIString(const std::u16string& section, const std::u16string& key,
                            const std::u16string& defaultText);
// GetMUIString, then "%1".."%9" replaced by the arguments in order.
std::u16string GetMUIStringF(const std::u16string& section, const std::u16string& key,
                             const std::u16string& defaultText, std::initializer_list<std::u16string> args);

// Settings helpers around the keys of the settings file.
int32_t GetFormat();        // Send/Format, default 0
int32_t GetReplyFormat();   // Send/ReplyFormat, default 1
struct ViewFlags {
  bool EMLView = true, ShowEML = true, ShowSender = true;
};
// Reads the three viewer flags; a key whose value is empty keeps the previous value.
void ReadViewFlags(ViewFlags& flags);
void WriteViewFlags(const ViewFlags& flags);
int32_t GetMsgCount();      // Letter/MsgCount, default 10; kept within 1..kMaxMsgCount
inline constexpr int32_t kMaxMsgCount = 1000;
// The same; `clamped` tells that the setting was out of range or no number (its default
// 10 is then used below 1 or for a word, kMaxMsgCount above it).
int32_t GetMsgCount(bool& clamped);
void SetMsgCount(int32_t n);
int32_t GetCheckBase();     // AVP/CheckBase, default 1
// Main/CodePage: the ANSI code page the user chose for octets without a charset (1251
// for old unlabeled Russian mail); 65001, UTF-8, by default or for a value that is no
// code page number.
int32_t GetCodePage();

}  // namespace module1

}  // namespace ravelin
