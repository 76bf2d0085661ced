// The default HostCommon: a per-user home folder for settings and the mail database.
#include "platform/host_common.h"

#include <cstdlib>
#include <iostream>

#include "platform/filesystem.h"
#include "runtime/text.h"

namespace ravelin {
namespace {
std::shared_ptr<HostCommon>& Slot() {
  static std::shared_ptr<HostCommon> current = std::make_shared<DefaultHostCommon>();
  return current;
}
}  // namespace

std::u16string DefaultHostCommon::Home() const {
  if (!home_.empty()) return home_;
  if (const char* h = std::getenv("RAVELIN_HOME"); h && *h) return FromUtf8(h);
  if (const char* x = std::getenv("XDG_DATA_HOME"); x && *x) return FromUtf8(std::string(x) + "/ravelin");
  if (const char* h = std::getenv("HOME"); h && *h) return FromUtf8(std::string(h) + "/.local/share/ravelin");
  return u"./ravelin-data";
}

std::u16string DefaultHostCommon::AddPathSlash(const std::u16string& folder) { return fs::AddPathSlash(folder); }

std::u16string DefaultHostCommon::GetSettingsFolder() {
  std::u16string home = Home();
  try {
    // The mail database beside the settings holds account passwords.
    fs::CreatePrivateFolders(home);
  } catch (...) {
    // The caller finds out when it opens a file there.
  }
  return home;
}

std::u16string DefaultHostCommon::GetMailDatabaseFolder() { return GetSettingsFolder(); }

std::u16string DefaultHostCommon::MapStoredPath(const std::u16string& path) {
  // A database kept beside the host program: the same file name in the host's folder.
  if (hostPath_.empty()) return {};
  return fs::JoinPath(hostPath_, fs::FileName(path));
}

Value DefaultHostCommon::ReportError(const ErrObject& err, const std::u16string& source) {
  reports_.push_back({err, source});
  if (!quiet_) {
    std::cerr << "ravelin: " << ToUtf8(source) << ": error " << err.Number << ": " << ToUtf8(err.Description)
              << std::endl;
  }
  return Value();
}

HostCommon& CurrentHostCommon() { return *Slot(); }

void SetHostCommon(std::shared_ptr<HostCommon> host) {
  Slot() = host ? std::move(host) : std::make_shared<DefaultHostCommon>();
}

DefaultHostCommon* DefaultHost() { return dynamic_cast<DefaultHostCommon*>(Slot().get()); }

}  // namespace ravelin
