// What the pack, project, link and rule commands share: project texts as typed, packs
// and letters that must exist, the user's answers given on the command line, rows as JSON.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "json_output.h"
#include "platform/db/dao.h"
#include "platform/interaction.h"

namespace ravelin::cli {

// A project as typed ("Clients/Acme", "Projects\Clients\Acme") in database form on the
// side `archive`: "/" becomes "\", and the side's root folder name is put in front when
// the text doesn't start with it. Nothing after a usage message (exit 2 in `code`) when
// the text can't be a folder of the tree.
std::optional<std::u16string> ProjectArgument(Context& ctx, const std::string& typed, bool archive, int& code);
// The pack's number, checked: nothing after a usage message (bad number, exit 2) or the
// store's "The pack №N was not found in database" (exit 1).
std::optional<int32_t> PackArgument(Context& ctx, const std::string& typed, int& code);
bool PackExists(int32_t N);
// Every letter key of the list exists; otherwise the first missing one is told (exit 1),
// or the usage message (exit 2).
std::optional<std::vector<int32_t>> LetterKeys(Context& ctx, const std::vector<std::string>& typed, int& code);
// After a façade call: when it reported a failure, prints "ravelin: <what>: <why>" and
// gives 1; otherwise 0.
int FailedSince(Context& ctx, size_t before, const std::string& what);
// The rows of a statement, each as an object of the named fields (all when empty).
json::array RowsOf(dao::Database& db, const std::u16string& sql, const std::vector<std::u16string>& fields = {});
// A pack's project links as [{"Project": ..., "InsArcPrj": ...}].
json::array ProjectLinks(dao::Database& db, int32_t id, int32_t type);

// Answers the component's questions from the command line: the input box with `answer`
// (cancelled when none), the letter picker with `letters`, message boxes printed on
// stderr with their default answer. Installed for one call; the terminal comes back
// when it goes.
class CommandLineAnswers : public Interaction {
 public:
  CommandLineAnswers(std::ostream& err, std::optional<std::u16string> answer, std::vector<std::u16string> letters = {});
  ~CommandLineAnswers() override = default;
  int32_t MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) override;
  std::optional<std::u16string> InputBox(const std::u16string&, const std::u16string&, const std::u16string&) override;
  std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string&, bool) override;
  std::vector<std::u16string> SelectLetters(const std::u16string&, bool) override { return letters_; }
  std::vector<std::u16string> shown;  // the texts of the message boxes

 private:
  std::ostream& err_;
  std::optional<std::u16string> answer_;
  std::vector<std::u16string> letters_;
};

// Installs answers for the lifetime of the guard.
class AnswersScope {
 public:
  explicit AnswersScope(std::shared_ptr<CommandLineAnswers> a);
  ~AnswersScope();
  AnswersScope(const AnswersScope&) = delete;
  AnswersScope& operator=(const AnswersScope&) = delete;
};


}  // namespace ravelin::cli
