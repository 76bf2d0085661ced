// `ravelin parse FILE.eml [--json]`: the record the reader makes of a message.
// `ravelin export KEY [-o FILE]`: a stored letter as .eml text.
#include <openssl/evp.h>

#include <cstdio>
#include <ostream>
#include <string>

#include "commands.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/filesystem.h"
#include "runtime/text.h"

namespace ravelin::cli {
namespace {

std::string JsonString(const std::u16string& text) {
  const std::string utf8 = ToUtf8(text);
  std::string out = "\"";
  for (unsigned char c : utf8) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          out += buf;
        } else {
          out.push_back(static_cast<char>(c));
        }
    }
  }
  return out + "\"";
}

std::string Sha256Hex(const std::string& octets) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  EVP_Digest(octets.data(), octets.size(), digest, &len, EVP_sha256(), nullptr);
  static const char* hex = "0123456789abcdef";
  std::string out;
  for (unsigned int i = 0; i < len; ++i) {
    out.push_back(hex[digest[i] >> 4]);
    out.push_back(hex[digest[i] & 15]);
  }
  return out;
}

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
  out << "{";
  bool first = true;
  for (const auto& f : kFields) {
    if (!first) out << ", ";
    first = false;
    out << "\"" << f.name << "\": " << JsonString(h.*(f.field));
    if (std::string(f.name) == "strDate") out << ", \"mSize\": " << h.mSize;
  }
  out << ", \"attFiles\": [";
  for (size_t i = 0; i < h.attFiles.size(); ++i) {
    const AttachFile& a = h.attFiles[i];
    const std::string octets = ByteTextToBytes(a.fData);
    out << (i ? ", " : "") << "{\"ftype\": " << JsonString(a.ftype) << ", \"fsubtype\": " << JsonString(a.fsubtype)
        << ", \"fname\": " << JsonString(a.fname) << ", \"ContentTransferEncoding\": "
        << JsonString(a.ContentTransferEncoding) << ", \"ContentDisposition\": " << JsonString(a.ContentDisposition)
        << ", \"Content_ID\": " << JsonString(a.Content_ID) << ", \"ContentLocation\": "
        << JsonString(a.ContentLocation) << ", \"length\": " << octets.size() << ", \"sha256\": \""
        << Sha256Hex(octets) << "\"}";
  }
  out << "]}\n";
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
    out << ", " << ByteTextToBytes(a.fData).size() << " octets";
    if (!a.Content_ID.empty()) out << ", id " << ToUtf8(a.Content_ID);
    out << "\n";
  }
  if (!h.Message.empty()) out << "\n" << ToUtf8(h.Message) << "\n";
}

int Parse(Context& ctx) {
  Args args(ctx.args);
  args.Flag("--json");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (args.Positional().size() != 1) return UsageError(ctx, "parse needs one FILE");
  const std::u16string path = FromUtf8(args.Positional()[0]);
  std::string octets;
  try {
    octets = fs::ReadAll(path);
  } catch (...) {
    ctx.err << "ravelin: cannot read " << args.Positional()[0] << "\n";
    return 1;
  }
  mailHeader h;
  GetSubItems(BytesToByteText(octets), h);
  h.mSize = static_cast<int32_t>(std::min<size_t>(octets.size(), INT32_MAX));
  if (args.Has("--json")) PrintJson(ctx.out, h);
  else PrintText(ctx.out, h);
  return 0;
}

int Export(Context& ctx) {
  Args args(ctx.args);
  args.Option("-o");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (args.Positional().size() != 1) return UsageError(ctx, "export needs one KEY");
  const std::string& keyText = args.Positional()[0];
  const auto key = ParseKey(keyText);
  if (!key) return UsageError(ctx, "KEY must be a letter's number");
  const std::u16string text = ctx.mail.CreateEML(*key);
  if (text.empty()) {
    ctx.err << "ravelin: no letter " << keyText << "\n";
    return 1;
  }
  const std::string octets = ByteTextToBytes(text);
  if (auto file = args.Get("-o")) {
    try {
      fs::WriteAll(FromUtf8(*file), octets);
    } catch (...) {
      ctx.err << "ravelin: cannot write " << *file << "\n";
      return 1;
    }
  } else {
    ctx.out << octets;
  }
  return 0;
}

const CommandRegistrar parse({"parse", "parse FILE.eml [--json]", "show what the reader makes of a message file", false,
                              Parse});
const CommandRegistrar exportCmd({"export", "export KEY [-o FILE]", "write a stored letter as .eml text", true, Export});

}  // namespace
}  // namespace ravelin::cli
