// JSON output of the commands' --json forms. Values are built as Boost.JSON values (which
// escape text), then laid out in the stable shapes scripts read: one object per line in
// an array of rows, one member per line for a single letter.
#pragma once

#include <boost/json.hpp>

#include <iosfwd>
#include <string>
#include <string_view>

#include "runtime/value.h"

namespace ravelin::cli {

namespace json = boost::json;

// UTF-16 text as a JSON string (UTF-8).
json::value JsonText(std::u16string_view text);

// A database value: Null is null, a date its ISO 8601 UTC text, binary data its length.
json::value JsonOf(const Value& v);

// A field of a letter row: as JsonOf, except that the flags (Read, InsArcPrj), which some
// statements give as numbers, are booleans.
json::value JsonField(std::u16string_view name, const Value& v);

// "2026-11-03T11:30:00Z".
std::string IsoDate(OleDate d);

// Lower-case hex SHA-256 of octets.
std::string Sha256Hex(const std::string& octets);

// A value on one line: {"key": 1, "list": [2, 3]}.
std::string OneLine(const json::value& v);

// An array with one element per line: "[\n {...},\n {...}\n]\n", or "[]\n".
void PrintRows(std::ostream& out, const json::array& rows);

// An object with one member per line; a member that is an array has one element per line.
void PrintBlock(std::ostream& out, const json::object& object);

}  // namespace ravelin::cli
