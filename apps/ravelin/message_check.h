// The verdict on a file before it is read as a mail message, shared by the commands
// that read .eml files.
#pragma once

#include <string>

namespace ravelin::cli {

// Why the file can't be a message ("no such file", "empty file", "not a mail message (no
// header field at the start)", "cannot read the file"), or "" when it may be one: a
// message and every saved letter start with a header field ("Name: value").
std::string NotAMessage(const std::u16string& path);

}  // namespace ravelin::cli
