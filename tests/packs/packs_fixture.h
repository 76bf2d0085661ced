// A fresh store with the project tree in the test's home, and helpers to seed letters,
// packs, links and rules and to read them back.
#pragma once
#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "packs/project_tree.h"
#include "packs/projects.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/letter_fixture.h"

namespace ravelin::test {

// A user who also answers the pickers and the folder chooser from a script.
class PickingUser : public ScriptedInteraction {
 public:
  std::vector<std::u16string> letters;               // the letter picker's choice
  std::optional<PackChoice> pack;                    // the pack picker's choice
  std::optional<std::u16string> folder;              // the folder chooser's choice
  int lettersAsked = 0;
  std::vector<std::u16string> SelectLetters(const std::u16string&, bool) override {
    ++lettersAsked;
    return letters;
  }
  std::optional<PackChoice> SelectPack(const std::u16string&, bool, int32_t, bool) override { return pack; }
  std::optional<std::u16string> ChooseFolder(const std::u16string&, const std::u16string&, bool) override {
    return folder;
  }
};

class PacksFixture : public StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    picker_ = std::make_shared<PickingUser>();
    SetInteraction(picker_);
    packs::SetProjectRoots(u"", u"");
  }
  void TearDown() override {
    SetInteraction(user_);
    StoreFixture::TearDown();
  }
  PickingUser& picker() { return *picker_; }
  std::filesystem::path Live() { return std::filesystem::path(ToUtf8(packs::CurrentRoots().live)); }
  std::filesystem::path Archive() { return std::filesystem::path(ToUtf8(packs::CurrentRoots().archive)); }

  int32_t Letter(int32_t folder = Inbox, const std::u16string& from = u"Ann <ann@acme.com>",
                 const std::u16string& subject = u"hello", const std::u16string& to = u"bob@example.org") {
    mailHeader h = Header(from, to, subject);
    return static_cast<int32_t>(Val(store::AddLetterFromMailHeader(h, folder)));
  }
  void Link(int32_t id, int32_t type, const std::u16string& project, bool arc = false) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Projects", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Obj ID", Value(id));
    rs->SetField(u"ObjType", Value(type));
    rs->SetField(u"Project", Value(project));
    rs->SetField(u"InsArcPrj", Value(arc));
    rs->Update();
  }
  void Item(int32_t pack, int32_t msg) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"PackItems", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Pack_N", Value(pack));
    rs->SetField(u"Msg_N", Value(msg));
    rs->Update();
  }
  // The links as "type:id:Project:side" ("L" or "A"), sorted.
  std::set<std::u16string> Links() {
    std::set<std::u16string> s;
    for (const Row& r : Rows(u"Select * from Projects"))
      s.insert(NumToText(r.at(u"ObjType").AsLong()) + u":" + NumToText(r.at(u"Obj ID").AsLong()) + u":" +
               Text(r, u"Project") + u":" + (r.at(u"InsArcPrj").AsBool() ? u"A" : u"L"));
    return s;
  }
  std::u16string L(int32_t id, const std::u16string& p, bool arc = false) {
    return u"0:" + NumToText(id) + u":" + p + u":" + (arc ? u"A" : u"L");
  }
  std::u16string P(int32_t id, const std::u16string& p, bool arc = false) {
    return u"1:" + NumToText(id) + u":" + p + u":" + (arc ? u"A" : u"L");
  }
  std::set<std::pair<int32_t, int32_t>> Items() {
    std::set<std::pair<int32_t, int32_t>> s;
    for (const Row& r : Rows(u"Select * from PackItems")) s.insert({r.at(u"Pack_N").AsLong(), r.at(u"Msg_N").AsLong()});
    return s;
  }
  std::u16string Folder(int32_t key) { return Text(Stored(key), u"MailFolder"); }
  std::vector<std::u16string> Boxes() {
    std::vector<std::u16string> out;
    for (const auto& s : picker().shown)
      if (s.kind == "msgbox") out.push_back(s.text);
    return out;
  }

  std::shared_ptr<PickingUser> picker_;
};

}  // namespace ravelin::test
