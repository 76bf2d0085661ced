// A fresh store per test in Greenwich time, letters with parts added in one call, and
// readers of the files the presentation code leaves on disk.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/module1.h"
#include "presentation/html_text.h"
#include "runtime/text.h"
#include "store/add_letter.h"
#include "store/maintenance.h"
#include "support/test_support.h"

namespace ravelin::test {

// One part of a letter as the store keeps it; data is byte text.
inline AttachFile Part(std::u16string type, std::u16string subtype, std::u16string name, std::u16string data,
                       std::u16string disposition = {}, std::u16string id = {}, std::u16string location = {},
                       std::u16string charset = {}) {
  AttachFile a;
  a.ftype = std::move(type);
  a.fsubtype = std::move(subtype);
  a.fname = std::move(name);
  a.fData = std::move(data);
  a.ContentDisposition = std::move(disposition);
  a.Content_ID = std::move(id);
  a.ContentLocation = std::move(location);
  a.ContentTransferEncoding = std::move(charset);
  return a;
}

// The HTML body part (no file name), which the store keeps as the letter's last row.
inline AttachFile HtmlBody(std::u16string html, std::u16string charset = {}) {
  return Part(u"text", u"html", u"", std::move(html), {}, {}, {}, std::move(charset));
}

class PresentationFixture : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    const char* tz = std::getenv("TZ");
    oldTz_ = tz ? tz : "";
    hadTz_ = tz != nullptr;
    setenv("TZ", "UTC", 1);
    tzset();
    store::CorrectDB(module1::GetEmailDbPath());
  }
  void TearDown() override {
    if (hadTz_) setenv("TZ", oldTz_.c_str(), 1);
    else unsetenv("TZ");
    tzset();
    HomeFixture::TearDown();
  }

  // Adds a letter; parts in the order the store keeps them (the HTML body last).
  int32_t AddLetter(const std::u16string& from, const std::u16string& subject, const std::u16string& message,
                    std::vector<AttachFile> parts = {}, int32_t folder = 0, int32_t pack = 0,
                    const std::u16string& date = u"1/3/2017 10:11:12 AM", const std::u16string& project = {}) {
    mailHeader h;
    h.From = from;
    h.to = u"Me <me@example.org>";
    h.Subject = subject;
    h.Message = message;
    h.strDate = date;
    h.Content_Type = parts.empty() ? u"text" : u"multipart";
    h.attFiles = std::move(parts);
    int32_t f = folder;
    const std::u16string key = store::AddLetterFromMailHeader(h, f, 0, project, false, pack, {});
    return static_cast<int32_t>(std::stol(ToUtf8(key)));
  }

  std::shared_ptr<dao::Database> Db() {
    return dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
  }

  static std::string ReadFile(const std::u16string& path) {
    std::ifstream in(ToUtf8(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  static std::u16string MFile(const std::u16string& name) {
    return presentation::AddPathSeparator(presentation::MailFilesFolder()) + name;
  }

  Ravelin mail;

 private:
  std::string oldTz_;
  bool hadTz_ = false;
};

}  // namespace ravelin::test
