// `ravelin decode-header TEXT...`: a header value with its encoded words decoded.
// `ravelin date TEXT...`: the GMT date that the Date reader makes of a Date header value.
// Aids for users who debug mail; several words are joined with blanks.
#include <ostream>
#include <string>

#include "commands.h"
#include "formats/charsets.h"
#include "formats/datetime.h"
#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::cli {
namespace {

// The positional words joined by blanks, or nothing (after a usage message).
bool ValueOf(Context& ctx, const char* usage, std::u16string& value, int& code) {
  Args args(ctx.args);
  if (auto e = args.Parse(); !e.empty()) {
    code = UsageError(ctx, e);
    return false;
  }
  if (args.Positional().empty()) {
    code = UsageError(ctx, usage);
    return false;
  }
  std::string joined;
  for (const auto& word : args.Positional()) joined += (joined.empty() ? "" : " ") + word;
  value = FromUtf8(joined);
  return true;
}

int DecodeHeader(Context& ctx) {
  std::u16string value;
  int code = 0;
  if (!ValueOf(ctx, "decode-header needs a TEXT", value, code)) return code;
  try {
    ctx.out << ToUtf8(DecodeHeaderValue(value)) << "\n";
    return 0;
  } catch (const Error& e) {
    // The reader of letters leaves such a field empty.
    ctx.err << "ravelin: the value can't be decoded (" << ToUtf8(e.Description()) << ")\n";
    return 1;
  }
}

int DateCommand(Context& ctx) {
  std::u16string value;
  int code = 0;
  if (!ValueOf(ctx, "date needs a TEXT", value, code)) return code;
  try {
    ctx.out << ToUtf8(DateTime().CovertDateTime(value)) << " GMT\n";
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: the date can't be read (" << ToUtf8(e.Description()) << ")\n";
    return 1;
  }
}

const CommandRegistrar decodeHeader({"decode-header", "decode-header TEXT",
                                     "decode the encoded words (=?charset?B|Q?...?=) of a header value", false,
                                     DecodeHeader});
const CommandRegistrar date({"date", "date TEXT", "show the GMT date that a Date header value is read as", false,
                             DateCommand});

}  // namespace
}  // namespace ravelin::cli
