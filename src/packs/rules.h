// Rules: stored criteria for sorting letters into a pack (Action 1) or a project folder
// (Action 2). The statements that find them, the flag word of their check boxes, the
// dates kept in Greenwich time, the rule tab of the pack property window, and a matcher
// that runs the enabled rules over letters and files the matches.
#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "store/data_cursor.h"

namespace ravelin::packs {

// Action 1: the pack Param; 2: the folder Param (with its quotes) on one side; 4 (asked,
// never stored): the intoFolder rules of the folder Param and of everything below it.
// "" for other actions. Param is embedded as it stands.
std::u16string GetRulesRecordsource2(int32_t Action, const std::u16string& Param, bool InsArcPrj = false);

// The criteria in the order of the flag word, with their check box, field and weight.
struct RuleCriterion {
  const char16_t* checkBox;
  const char16_t* field;
  int32_t weight;
};
const std::vector<RuleCriterion>& RuleCriteria();

// The rule tab of the pack property window: check boxes (0 or 1), text boxes, the date
// boxes' change flags and the rule cursor.
struct RuleTab {
  std::map<std::u16string, int32_t> checks;         // "chkSubject" -> 0/1
  std::map<std::u16string, std::u16string> texts;   // "RuleName", "Subject", "Sender1", ...
  std::u16string txtDateFrom1, txtDateTo1, txtDateFrom2, txtDateTo2;
  bool txtDateFrom1Change = false, txtDateTo1Change = false, txtDateFrom2Change = false, txtDateTo2Change = false;
  int32_t chkAutoSearch = 0;
  int32_t PackNumber = 0;
  DataCursor DataRules;
  bool filling = false;  // set while Reposition fills the boxes: the handlers don't write

  // Binds DataRules to the pack's rules.
  void Bind(int32_t pack);
  // The current row into the boxes.
  void Reposition();
  // A text box changed: its field is written at once when a row is current.
  void TextChanged(const std::u16string& field, const std::u16string& text);
  // A criterion's check box changed: the flag word is written.
  void CheckChanged(const std::u16string& checkBox, int32_t value);
  void DateChanged(const std::u16string& box, const std::u16string& text);
  void cmdNewRule_Click();
  void chkAutoSearch_Click(int32_t value);
};

// The flag word of the check boxes: each value times its weight, added.
int32_t FlagsOf(const std::map<std::u16string, int32_t>& checks);
// Writes the flag word of the window's boxes to the current rule.
void SetFlags(DataCursor& DataRules, const RuleTab& frm);

class cRules {
 public:
  // Stores the changed date boxes (local time) in Greenwich time; a text that is not a
  // date stores nothing and an empty one stores Null.
  void ChangeDates(RuleTab& frm);
};
cRules& SharedRules();

// What the matcher found: a letter and the rule that takes it, with the place.
struct RuleMatch {
  int32_t rule = 0;
  int32_t msgN = 0;
  int32_t action = 0;  // 1 into a pack, 2 into a folder
  int32_t pack = 0;
  std::u16string folder;
  bool InsArcPrj = false;
};
// Runs the enabled rules over the letters of a mail folder (every folder for an empty
// name), or over the letters given by key; files each match through pCopyLetter unless
// dryRun. The matches in rule order, then letter order.
std::vector<RuleMatch> ApplyRules(const std::u16string& mailFolder, bool dryRun,
                                  const std::vector<int32_t>* onlyKeys = nullptr);

}  // namespace ravelin::packs
