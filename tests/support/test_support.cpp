#include "support/test_support.h"

#include <atomic>
#include <random>

#include "platform/module1.h"
#include "runtime/text.h"

namespace ravelin::test {

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  std::random_device rd;
  auto base = std::filesystem::temp_directory_path();
  for (;;) {
    path_ = base / ("ravelin-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + "-" +
                    std::to_string(rd() % 100000));
    if (std::filesystem::create_directory(path_)) break;
  }
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::u16string TempDir::u16() const { return FromUtf8(path_.string()); }
std::u16string TempDir::File(const std::string& name) const { return FromUtf8((path_ / name).string()); }

int32_t ScriptedInteraction::MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) {
  shown.push_back({"msgbox", text, style, title});
  if (msgBoxAnswers.empty()) return DefaultAnswer(style);
  int32_t a = msgBoxAnswers.front();
  msgBoxAnswers.pop_front();
  return a;
}

std::optional<std::u16string> ScriptedInteraction::InputBox(const std::u16string& prompt, const std::u16string& title,
                                                            const std::u16string&) {
  shown.push_back({"input", prompt, 0, title});
  if (inputAnswers.empty()) return std::nullopt;
  auto a = inputAnswers.front();
  inputAnswers.pop_front();
  return a;
}

std::optional<std::u16string> ScriptedInteraction::MessageWindow(const std::u16string& text,
                                                                 const std::u16string& caption, bool) {
  shown.push_back({"window", text, 0, caption});
  if (windowAnswers.empty()) return text;
  auto a = windowAnswers.front();
  windowAnswers.pop_front();
  return a;
}

void HomeFixture::SetUp() {
  home_ = std::make_unique<TempDir>();
  host_ = std::make_shared<DefaultHostCommon>();
  host_->SetHome(home_->u16());
  host_->SetQuiet(true);
  SetHostCommon(host_);
  user_ = std::make_shared<ScriptedInteraction>();
  SetInteraction(user_);
  // The host program lives in a folder of its own, apart from the store.
  std::filesystem::create_directory(home_->path() / "app");
  module1::SetAppPath(home_->File("app"));
}

void HomeFixture::TearDown() {
  SetHostCommon(nullptr);
  SetInteraction(nullptr);
  module1::SetAppPath(u"");
  home_.reset();
}

std::filesystem::path SharedDir() { return std::filesystem::path(RAVELIN_SHARED_DIR); }

}  // namespace ravelin::test
