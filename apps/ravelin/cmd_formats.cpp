// Aids for users who debug mail, and a letter's way out:
// `ravelin parse FILE.eml [--json]`: the record the reader makes of a message.
// `ravelin export KEY [-o FILE]`: a stored letter as .eml text.
// `ravelin decode-header TEXT...`: a header value with its encoded words decoded.
// `ravelin date TEXT...`: the GMT date that the Date reader makes of a Date header value.
// Several words of TEXT are joined with blanks.
#include <algorithm>
#include <climits>
#include <ostream>
#include <string>

#include "commands.h"
#include "message_check.h"
#include "formats/charsets.h"
#include "formats/datetime.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "json_output.h"
#include "platform/filesystem.h"
#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::cli {
namespace {

struct NamedField {
  const char* name;
  std::u16string mailHeader::*field;
};

// The text fields in record order; msgBody is left out (it is the raw body).
const NamedField kFields[] = {
    {"From", &mailHeader::From},
    {"Sender", &mailHeader::Sender},
    {"to", &mailHeader::to},
    {"return_path", &mailHeader::return_path},
    {"received", &mailHeader::received},
    {"reply_to", &mailHeader::reply_to},
    {"cc", &mailHeader::cc},
    {"bcc", &mailHeader::bcc},
    {"message_id", &mailHeader::message_id},
    {"in_reply_to", &mailHeader::in_reply_to},
    {"references", &mailHeader::references},
    {"keywords", &mailHeader::keywords},
    {"Subject", &mailHeader::Subject},
    {"comments", &mailHeader::comments},
    {"encrypted", &mailHeader::encrypted},
    {"strDate", &mailHeader::strDate},
    {"Message", &mailHeader::Message},
    {"X_Mailer", &mailHeader::X_Mailer},
    {"X_Spam", &mailHeader::X_Spam},
    {"FileName", &mailHeader::FileName},
    {"Content_Type", &mailHeader::Content_Type},
    {"Content_subtype", &mailHeader::Content_subtype},
    {"Content_Transfer_Encoding", &mailHeader::Content_Transfer_Encoding},
    {"Content_Disposition", &mailHeader::Content_Disposition},
    {"msgCodePage", &mailHeader::msgCodePage},
    {"Content_ID", &mailHeader::Content_ID},
    {"ContentLocation", &mailHeader::ContentLocation},
    {"boundary", &mailHeader::boundary},
};

void PrintJson(std::ostream& out, const mailHeader& h) {
  json::object o;
  for (const auto& f : kFields) {
    o[f.name] = JsonText(h.*(f.field));
    if (std::string(f.name) == "strDate") o["mSize"] = h.mSize;
  }
  json::array files;
  for (const AttachFile& a : h.attFiles) {
    const std::string copy = a.HoldsOctets() ? std::string() : ByteTextToBytes(a.fData);
    const std::string& octets = a.HoldsOctets() ? a.fOctets : copy;
    files.push_back(json::object{{"ftype", JsonText(a.ftype)},
                                 {"fsubtype", JsonText(a.fsubtype)},
                                 {"fname", JsonText(a.fname)},
                                 {"ContentTransferEncoding", JsonText(a.ContentTransferEncoding)},
                                 {"ContentDisposition", JsonText(a.ContentDisposition)},
                                 {"Content_ID", JsonText(a.Content_ID)},
                                 {"ContentLocation", JsonText(a.ContentLocation)},
                                 {"length", octets.size()},
                                 {"sha256", Sha256Hex(octets)}});
  }
  o["attFiles"] = std::move(files);
  out << OneLine(o) << "\n";
}

void PrintText(std::ostream& out, const mailHeader& h) {
  for (const auto& f : kFields) {
    if (std::string(f.name) == "Message") continue;
    const std::u16string& v = h.*(f.field);
    if (!v.empty()) out << f.name << ": " << ToUtf8(v) << "\n";
  }
  out << "attachments: " << h.attFiles.size() << "\n";
  for (size_t i = 0; i < h.attFiles.size(); ++i) {
    const AttachFile& a = h.attFiles[i];
    out << "  " << (i + 1) << ". " << ToUtf8(a.ftype) << "/" << ToUtf8(a.fsubtype);
    if (!a.fname.empty()) out << " \"" << ToUtf8(a.fname) << "\"";
    out << ", " << (a.HoldsOctets() ? a.fOctets.size() : ByteTextToBytes(a.fData).size()) << " octets";
    if (!a.Content_ID.empty()) out << ", id " << ToUtf8(a.Content_ID);
    out << "\n";
  }
  if (!h.Message.empty()) out << "\n" << ToUtf8(h.Message) << "\n";
}

int Parse(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "parse needs one FILE");
  const std::u16string path = fs::FromNativePath(args.Positional()[0]);
  // The same verdict as import gives: an empty or binary file is no message.
  if (const std::string refusal = fs::FileExists(path) ? NotAMessage(path) : std::string(); !refusal.empty()) {
    ctx.err << "ravelin: " << args.Positional()[0] << ": " << refusal << "\n";
    return 1;
  }
  // The file is read straight into byte text, and that text becomes the record's raw body.
  std::u16string text;
  try {
    text = fs::ReadAllByteText(path);
  } catch (...) {
    ctx.err << "ravelin: cannot read " << args.Positional()[0] << "\n";
    return 1;
  }
  mailHeader h;
  const size_t size = text.size();
  GetSubItems(std::move(text), h);
  h.mSize = static_cast<int32_t>(std::min<size_t>(size, INT32_MAX));
  if (args.Has("--json")) PrintJson(ctx.out, h);
  else PrintText(ctx.out, h);
  return 0;
}

int Export(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "export needs one KEY");
  const std::string& keyText = args.Positional()[0];
  const auto key = ParseKey(keyText);
  if (!key) return UsageError(ctx, "KEY must be a letter's number");
  const std::u16string text = ctx.mail.CreateEML(*key);
  if (text.empty()) {
    ctx.err << "ravelin: no letter " << keyText << "\n";
    return 1;
  }
  // Written out a slice at a time: a large letter is never held a second time as octets.
  if (auto file = args.Get("-o")) {
    try {
      fs::WriteAllByteText(FromUtf8(*file), text);
    } catch (...) {
      ctx.err << "ravelin: cannot write " << *file << "\n";
      return 1;
    }
  } else {
    constexpr size_t kSlice = size_t{1} << 20;
    for (size_t at = 0; at < text.size(); at += kSlice) ctx.out << ByteTextToBytes(std::u16string_view(text).substr(at, kSlice));
  }
  return 0;
}

// The positional words joined by blanks, or nothing (after a usage message).
bool ValueOf(Context& ctx, const Args& args, const char* usage, std::u16string& value, int& code) {
  if (args.Positional().empty()) {
    code = UsageError(ctx, usage);
    return false;
  }
  std::string joined;
  for (const auto& word : args.Positional()) joined += (joined.empty() ? "" : " ") + word;
  value = FromUtf8(joined);
  return true;
}

int DecodeHeader(Context& ctx, const Args& args) {
  std::u16string value;
  int code = 0;
  if (!ValueOf(ctx, args, "decode-header needs a TEXT", value, code)) return code;
  try {
    ctx.out << ToUtf8(DecodeHeaderValue(value)) << "\n";
    return 0;
  } catch (const Error& e) {
    // The reader of letters leaves such a field empty.
    ctx.err << "ravelin: the value can't be decoded (" << ToUtf8(e.Description()) << ")\n";
    return 1;
  }
}

int DateCommand(Context& ctx, const Args& args) {
  std::u16string value;
  int code = 0;
  if (!ValueOf(ctx, args, "date needs a TEXT", value, code)) return code;
  try {
    ctx.out << ToUtf8(DateTime().CovertDateTime(value)) << " GMT\n";
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: the date can't be read (" << ToUtf8(e.Description()) << ")\n";
    return 1;
  }
}

const CommandRegistrar parse({"parse",
                              {"FILE.eml"},
                              {{"--json", "", "print the record as JSON (field names as keys)"}},
                              "show what the reader makes of a message file",
                              false,
                              Parse});
const CommandRegistrar exportCmd({"export",
                                  {"KEY"},
                                  {{"-o", "FILE", "write to FILE instead of standard output"}},
                                  "write a stored letter as .eml text",
                                  true,
                                  Export});
const CommandRegistrar decodeHeader({"decode-header",
                                     {"TEXT"},
                                     {},
                                     "decode the encoded words (=?charset?B|Q?...?=) of a header value",
                                     false,
                                     DecodeHeader});
const CommandRegistrar date(
    {"date", {"TEXT"}, {}, "show the GMT date that a Date header value is read as", false, DateCommand});

}  // namespace
}  // namespace ravelin::cli
