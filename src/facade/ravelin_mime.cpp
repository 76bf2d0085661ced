// The façade's parsing and building family: thin members over the reader and the
// builder, each in the façade's protected region so no failure leaves it.
#include "facade/ravelin.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/module1.h"
#include "store/eml_export.h"

namespace ravelin {

void Ravelin::GetSubItems(const std::u16string& Text, mailHeader& mheader) {
  ProtectedVoid(u"Ravelin.GetSubItems", [&] { ravelin::GetSubItems(Text, mheader); });
}

void Ravelin::ExtractParts(const std::u16string& msgBody, mailHeader& mheader) {
  ProtectedVoid(u"Ravelin.ExtractParts", [&] { ravelin::ExtractParts(msgBody, mheader); });
}

int32_t Ravelin::GetUboundAttFiles(const mailHeader& mheader) { return ravelin::GetUboundAttFiles(mheader); }

std::u16string Ravelin::GetName(const std::u16string& strEmail) {
  return Protected(u"Ravelin.GetName", std::u16string(), [&] { return ravelin::GetName(strEmail); });
}

std::u16string Ravelin::GetEmail(const std::u16string& str) {
  return Protected(u"Ravelin.GetEmail", std::u16string(), [&] { return ravelin::GetEmail(str); });
}

std::u16string Ravelin::CreateMessageBody(const mailHeader& mheader, const std::u16string& Delim) {
  return ravelin::CreateMessageBody(mheader, Delim);
}

std::u16string Ravelin::CreateEML(int32_t msgNumber) { return ravelin::CreateEML(msgNumber); }

std::u16string Ravelin::CreateEML(int32_t msgNumber, CreateEMLOptions& options) {
  return ravelin::CreateEML(msgNumber, options);
}

std::u16string Ravelin::GetMailer() {
  return Protected(u"Ravelin.GetMailer", std::u16string(), [&] { return ravelin::GetMailer(); });
}

std::u16string Ravelin::CodeMailer(const std::u16string& Mailer) {
  return Protected(u"Ravelin.CodeMailer", std::u16string(), [&] { return ravelin::CodeMailer(Mailer); });
}

}  // namespace ravelin
