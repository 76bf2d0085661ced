// Reads a letter through the installed façade and prints its subject and a Base64 text.
#include <facade/ravelin.h>
#include <formats/mime_parser.h>
#include <runtime/text.h>

#include <iostream>

int main() {
  ravelin::Ravelin mail;
  ravelin::mailHeader h;
  mail.GetSubItems(ravelin::BytesToByteText("Subject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\n\r\nbody"), h);
  std::cout << ravelin::ToUtf8(h.Subject) << " " << ravelin::ToUtf8(mail.AsciiToBase64(u"hi")) << "\n";
  return mail.LastError() ? 1 : 0;
}
