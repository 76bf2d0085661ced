// Commands on the address book: bring people in from vCard files that any address book
// exports, and list who is there.
// The JSON forms are documented in README.md ("JSON output") and kept stable for scripts.
#include <ostream>

#include "commands.h"
#include "desktop/address_book.h"
#include "formats/vcard.h"
#include "json_output.h"
#include "platform/filesystem.h"
#include "runtime/text.h"

namespace ravelin::cli {
namespace {

const OptionSpec kJsonOption{"--json", "", "print JSON (see README.md, \"JSON output\")"};

const char* KindWord(int32_t kind) {
  switch (kind) {
    case 1:
      return "organisation";
    case 2:
      return "official";
    case 4:
      return "employee";
    default:
      return "person";
  }
}

// ---- addressbook import ----

int Import(Context& ctx, const Args& args) {
  if (args.Positional().empty()) return UsageError(ctx, "addressbook import needs one or more FILE.vcf");
  std::vector<vcard::Card> cards;
  int32_t bad = 0;
  for (const std::string& file : args.Positional()) {
    std::string octets;
    try {
      octets = fs::ReadAll(FromUtf8(file));
    } catch (const Error& e) {
      ctx.err << "ravelin: cannot read " << file << ": " << ToUtf8(e.Description()) << "\n";
      return 1;
    }
    vcard::ReadResult r = vcard::Read(octets);
    for (const vcard::BadCard& b : r.bad) {
      ctx.err << file << ": card " << b.number << " skipped: " << ToUtf8(b.reason) << "\n";
      ++bad;
    }
    if (!r.error.empty()) {
      ctx.err << "ravelin: " << file << ": " << ToUtf8(r.error) << "\n";
      if (r.cards.empty()) return 1;
    }
    for (auto& c : r.cards) cards.push_back(std::move(c));
  }
  const std::u16string path = desktop::AddressBookPath();
  desktop::ImportCounts n;
  try {
    n = desktop::ImportCards(path, cards);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot write the address book " << ToUtf8(path) << ": " << ToUtf8(e.Description())
            << " (nothing was imported)\n";
    return 1;
  }
  if (args.Has("--json")) {
    ctx.out << OneLine(json::object{{"AddressBook", JsonText(path)},
                                    {"Persons", n.persons},
                                    {"Organizations", n.organizations},
                                    {"Jobs", n.jobs},
                                    {"Addresses", n.addresses},
                                    {"Photos", n.photos},
                                    {"Known", n.skipped},
                                    {"Skipped", bad}})
            << "\n";
  } else {
    ctx.out << "imported " << n.persons << " person(s), " << n.organizations << " organisation(s), " << n.jobs
            << " job(s), " << n.addresses << " address(es), " << n.photos << " photo(s) into " << ToUtf8(path)
            << "\n";
    if (n.skipped) ctx.out << n.skipped << " card(s) already in the address book\n";
    if (bad) ctx.out << bad << " card(s) could not be read (see above)\n";
  }
  return 0;
}

// ---- addressbook list ----

int List(Context& ctx, const Args& args) {
  const std::u16string path = desktop::AddressBookPath();
  if (!fs::FileExists(path)) {
    ctx.err << "ravelin: there is no address book at " << ToUtf8(path)
            << " (ravelin addressbook import FILE.vcf makes one)\n";
    return 1;
  }
  std::vector<desktop::Entry> entries;
  try {
    entries = desktop::ListEntries(path);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot read the address book " << ToUtf8(path) << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (args.Has("--json")) {
    json::array rows;
    for (const auto& e : entries) {
      json::array addresses;
      for (const auto& a : e.addresses) addresses.push_back(JsonText(a));
      rows.push_back(json::object{{"ObjectID", e.id},
                                  {"ObjectType", e.kind},
                                  {"Name", JsonText(e.name)},
                                  {"Addresses", addresses},
                                  {"Photo", e.photo}});
    }
    PrintRows(ctx.out, rows);
    return 0;
  }
  for (const auto& e : entries) {
    ctx.out << e.id << "\t" << KindWord(e.kind) << "\t" << ToUtf8(e.name);
    for (const auto& a : e.addresses) ctx.out << "\t" << ToUtf8(a);
    if (e.photo) ctx.out << "\t(photo)";
    ctx.out << "\n";
  }
  if (entries.empty()) ctx.err << "the address book is empty\n";
  return 0;
}

const CommandRegistrar importCmd({"addressbook import",
                                  {"FILE.vcf..."},
                                  {kJsonOption},
                                  "bring contacts in from vCard files (3.0 and 4.0, as address books export them)",
                                  false,
                                  Import});
const CommandRegistrar listCmd({"addressbook list",
                                {},
                                {kJsonOption},
                                "the persons and organisations of the address book with their addresses",
                                false,
                                List});

}  // namespace
}  // namespace ravelin::cli
