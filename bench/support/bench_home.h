// A home folder of a benchmark's own, with a new mail store in it, made the current host's
// home; removed with everything in it at the end.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "store/maintenance.h"

namespace ravelin::bench {

class BenchHome {
 public:
  explicit BenchHome(const std::string& name) {
    static int n = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("ravelin-bench-" + name + "-" + std::to_string(::getpid()) + "-" + std::to_string(n++));
    std::filesystem::create_directories(path_ / "app");
    auto host = std::make_shared<DefaultHostCommon>();
    host->SetHome(FromUtf8(path_.string()));
    host->SetQuiet(true);
    SetHostCommon(host);
    module1::SetAppPath(FromUtf8((path_ / "app").string()));
    store::CorrectDB(module1::GetEmailDbPath());
  }
  ~BenchHome() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  BenchHome(const BenchHome&) = delete;
  BenchHome& operator=(const BenchHome&) = delete;
  std::filesystem::path path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace ravelin::bench
