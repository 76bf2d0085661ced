// Helpers shared by the tests: a temporary folder, a scripted user, and a fixture that
// points the component at a fresh home so no test touches a real store.
#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/host_common.h"
#include "platform/interaction.h"
#include "runtime/errors.h"

namespace ravelin::test {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  std::u16string u16() const;                        // the folder as UTF-16
  std::u16string File(const std::string& name) const;  // a path inside it, UTF-16
 private:
  std::filesystem::path path_;
};

// A user that answers from a script and records what was shown.
class ScriptedInteraction : public Interaction {
 public:
  struct Shown {
    std::string kind;  // "msgbox", "input", "window"
    std::u16string text;
    int32_t style = 0;
    std::u16string title;
  };
  std::deque<int32_t> msgBoxAnswers;                        // default answer when empty
  std::deque<std::optional<std::u16string>> inputAnswers;   // cancel when empty
  std::deque<std::optional<std::u16string>> windowAnswers;  // the text unchanged when empty
  std::vector<Shown> shown;

  int32_t MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) override;
  std::optional<std::u16string> InputBox(const std::u16string& prompt, const std::u16string& title,
                                         const std::u16string& defaultText) override;
  std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string& caption,
                                              bool editable) override;
};

// Gives each test a fresh home folder (settings and mail database there), an empty
// AppPath, a scripted user and a quiet default HostCommon that records reports.
class HomeFixture : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  DefaultHostCommon& host() { return *host_; }
  ScriptedInteraction& user() { return *user_; }
  std::u16string home() const { return home_->u16(); }
  std::u16string HomeFile(const std::string& name) const { return home_->File(name); }

  std::unique_ptr<TempDir> home_;
  std::shared_ptr<DefaultHostCommon> host_;
  std::shared_ptr<ScriptedInteraction> user_;
};

// The number of the ravelin::Error that f throws, 0 when it throws none.
template <class F>
int ErrorOf(F&& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

// Reads a file of the shared material beside the repository (corpus), or "" when absent.
std::filesystem::path SharedDir();

}  // namespace ravelin::test
