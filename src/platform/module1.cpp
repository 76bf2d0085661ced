// The shared module: AppPath, the database location, message lookup and settings helpers.
#include "platform/module1.h"

#include <unistd.h>

#include <climits>
#include <memory>

#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/language.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::module1 {
namespace {

std::u16string& AppPathSlot() {
  static std::u16string path;
  return path;
}

std::u16string OwnFolder() {
  char buf[PATH_MAX];
  ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return u".";
  buf[n] = '\0';
  return fs::ParentFolder(FromUtf8(buf));
}

// The locating walk: an old file in the settings folder moves to the database folder
// and becomes hidden; the new path comes back whether or not a file is there.
std::u16string LocateDb(const std::u16string& oldName, const std::u16string& newName) {
  HostCommon& host = CurrentHostCommon();
  host.SetHostPath(EffectiveAppPath());
  std::u16string oldPath = host.AddPathSlash(host.GetSettingsFolder()) + oldName;
  std::u16string newPath = host.AddPathSlash(GetDbFolder()) + newName;
  if (fs::FileExists(oldPath) && !fs::FileExists(newPath)) {
    try {
      fs::MoveFile(oldPath, newPath);
      loop::PumpOnce();
      fs::SetAttributes(newPath, fs::GetAttributes(newPath) | fs::kHidden);
    } catch (...) {
      // The file stays where it was; the next call tries again.
    }
  }
  return newPath;
}

}  // namespace

const std::u16string& AppPath() { return AppPathSlot(); }
void SetAppPath(const std::u16string& path) { AppPathSlot() = path; }

std::u16string EffectiveAppPath() {
  if (!AppPathSlot().empty()) return AppPathSlot();
  return OwnFolder();
}

std::u16string GetDbFolder() {
  HostCommon& host = CurrentHostCommon();
  host.SetHostPath(EffectiveAppPath());
  return host.GetMailDatabaseFolder();
}

std::u16string GetEmailDbPath() { return LocateDb(u"emailW.mdb", u"EmailW.mdb"); }
std::u16string GetLegacyDbPath() { return LocateDb(u"email.mdb", u"Email.mdb"); }

std::u16string GetIniPath() {
  HostCommon& host = CurrentHostCommon();
  host.SetHostPath(EffectiveAppPath());
  return host.AddPathSlash(host.GetSettingsFolder()) + u"Ravelin.ini";
}

std::u16string GetMUIString(const std::u16string& section, const std::u16string& key,
                            const std::u16string& defaultText) {
  std::u16string text = defaultText;
  if (auto lng = CurrentLanguage()) {
    try {
      text = lng->GetMUIString(u"ravelin.dll", section, key, defaultText);
    } catch (...) {
      text = defaultText;
    }
  }
  return Replace(text, u" vbCrLf ", u"\r\n", 1, -1, Compare::Text);
}

std::u16string GetMUIStringF(const std::u16string& section, const std::u16string& key,
                             const std::u16string& defaultText, std::initializer_list<std::u16string> args) {
  std::u16string text = GetMUIString(section, key, defaultText);
  int n = 1;
  for (const auto& a : args) {
    text = Replace(text, u"%" + NumToText(n), a);
    ++n;
  }
  return text;
}

namespace {
std::u16string ReadSetting(const char16_t* section, const char16_t* key, const char16_t* def, int32_t size) {
  return ReadIniString(section, key, def, GetIniPath(), size);
}
}  // namespace

int32_t GetFormat() {
  try {
    return static_cast<int32_t>(Val(ReadSetting(u"Send", u"Format", u"0", 10)));
  } catch (...) {
    return 0;
  }
}

int32_t GetReplyFormat() {
  try {
    return static_cast<int32_t>(Val(ReadSetting(u"Send", u"ReplyFormat", u"1", 10)));
  } catch (...) {
    return 1;
  }
}

void ReadViewFlags(ViewFlags& flags) {
  // A key whose value is empty keeps the flag as it was.
  auto read = [](const char16_t* key, bool& flag) {
    try {
      std::u16string v = ReadSetting(u"Letter", key, u"1", 10);
      if (!v.empty()) flag = Val(v) == 1;
    } catch (...) {
    }
  };
  read(u"EMLView", flags.EMLView);
  read(u"ShowEML", flags.ShowEML);
  read(u"ShowSender", flags.ShowSender);
}

void WriteViewFlags(const ViewFlags& flags) {
  std::u16string ini = GetIniPath();
  WriteIniString(u"Letter", u"EMLView", flags.EMLView ? u"1" : u"0", ini);
  WriteIniString(u"Letter", u"ShowEML", flags.ShowEML ? u"1" : u"0", ini);
  WriteIniString(u"Letter", u"ShowSender", flags.ShowSender ? u"1" : u"0", ini);
}

int32_t GetMsgCount() {
  bool clamped = false;
  return GetMsgCount(clamped);
}

int32_t GetMsgCount(bool& clamped) {
  // A page of letters is 1 to kMaxMsgCount long; anything else in the file (0, a negative
  // or huge number, a word) would give an empty or absurd page.
  clamped = true;
  try {
    const double v = Val(ReadSetting(u"Letter", u"MsgCount", u"10", 1024));
    if (!(v >= 1)) return 10;
    if (v > kMaxMsgCount) return kMaxMsgCount;
    clamped = false;
    return static_cast<int32_t>(v);
  } catch (...) {
    return 10;
  }
}

void SetMsgCount(int32_t n) { WriteIniString(u"Letter", u"MsgCount", NumToText(n), GetIniPath()); }

int32_t GetCheckBase() {
  try {
    return static_cast<int32_t>(Val(ReadSetting(u"AVP", u"CheckBase", u"1", 1024)));
  } catch (...) {
    return 1;
  }
}

int32_t GetCodePage() {
  try {
    const double v = Val(ReadSetting(u"Main", u"CodePage", u"65001", 1024));
    return v >= 1 && v <= 65535 ? static_cast<int32_t>(v) : 65001;
  } catch (...) {
    return 65001;
  }
}

}  // namespace ravelin::module1
