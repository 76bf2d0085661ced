// HostCommon: the host's helper for path questions and error display.
// The default serves a per-user store: settings and mail database in
// $RAVELIN_HOME, else $XDG_DATA_HOME/ravelin, else ~/.local/share/ravelin.
// A host may install its own, and the CLI's --home option overrides the folder.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/errors.h"
#include "runtime/value.h"

namespace ravelin {

class HostCommon {
 public:
  virtual ~HostCommon() = default;
  virtual void SetHostPath(const std::u16string& folder) = 0;
  virtual std::u16string AddPathSlash(const std::u16string& folder) = 0;
  virtual std::u16string GetSettingsFolder() = 0;
  virtual std::u16string GetMailDatabaseFolder() = 0;
  // The alternative location of a database file (the same name in the host path's folder).
  virtual std::u16string MapStoredPath(const std::u16string& path) = 0;
  // Shows a failure; returns what the host wants returned (Null by default).
  virtual Value ReportError(const ErrObject& err, const std::u16string& source) = 0;
};

// The default HostCommon. Home folder: set by SetHome, else the environment as above.
// Reports go to stderr, and are also kept (for tests and the CLI's summary).
class DefaultHostCommon : public HostCommon {
 public:
  void SetHostPath(const std::u16string& folder) override { hostPath_ = folder; }
  std::u16string AddPathSlash(const std::u16string& folder) override;
  std::u16string GetSettingsFolder() override;
  std::u16string GetMailDatabaseFolder() override;
  std::u16string MapStoredPath(const std::u16string& path) override;
  Value ReportError(const ErrObject& err, const std::u16string& source) override;

  void SetHome(std::u16string home) { home_ = std::move(home); }
  std::u16string Home() const;
  const std::u16string& HostPath() const { return hostPath_; }
  void SetQuiet(bool quiet) { quiet_ = quiet; }
  bool Quiet() const { return quiet_; }

  struct Report {
    ErrObject err;
    std::u16string source;
  };
  const std::vector<Report>& Reports() const { return reports_; }
  void ClearReports() { reports_.clear(); }

 private:
  std::u16string home_;
  std::u16string hostPath_;
  std::vector<Report> reports_;
  bool quiet_ = false;
};

// The process's HostCommon (a DefaultHostCommon until a host installs another).
HostCommon& CurrentHostCommon();
void SetHostCommon(std::shared_ptr<HostCommon> host);
// The default object, when it is the one installed (nullptr otherwise).
DefaultHostCommon* DefaultHost();

}  // namespace ravelin
