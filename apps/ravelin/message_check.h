// The verdict on octets before they are read as a mail message, shared by the commands
// that read .eml and mbox files. The reader decides what a message is; only what is
// clearly not mail (nothing at all, binary data) is refused here.
#pragma once

#include <string>
#include <string_view>

namespace ravelin::cli {

// Why these octets (the start of a message is enough) can't be a message ("empty",
// "binary data, not a mail message"), or "" when they may be one.
std::string NotMail(std::string_view octets);

// The same for a file: "no such file", "empty file", "cannot read the file", or the
// verdict on its first octets followed by " (the file)"; "" when it may be a message.
std::string NotAMessage(const std::u16string& path);

}  // namespace ravelin::cli
